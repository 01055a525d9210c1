// The enterprise root under which all objects and traps of the switch stand, as the first numbers of an OID.
#ifndef PROTOCOL_RECORDS_SWITCH_ROOT_H
#define PROTOCOL_RECORDS_SWITCH_ROOT_H

// A macro, because an initialiser cannot be made of another array.
#define SWITCH_ROOT 1, 3, 6, 1, 4, 1, 32473, 9, 282

#endif
