// A manager in a thread of its own, behind the real message server.
#ifndef TESTS_UNIT_PLATFORM_FAKE_MANAGER_H
#define TESTS_UNIT_PLATFORM_FAKE_MANAGER_H

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "message_server.h"

struct event_base;

// A request as the manager saw it.
struct seen_request {
  int opcode;
  int msg_type;
  std::vector<uint8_t> payload;
  std::string user;
  std::string session;
  bool wants_payload;
};

// Answers each request by `answer`, which echoes the payload at first.
struct fake_manager {
  explicit fake_manager(const std::string &run_dir, int service = 15);
  ~fake_manager();
  fake_manager(const fake_manager &) = delete;
  fake_manager &operator=(const fake_manager &) = delete;

  // Runs `work` on the manager's thread and waits for it.
  void in_loop(const std::function<void()> &work);
  void add_fault(const message_fault &fault);
  std::vector<seen_request> seen();
  message_counters counters();

  std::function<void(const message_request &, message_reply &)> answer;
  event_base *base = nullptr;
  message_server *server = nullptr;
  std::mutex mutex;
  std::vector<seen_request> requests;
  std::vector<std::string> reports;
  std::thread thread;
};

// Milliseconds that `work` took.
long took_ms(const std::function<void()> &work);

#endif
