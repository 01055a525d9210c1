// Stands between the agent and one service of a switch, and breaks one chosen exchange in one chosen way. Everything
// else passes as it is.
#ifndef TESTS_FAULTS_RELAY_H
#define TESTS_FAULTS_RELAY_H

#include <poll.h>
#include <stdint.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace relay {

enum class breakage {
  none,
  reset_before_read,  // the connection ends with the request unread
  reset_after_read,   // the request is read, and goes nowhere
  hang,               // and nothing ever comes
  gone,               // the whole service goes away with the request unread, until the next plan
  // The switch does what it is asked; of its answer arrives:
  reset_after_done,  // the end of the connection
  no_payload,        // the header, which says that there is nothing more
  cut_payload,       // half of the payload, and a header that says so
  cut_frame,         // half of the frame
  too_much,          // a payload of more than was asked for
  garbage,           // as many octets, at random
  wrong_number,      // an answer to another request
  in_two_messages,   // the frame in two halves, one after the other
  late,              // all of it, when nobody waits any more
};

// Whether the switch is asked at all.
constexpr bool is_done(breakage kind) {
  return kind != breakage::reset_before_read && kind != breakage::reset_after_read && kind != breakage::hang &&
         kind != breakage::gone;
}
// Whether whoever asked waits in vain until his time-out.
constexpr bool is_waited_for(breakage kind) {
  return kind == breakage::hang || kind == breakage::wrong_number || kind == breakage::late;
}

class relay {
 public:
  // Takes the place of the service's socket file, whose server goes on under another name.
  explicit relay(const std::string &socket_file);
  ~relay();
  relay(const relay &) = delete;
  relay &operator=(const relay &) = delete;

  // Breaks the `nth` request from now on, counted from 1; 0: none. Counting starts anew, and a service that is away is
  // back.
  void plan(unsigned nth, breakage kind);
  // The service goes away as with its process: no listener, no socket file, no connection. It is back at the next plan.
  void leave();
  // Requests since then, probes left out.
  unsigned requests();

 private:
  struct connection {
    int client;
    int server;
    breakage of_answer = breakage::none;  // how the next answer is broken
  };
  void run();
  void be_away(std::unique_lock<std::mutex> &lock, bool away);
  bool follow_wish();
  void take_connection();
  bool pass_request(connection &c);
  bool pass_answer(connection &c);
  void send_late_answers();
  breakage next_breakage(const std::vector<uint8_t> &frame);

  struct late_answer {
    int64_t at;
    int client;
    std::vector<uint8_t> frame;
  };

  std::string path_, moved_to_;
  int listener_;
  std::vector<connection> connections_;
  std::vector<late_answer> late_;
  std::mutex guard_;
  unsigned nth_ = 0, seen_ = 0;
  breakage kind_ = breakage::none;
  bool ending_ = false;
  bool wants_away_ = false;
  std::condition_variable followed_;
  std::thread thread_;
};

}  // namespace relay

#endif
