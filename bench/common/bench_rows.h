// The rows that every peer serves and the driver expects: the same VSANs, interfaces and timers, by formula.
#ifndef BENCH_COMMON_BENCH_ROWS_H
#define BENCH_COMMON_BENCH_ROWS_H

#include <stddef.h>
#include <stdint.h>

#include <vector>

namespace bench {

inline constexpr uint32_t kVsansMax = 4093;

// Types of SNMP as they stand in a message.
enum : uint8_t { kInteger = 0x02, kOctets = 0x04, kGauge = 0x42 };

inline constexpr size_t kNameSize = 33;  // a name of 32 octets and its NUL

// One row of the VSAN table.
struct row {
  uint32_t vsan = 0;
  char name[kNameSize] = {};
  uint32_t media = 0;
  uint32_t admin_state = 0;
  uint32_t mtu = 0;
  uint32_t load_balancing = 0;
  uint32_t oper_state = 0;
  uint32_t row_status = 0;
  uint32_t interop = 0;
  uint32_t inorder = 0;
  uint32_t drop_latency = 0;
};

// A column: its number in the table, its type, and where its value is. A null `word` is the name.
struct column {
  uint32_t number;
  uint8_t type;
  uint32_t row::*word;
  bool writable;
};
inline constexpr column kColumns[] = {
    {2, kOctets, nullptr, true},
    {3, kInteger, &row::media, false},
    {4, kInteger, &row::admin_state, false},
    {5, kGauge, &row::mtu, false},
    {6, kInteger, &row::load_balancing, true},
    {8, kInteger, &row::oper_state, false},
    {9, kInteger, &row::row_status, false},
    {10, kInteger, &row::interop, false},
    {11, kInteger, &row::inorder, false},
    {12, kGauge, &row::drop_latency, true},
};

// The table of the VSANs, as the numbers of an OID, and its entry's number below it.
#define BENCH_VSAN_TABLE 1, 3, 6, 1, 4, 1, 32473, 9, 282, 1, 1, 3
inline constexpr uint32_t kEntry = 1;

// The column with this number, or null.
const column *find_column(uint32_t number);

// The row of VSAN 1 to kVsansMax as it is at the start.
row row_of(uint32_t vsan);

// The rows of VSANs 1 to `vsans`.
std::vector<row> rows_up_to(uint32_t vsans);

// How many rows a peer is to serve: the text as a number from 1 to kVsansMax; null, or no such number: 0.
uint32_t rows_wanted(const char *text);

// Stores a written value, of `size` octets; a word is in host order and as wide as `size` says. Returns whether the
// column can be written and the value fits.
bool store_value(row &to, const column &column, const void *value, size_t size);

// Each VSAN has one interface: its index, and whether it is up.
uint32_t interface_of(uint32_t vsan);
bool is_interface_up(uint32_t vsan);

// The timers of a VSAN in milliseconds, as the columns 2 to 5 of their table have them.
struct timers {
  uint32_t ratov, edtov, dstov, fstov;
};
timers timers_of(uint32_t vsan);

}  // namespace bench

#endif
