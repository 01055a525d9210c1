#include "micro_switch.h"

#include <event2/event.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "bench_rows.h"
#include "message_server.h"
#include "record_words.h"
#include "requests.h"
#include "switchplatform/run_dir.h"
#include "switchplatform/shared_page.h"

namespace {

std::string run_dir;
pid_t manager = 0;
int pdu_number = 1;

vsanEntry entry_of(uint32_t vsan) {
  const bench::row row = bench::row_of(vsan);
  vsanEntry entry = {};
  entry.vsanIndex = row.vsan;
  entry.vsanMediaType = row.media;
  entry.vsanAdminState = row.admin_state;
  entry.vsanMtu = row.mtu;
  entry.vsanInorderDelivery = row.inorder;
  entry.vsanInteropMode = row.interop;
  entry.vsanLoadBalancingType = row.load_balancing;
  entry.vsanRowStatus = row.row_status;
  entry.vsanOperState = row.oper_state;
  entry.vsanNetworkDropLatency = row.drop_latency;
  memcpy(entry.vsanName, row.name, sizeof row.name);
  return entry;
}

void answer(void *, const message_request &request, message_reply &reply) {
  if (request.payload.size() != sizeof(vsanRowMessage)) {
    reply.status = 1;
    return;
  }
  auto message = request.payload;
  vsanRowMessage row = {};
  memcpy(&row, message.data(), sizeof row);
  record_swap(&row.row);
  row.row = entry_of(row.row.vsanIndex + (request.msg_type == kMsgGetNext ? 1 : 0));
  record_swap(&row.row);
  reply.payload.resize(sizeof row);
  memcpy(reply.payload.data(), &row, sizeof row);
}

// The manager's process: tells over `ready` that it listens.
[[noreturn]] void serve(int ready) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  event_base *base = event_base_new();
  const bool listens = message_server_open(base, run_dir.c_str(), kServiceVsanManager, answer, nullptr) != nullptr;
  const char word = listens ? 1 : 0;
  if (write(ready, &word, 1) == 1 && listens) {
    event_base_dispatch(base);
  }
  _exit(1);
}

bool start_manager() {
  int ready[2];
  if (pipe(ready) != 0) {
    return false;
  }
  manager = fork();
  if (manager == 0) {
    serve(ready[1]);
  }
  close(ready[1]);
  char word = 0;
  const bool listens = read(ready[0], &word, 1) == 1 && word == 1;
  close(ready[0]);
  return listens;
}

}  // namespace

// Instead of the agent extension's: there is no agent here.
extern "C" int get_pdu_reqid(void) {
  return pdu_number;
}

namespace bench {

bool start_micro_switch() {
  char name[] = "/dev/shm/bench-micro.XXXXXX";
  run_dir = mkdtemp(name) != nullptr ? name : "";
  if (run_dir.empty() || platform_set_run_dir(run_dir.c_str()) != 0 || platform_page_own(-1) != 0 || !start_manager()) {
    fprintf(stderr, "bench: no run directory, page or manager in /dev/shm: %s\n", strerror(errno));
    stop_micro_switch();
    return false;
  }
  return true;
}

void stop_micro_switch() {
  if (manager > 0) {
    kill(manager, SIGKILL);
    waitpid(manager, nullptr, 0);
  }
  if (!run_dir.empty()) {
    std::error_code ignored;
    std::filesystem::remove_all(run_dir, ignored);
  }
}

void set_pdu_number(int number) {
  pdu_number = number;
}

}  // namespace bench
