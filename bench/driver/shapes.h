// What the driver asks: the shapes, and their requests made beforehand with the answers that are right.
#ifndef BENCH_DRIVER_SHAPES_H
#define BENCH_DRIVER_SHAPES_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

namespace bench {

enum class table_kind : uint8_t { vsans, visible_vsans, timers, summary, contact };
enum class request_kind : uint8_t { get, next, bulk, set };

struct shape {
  const char *name;
  request_kind kind;
  table_kind table;
  uint32_t columns;      // varbinds of a request
  uint32_t repetitions;  // of a GETBULK, else 1
};
inline constexpr shape kShapes[] = {
    {"getnext-1", request_kind::next, table_kind::vsans, 1, 1},
    {"get-1", request_kind::get, table_kind::vsans, 1, 1},
    {"getnext-row", request_kind::next, table_kind::vsans, 10, 1},
    {"getbulk-1x50", request_kind::bulk, table_kind::vsans, 1, 50},
    {"getbulk-10x20", request_kind::bulk, table_kind::vsans, 10, 20},
    {"set-1", request_kind::set, table_kind::vsans, 1, 1},
    {"set-3", request_kind::set, table_kind::vsans, 3, 1},
    {"restricted-walk", request_kind::next, table_kind::visible_vsans, 1, 1},
    {"timers-walk", request_kind::next, table_kind::timers, 1, 1},
    {"timers-bulk", request_kind::bulk, table_kind::timers, 1, 50},
    {"summary-walk", request_kind::next, table_kind::summary, 1, 1},
    {"summary-bulk", request_kind::bulk, table_kind::summary, 1, 50},
    {"get-contact", request_kind::get, table_kind::contact, 1, 1},
};

// The shape of this name, or null.
const shape *find_shape(const std::string &name);

// The restricted user sees VSAN 1 and every hundredth after it.
inline constexpr uint32_t kVisibleStep = 100;

// A varbind that an answer is to have, as contents of BER elements.
struct cell {
  std::string name;
  uint8_t type;
  std::string value;
};

struct exchange {
  std::string message;  // the request; the four octets at `id_at` are its request id
  size_t id_at;
  std::vector<uint32_t> expected;  // the answer's varbinds, in `cells` of the workload
};

// The requests of a shape, in the order in which they are sent, over and over. A SET of new values is followed by the
// SET of the old ones, so that `step` requests leave everything as it was.
struct workload {
  std::vector<cell> cells;
  std::vector<exchange> exchanges;
  size_t step = 1;
};
workload make_workload(const shape &shape, uint32_t vsans);

}  // namespace bench

#endif
