#include "fake_manager.h"

#include <event2/event.h>
#include <event2/thread.h>

#include <chrono>
#include <future>
#include <stdexcept>

namespace {

constexpr timeval kAtOnce = {0, 0};

void on_request(void *context, const message_request &request, message_reply &reply) {
  auto *manager = static_cast<fake_manager *>(context);
  const std::lock_guard lock(manager->mutex);
  manager->requests.push_back({request.opcode, request.msg_type,
                               std::vector<uint8_t>(request.payload.begin(), request.payload.end()),
                               std::string(request.user), std::string(request.session), request.wants_payload});
  manager->answer(request, reply);
}

void on_report(void *context, const char *text) {
  auto *manager = static_cast<fake_manager *>(context);
  const std::lock_guard lock(manager->mutex);
  manager->reports.emplace_back(text);
}

struct loop_work {
  const std::function<void()> *work;
  std::promise<void> done;
};

void run_work(evutil_socket_t, short, void *context) {
  auto *work = static_cast<loop_work *>(context);
  (*work->work)();
  work->done.set_value();
}

}  // namespace

fake_manager::fake_manager(const std::string &run_dir, int service) {
  answer = [](const message_request &request, message_reply &reply) {
    reply.payload.assign(request.payload.begin(), request.payload.end());
  };
  evthread_use_pthreads();
  base = event_base_new();
  server = message_server_open(base, run_dir.c_str(), service, on_request, this);
  if (server == nullptr) {
    throw std::runtime_error("the fake manager cannot listen");
  }
  message_server_log_to(server, on_report);
  thread = std::thread([this] { event_base_loop(base, EVLOOP_NO_EXIT_ON_EMPTY); });
}

fake_manager::~fake_manager() {
  in_loop([this] { message_server_close(server); });
  event_base_loopbreak(base);
  thread.join();
  event_base_free(base);
}

void fake_manager::in_loop(const std::function<void()> &work) {
  loop_work item{&work, {}};
  event_base_once(base, -1, EV_TIMEOUT, run_work, &item, &kAtOnce);
  item.done.get_future().wait();
}

void fake_manager::add_fault(const message_fault &fault) {
  in_loop([&] { message_server_add_fault(server, fault); });
}

std::vector<seen_request> fake_manager::seen() {
  const std::lock_guard lock(mutex);
  return requests;
}

message_counters fake_manager::counters() {
  message_counters counters;
  in_loop([&] { counters = message_server_counters(server); });
  return counters;
}

long took_ms(const std::function<void()> &work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
  return static_cast<long>(took.count());
}
