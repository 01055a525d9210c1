// One load program of the soak: "soak_load write|walk|probe|traps PORT SEED REQUESTS_A_SECOND [NUMBER]".
#include "load.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>

namespace load {

void follow(orders &from) {
  for (std::string line; std::getline(std::cin, line);) {
    if (line == "away" || line == "back") {
      from.away = line == "away";
    } else if (line == "check") {
      ++from.checks;
    }
  }
  from.over = true;
}

int64_t now_us() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000000 + now.tv_nsec / 1000;
}

void wait_for_turn(pace &p) {
  const int64_t now = now_us();
  if (p.next > now) {
    std::this_thread::sleep_for(std::chrono::microseconds(p.next - now));
  }
  p.next = std::max(p.next, now - p.interval) + p.interval;
}

std::string result_of(const snmp::answer &answer) {
  if (!answer.sent_back) {
    return answer.given_up ? "left" : "none";
  }
  const bool is_exception = !answer.varbinds.empty() && answer.varbinds[0].type >= snmp::kNoSuchObject;
  return is_exception ? "absent" : std::to_string(answer.status);
}

}  // namespace load

namespace {

struct program {
  const char *name;
  int (*run)(const load::setting &how, load::orders &from);
};
constexpr program kPrograms[] = {
    {"write", load::write}, {"walk", load::walk}, {"probe", load::probe}, {"traps", load::take_traps}};

// 0 for what is no number.
unsigned long number(const char *text) {
  char *end = nullptr;
  const unsigned long value = strtoul(text, &end, 10);
  return *end == '\0' ? value : 0;
}

}  // namespace

int main(int argc, char **argv) {
  load::orders from;
  for (const program &each : kPrograms) {
    if ((argc != 5 && argc != 6) || strcmp(argv[1], each.name) != 0 || number(argv[2]) == 0 || number(argv[4]) == 0) {
      continue;
    }
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const load::setting how = {static_cast<int>(number(argv[2])), static_cast<unsigned>(number(argv[3])),
                               static_cast<int64_t>(1000000 / number(argv[4])),
                               static_cast<unsigned>(argc == 6 ? number(argv[5]) : 0)};
    std::thread listener([&] { load::follow(from); });
    const int status = each.run(how, from);
    listener.join();
    return status;
  }
  fprintf(stderr, "usage: soak_load write|walk|probe|traps PORT SEED REQUESTS_A_SECOND [NUMBER]\n");
  return 2;
}
