// Names and values of IF-MIB that more than one unit uses.
#ifndef PLATFORM_INTERFACES_IF_MIB_VALUES_H
#define PLATFORM_INTERFACES_IF_MIB_VALUES_H

// A macro, because an initialiser cannot be made of another array.
#define IF_TABLE_ENTRY 1, 3, 6, 1, 2, 1, 2, 2, 1

// Columns of ifEntry.
enum { kIfIndex = 1, kIfAdminStatus = 7, kIfOperStatus = 8 };

enum : long { kIfUp = 1, kIfDown = 2 };

#endif
