// The PDU that the agent is serving, and who sent it.
#ifndef PLATFORM_AGENT_EXTENSION_SERVED_PDU_H
#define PLATFORM_AGENT_EXTENSION_SERVED_PDU_H

// The enterprise root under which objects tell us which PDU they are asked for.
#define SWITCH_ROOT 1, 3, 6, 1, 4, 1, 32473, 9, 282

// Puts a handler of ours in front of every object under the root, now and whenever one is registered.
void served_pdu_watch();

// No longer watches what is registered. Handlers that are in place stay, and go with their objects.
void served_pdu_unwatch();

// Whether a PDU is being served.
bool served_pdu_present();

// The VACM group of the PDU's user; null when there is no PDU, or no group is known.
const char *served_pdu_group();

#endif
