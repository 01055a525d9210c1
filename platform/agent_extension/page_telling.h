// Tells switchd that this agent does not share its page, for `vsanctl show status`.
//
// Nothing here waits: what is sent in one turn is answered by the next. Whatever fails is tried again, and no log is
// told. What is said goes with the connection: its end takes it back, and tells of a switchd that was restarted.
#ifndef PLATFORM_AGENT_EXTENSION_PAGE_TELLING_H
#define PLATFORM_AGENT_EXTENSION_PAGE_TELLING_H

// From now on: events and errors are kept in the file `page` (empty: nowhere), `why` says why not in switchd's. Longer
// texts are cut.
void page_telling_say(const char *page, const char *why);

// The page is shared: what was said is taken back.
void page_telling_take_back();

// Sends and reads what there is. To be called about once a second.
void page_telling_turn();

// Ends the connection. What was said last is said anew by the next turn.
void page_telling_stop();

#endif
