// What the switch's managers hold, and what they make of each request of the module: a model that shares no code with
// them. Tests compare the store and what walks show with it.
#ifndef TESTS_MODEL_SWITCH_MODEL_H
#define TESTS_MODEL_SWITCH_MODEL_H

#include <map>
#include <set>
#include <string>
#include <utility>

namespace model {

constexpr unsigned long kDefaultVsan = 1, kLastVsan = 4094;

struct vsan_row {
  std::string name{};
  long media = 1;
  long mtu = 2112;
  long admin = 1;
  long balancing = 2;
  long interop = 100;  // 100: the default mode
  long inorder = 2;    // 0 in a request: as it is
  long latency = 2000;
  bool operator==(const vsan_row &other) const = default;
};

struct interface_row {
  unsigned long vsan = kDefaultVsan;
  bool up = false;
  bool is_static = true;
};

// Timers by VSAN, 0 for the switch, and attribute key.
constexpr unsigned long kEdtovKey = 7, kRatovKey = 8, kDstovKey = 9, kFstovKey = 10;
using timer_key = std::pair<unsigned long, unsigned long>;

// What a DELETE took. A client that puts the row back gets all of it back.
struct deleted_vsan {
  vsan_row row{};
  std::map<unsigned long, bool> interfaces{};  // by index: whether it was static
  std::map<timer_key, long> timers{};
  bool kept_out = false;
};

struct switch_model {
  std::map<unsigned long, vsan_row> vsans{};
  std::map<unsigned long, interface_row> interfaces{};
  std::map<timer_key, long> timers{};
  std::set<unsigned long> kept_out{};  // of distribution
  long network_latency = 0, switch_latency = 0;
  long inorder = 2;
  std::map<unsigned long, deleted_vsan> deleted{};
  unsigned long vsan_changes = 0;  // so far; a row that is the same again is none

  // The next writes that are refused instead of done: the n-th of an opcode from now on.
  struct {
    int opcode = 0;  // 0: none
    unsigned nth = 0;
    int status = 0;
  } fault{};
};

// What the managers answer. Any other status than the first three is an error without a name.
constexpr int kDone = 0, kNoSuchVsan = 0x40190001, kNotAllowed = 0x40190004, kNoSuchInterface = 0x40490002,
              kRefused = 0x40400000;

// A whole row as the module sends it. `was_read`: it is one that the switch gave, not one made of defaults.
struct sent_row {
  vsan_row row{};
  long row_status = 1;
  bool was_read = false;
};

int put_vsan(switch_model &s, unsigned long id, const sent_row &sent);
int delete_vsan(switch_model &s, unsigned long id);
// Of one VSAN, by attribute key.
int set_timer(switch_model &s, unsigned long key, unsigned long id, long value, bool forced);
int set_switch_timer(switch_model &s, unsigned long key, long value);
enum class latency { of_switch, of_network };
int set_latency(switch_model &s, latency which, long value);
int set_inorder(switch_model &s, long value);
int move_interface(switch_model &s, unsigned long index, unsigned long id);

bool is_operational(const switch_model &s, unsigned long id);
// The timer of a VSAN: its own, or the switch's.
long timer_of(const switch_model &s, unsigned long key, unsigned long id);

// The store's tables as text, a line a row.
std::string text_of(const switch_model &s);

}  // namespace model

#endif
