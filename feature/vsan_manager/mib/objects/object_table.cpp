// The object table: what the agent knows of the MIB. One row an object, in OID order.
#include "objects/object_magic.h"
#include "switch_root.h"
#include "vsan_mib.h"

using namespace vsan_mib;

oid vsan_mib_variables_oid[kVsanMibRootLen] = {SWITCH_ROOT};

// Access and write methods disagree in places, and managers rely on it: vsanMediaType and vsanMtu are read-only here
// yet have setters, vsanOperState is read-write here yet has none.
struct variable7 vsan_mib_variables[kVsanMibObjects] = {
    {kVsanNumber, ASN_INTEGER, RONLY, get_vsan_mib, 3, {1, 1, 1}},
    {kVsanTableLastChange, ASN_TIMETICKS, RONLY, get_vsan_mib, 3, {1, 1, 2}},
    {kVsanName, ASN_OCTET_STR, RWRITE, get_vsanEntry, 5, {1, 1, 3, 1, 2}},
    {kVsanMediaType, ASN_INTEGER, RONLY, get_vsanEntry, 5, {1, 1, 3, 1, 3}},
    {kVsanAdminState, ASN_INTEGER, RWRITE, get_vsanEntry, 5, {1, 1, 3, 1, 4}},
    {kVsanMtu, ASN_GAUGE, RONLY, get_vsanEntry, 5, {1, 1, 3, 1, 5}},
    {kVsanLoadBalancingType, ASN_INTEGER, RWRITE, get_vsanEntry, 5, {1, 1, 3, 1, 6}},
    {kVsanOperState, ASN_INTEGER, RWRITE, get_vsanEntry, 5, {1, 1, 3, 1, 8}},
    {kVsanRowStatus, ASN_INTEGER, RWRITE, get_vsanEntry, 5, {1, 1, 3, 1, 9}},
    {kVsanInterOperType, ASN_INTEGER, RWRITE, get_vsanEntry, 5, {1, 1, 3, 1, 10}},
    {kVsanInorderDelivery, ASN_INTEGER, RWRITE, get_vsanEntry, 5, {1, 1, 3, 1, 11}},
    {kVsanNetworkDropLatency, ASN_GAUGE, RWRITE, get_vsanEntry, 5, {1, 1, 3, 1, 12}},
    {kVsanIfNumber, ASN_INTEGER, RONLY, get_vsan_mib, 3, {1, 2, 4}},
    {kVsanIfVsan, ASN_INTEGER, RWRITE, get_vsanIfEntry, 5, {1, 2, 5, 1, 1}},
    {kVsanIfDenyList, ASN_INTEGER, RONLY, get_vsanIfEntry, 5, {1, 2, 5, 1, 2}},
    {kMembershipSummaryIf, ASN_INTEGER, RONLY, get_vsanMembershipSummaryEntry, 5, {1, 2, 8, 1, 1}},
    {kFcTimerRatov, ASN_GAUGE, RWRITE, get_vsan_mib, 3, {1, 4, 1}},
    {kFcTimerEdtov, ASN_GAUGE, RWRITE, get_vsan_mib, 3, {1, 4, 2}},
    {kFcTimerFstov, ASN_GAUGE, RONLY, get_vsan_mib, 3, {1, 4, 3}},
    {kFcTimerDstov, ASN_GAUGE, RWRITE, get_vsan_mib, 3, {1, 4, 4}},
    {kFcNetworkLatency, ASN_GAUGE, RWRITE, get_vsan_mib, 3, {1, 4, 5}},
    {kFcSwitchLatency, ASN_GAUGE, RWRITE, get_vsan_mib, 3, {1, 4, 6}},
    {kFcInorderDelivery, ASN_INTEGER, RWRITE, get_vsan_mib, 3, {1, 4, 7}},
    {kVsanFcTimerForceFlag, ASN_OCTET_STR, RWRITE, get_vsanFcTimerEntry, 5, {1, 4, 8, 1, 1}},
    {kVsanFcTimerRatov, ASN_GAUGE, RWRITE, get_vsanFcTimerEntry, 5, {1, 4, 8, 1, 2}},
    {kVsanFcTimerEdtov, ASN_GAUGE, RWRITE, get_vsanFcTimerEntry, 5, {1, 4, 8, 1, 3}},
    {kVsanFcTimerDstov, ASN_GAUGE, RWRITE, get_vsanFcTimerEntry, 5, {1, 4, 8, 1, 4}},
    {kVsanFcTimerFstov, ASN_GAUGE, RONLY, get_vsanFcTimerEntry, 5, {1, 4, 8, 1, 5}},
};
