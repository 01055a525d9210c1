// Records between host order and the wire's.
#include <benchmark/benchmark.h>

#include <string.h>

#include "record_words.h"

namespace {

vsanEntry some_row() {
  vsanEntry row = {};
  row.vsanIndex = 4093;
  row.vsanMtu = 2112;
  row.vsanNetworkDropLatency = 2000;
  strcpy(row.vsanName, "a-name-of-thirty-two-characters!");
  return row;
}

void row_swap(benchmark::State &state) {
  vsanEntry row = some_row();
  for (auto _ : state) {
    record_swap(&row);
    benchmark::DoNotOptimize(&row);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(row_swap);

void row_write(benchmark::State &state) {
  const vsanEntry row = some_row();
  uint8_t wire[sizeof row];
  for (auto _ : state) {
    record_write(row, wire);
    benchmark::DoNotOptimize(&wire);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(row_write);

void row_read(benchmark::State &state) {
  uint8_t wire[sizeof(vsanEntry)];
  record_write(some_row(), wire);
  for (auto _ : state) {
    benchmark::ClobberMemory();
    benchmark::DoNotOptimize(record_read<vsanEntry>(wire));
  }
}
BENCHMARK(row_read);

// The whole message as the module makes and takes it: the envelope is zeros, the row is swapped in place.
void row_message_there_and_back(benchmark::State &state) {
  const vsanEntry row = some_row();
  for (auto _ : state) {
    vsanRowMessage message = {};
    message.row = row;
    record_swap(&message.row);
    benchmark::DoNotOptimize(&message);
    benchmark::ClobberMemory();
    record_swap(&message.row);
    benchmark::DoNotOptimize(&message);
  }
}
BENCHMARK(row_message_there_and_back);

}  // namespace
