// The event history: what a trace line costs, and a slot of the ring by itself.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "module_frame/trace.h"
#include "slot_ring.h"
#include "switchplatform/shared_page.h"

namespace {

// The shortest line of the module's reads, and its longest: a row as it was received.
void trace_short(benchmark::State &state) {
  for (auto _ : state) {
    TRACE("%s(%d) VSANMEDIATYPE \n", "get_vsanEntry", __LINE__);
  }
}
BENCHMARK(trace_short);

void trace_longest(benchmark::State &state) {
  const char *name = "a-name-of-thirty-two-characters!";
  int size = 2632, index = 4093, media = 1, admin = 1, mtu = 2112, inorder = 2, interop = 100, balancing = 2,
      status = 1, oper = 1, latency = 2000;
  for (auto _ : state) {
    for (int *number :
         {&size, &index, &media, &admin, &mtu, &inorder, &interop, &balancing, &status, &oper, &latency}) {
      benchmark::DoNotOptimize(*number);
    }
    benchmark::DoNotOptimize(name);
    TRACE(
        "%s(%d) : Received  %s response from VSAN mgr with payload (size = %d) Index = %d MediaType = %d, State=%d, "
        "Mtu=%d, IODelivery = %d, vsanInteropMode=%d, LoadBalancingType=%d, rowStatus=%d, OperationalState =%d, "
        "Name=%s nwlatency %d\n",
        "header_vsanEntry", __LINE__, "GETNEXT", size, index, media, admin, mtu, inorder, interop, balancing, status,
        oper, name, latency);
  }
}
BENCHMARK(trace_longest);

void trace_not_recorded(benchmark::State &state) {
  if (platform_level_set(kLevelRecorded, vsan_mib::kTraceLine, 0) != 0) {
    state.SkipWithError("no page");
  }
  for (auto _ : state) {
    TRACE("%s(%d) VSANMEDIATYPE \n", "get_vsanEntry", __LINE__);
  }
  platform_level_set(kLevelRecorded, vsan_mib::kTraceLine, 1);
}
BENCHMARK(trace_not_recorded);

// A text of so many octets into a slot as wide as the history's.
void slot_write(benchmark::State &state) {
  constexpr uint32_t kSlots = 8192, kSlotWords = 144, kHeadWords = 4;
  std::vector<shared_word> words(size_t{kSlots} * kSlotWords);
  slot_ring_counters counters{};
  const slot_ring ring = {&counters, words.data(), kSlots, kSlotWords};
  const uint32_t head[kHeadWords] = {1, 2, 3, 4};
  const std::string text(static_cast<size_t>(state.range(0)), 'x');
  for (auto _ : state) {
    slot_ring_write(ring, head, kHeadWords, text.data(), static_cast<uint32_t>(text.size()));
  }
  uint32_t record[kSlotWords];
  if (counters.dropped != 0 || slot_ring_read(ring, counters.newest, record) != slot_state::read) {
    state.SkipWithError("records were dropped or cannot be read");
  }
}
BENCHMARK(slot_write)->Arg(32)->Arg(256)->Arg(512);

}  // namespace
