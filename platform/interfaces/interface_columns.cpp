#include "interface_columns.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "if_mib_values.h"
#include "link_watch.h"
#include "vsan_values.h"

namespace {

constexpr uint32_t kFibreChannel = 56, kEnabled = 1, kFalse = 2;

uint32_t index_of(const switch_interface &interface) {
  return interface.index;
}

// A virtual port is up as soon as it is set up: its operational state is its administrative one.
uint32_t state_of(const switch_interface &interface) {
  return interface.up != 0 ? kIfUp : kIfDown;
}

const char *name_of(const switch_interface &interface) {
  return interface.name;
}

// A virtual port has no speed, no address and no connector, and carries no frames: 0 and empty are the truth.
constexpr interface_column kIfTable[] = {
    {.column = kIfIndex, .type = ASN_INTEGER, .number = index_of},
    {.column = 2, .type = ASN_OCTET_STR, .text = name_of},  // ifDescr
    {.column = 3, .type = ASN_INTEGER, .same = kFibreChannel},
    {.column = 4, .type = ASN_INTEGER, .same = kMtuDefault},
    {.column = 5, .type = ASN_GAUGE},      // ifSpeed
    {.column = 6, .type = ASN_OCTET_STR},  // ifPhysAddress
    {.column = kIfAdminStatus, .type = ASN_INTEGER, .number = state_of},
    {.column = kIfOperStatus, .type = ASN_INTEGER, .number = state_of},
    {.column = 9, .type = ASN_TIMETICKS, .number = link_since},  // ifLastChange
    {.column = 10, .type = ASN_COUNTER},                         // ifInOctets
    {.column = 11, .type = ASN_COUNTER},                         // ifInUcastPkts
    {.column = 13, .type = ASN_COUNTER},                         // ifInDiscards
    {.column = 14, .type = ASN_COUNTER},                         // ifInErrors
    {.column = 15, .type = ASN_COUNTER},                         // ifInUnknownProtos
    {.column = 16, .type = ASN_COUNTER},                         // ifOutOctets
    {.column = 17, .type = ASN_COUNTER},                         // ifOutUcastPkts
    {.column = 19, .type = ASN_COUNTER},                         // ifOutDiscards
    {.column = 20, .type = ASN_COUNTER},                         // ifOutErrors
};

constexpr interface_column kIfXTable[] = {
    {.column = 1, .type = ASN_OCTET_STR, .text = name_of},  // ifName
    {.column = 2, .type = ASN_COUNTER},                     // ifInMulticastPkts
    {.column = 3, .type = ASN_COUNTER},                     // ifInBroadcastPkts
    {.column = 4, .type = ASN_COUNTER},                     // ifOutMulticastPkts
    {.column = 5, .type = ASN_COUNTER},                     // ifOutBroadcastPkts
    {.column = 6, .type = ASN_COUNTER64},                   // ifHCInOctets
    {.column = 7, .type = ASN_COUNTER64},                   // ifHCInUcastPkts
    {.column = 8, .type = ASN_COUNTER64},                   // ifHCInMulticastPkts
    {.column = 9, .type = ASN_COUNTER64},                   // ifHCInBroadcastPkts
    {.column = 10, .type = ASN_COUNTER64},                  // ifHCOutOctets
    {.column = 11, .type = ASN_COUNTER64},                  // ifHCOutUcastPkts
    {.column = 12, .type = ASN_COUNTER64},                  // ifHCOutMulticastPkts
    {.column = 13, .type = ASN_COUNTER64},                  // ifHCOutBroadcastPkts
    {.column = 14, .type = ASN_INTEGER, .same = kEnabled},  // ifLinkUpDownTrapEnable
    {.column = 15, .type = ASN_GAUGE},                      // ifHighSpeed
    {.column = 16, .type = ASN_INTEGER, .same = kFalse},    // ifPromiscuousMode
    {.column = 17, .type = ASN_INTEGER, .same = kFalse},    // ifConnectorPresent
    {.column = 18, .type = ASN_OCTET_STR},                  // ifAlias
    {.column = 19, .type = ASN_TIMETICKS},                  // ifCounterDiscontinuityTime
};

}  // namespace

std::span<const interface_column> if_table_columns() {
  return kIfTable;
}

std::span<const interface_column> if_x_table_columns() {
  return kIfXTable;
}
