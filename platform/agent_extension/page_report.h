// Which page the agent uses: its own while switchd's cannot be had, and who is told so.
#ifndef PLATFORM_AGENT_EXTENSION_PAGE_REPORT_H
#define PLATFORM_AGENT_EXTENSION_PAGE_REPORT_H

// From the next turn of the agent's loop on, while switchd's page cannot be used, events and errors are kept in the
// file `own_page`. The log is told when that begins, changes or ends, and switchd as long as it lasts. Not sooner: by
// then the agent has given up its privileges, and the file is its user's.
void page_report_start(const char *own_page);

// Looks no more. The page in use stays in use: modules that are unloaded later still trace.
void page_report_stop();

#endif
