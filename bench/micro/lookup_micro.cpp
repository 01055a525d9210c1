// An exchange with a manager in another process, and the module's lookups on top of it.
// clang-format off
#include <net-snmp/net-snmp-config.h>
#include <net-snmp/net-snmp-includes.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
// clang-format on

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <string.h>

#include "bench_rows.h"
#include "micro_switch.h"
#include "objects/vsan_columns.h"
#include "platform/cmi.h"
#include "record_words.h"
#include "requests.h"
#include "vsan_mib.h"

namespace {

constexpr uint32_t kAsked = 9;

// A request for a row, and the row.
void exchange_of_a_row(benchmark::State &state) {
  vsanRowMessage request = {};
  request.row.vsanIndex = kAsked;
  record_swap(&request.row);
  for (auto _ : state) {
    void *response = nullptr;
    uint32_t size = sizeof request;
    const int status = cmi_req_resp(kOpVsanRow, kMsgGet, &request, &response, &size, nullptr, nullptr,
                                    kServiceVsanManager, mts_response_q, 0);
    free(response);
    if (status != 0 || size != sizeof request) {
      state.SkipWithError("the exchange failed");
    }
  }
}
BENCHMARK(exchange_of_a_row)->UseRealTime();

void find_column(benchmark::State &state) {
  for (auto _ : state) {
    for (int magic = vsan_mib::kVsanName; magic <= vsan_mib::kVsanNetworkDropLatency; ++magic) {
      benchmark::DoNotOptimize(vsan_mib::find_vsan_column(magic));
    }
  }
  state.SetItemsProcessed(state.iterations() * (vsan_mib::kVsanNetworkDropLatency - vsan_mib::kVsanName + 1));
}
BENCHMARK(find_column);

// GETNEXT of a row as the agent asks for it: the OID of the row before in the column of names. `same_pdu`: the row is
// the one that this PDU has read already.
void look_up(benchmark::State &state, bool same_pdu) {
  oid column[] = {BENCH_VSAN_TABLE, bench::kEntry, 2};
  int pdu = 1;
  for (auto _ : state) {
    if (!same_pdu) {
      bench::set_pdu_number(++pdu);
    }
    oid name[MAX_OID_LEN];
    memcpy(name, column, sizeof column);
    name[OID_LENGTH(column)] = kAsked;
    size_t length = OID_LENGTH(column) + 1;
    vsanEntry row;
    if (header_vsanEntry(column, OID_LENGTH(column), name, &length, 0, &row) != 0 || row.vsanIndex != kAsked + 1) {
      state.SkipWithError("the row was not found");
    }
  }
}

void row_of_this_pdu(benchmark::State &state) {
  look_up(state, true);
}
BENCHMARK(row_of_this_pdu);

void row_of_a_new_pdu(benchmark::State &state) {
  look_up(state, false);
}
BENCHMARK(row_of_a_new_pdu)->UseRealTime();

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv) || !bench::start_micro_switch()) {
    return 1;
  }
  benchmark::RunSpecifiedBenchmarks();
  bench::stop_micro_switch();
  benchmark::Shutdown();
  return 0;
}
