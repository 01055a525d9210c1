// The load driver: prints a topology, waits for peers, or runs a plan. Exit codes: 0 done; 1 a wrong or missing answer.
#include <stdio.h>

#include <CLI/CLI.hpp>
#include <exception>

#include "bench_rows.h"
#include "bench_topology.h"
#include "load.h"

namespace {

struct options {
  uint32_t vsans = 0;
  double wait = 30;
  std::vector<std::string> peers;
  std::vector<std::string> shapes;
  bench::plan plan;
};

int complain(const std::string &problem) {
  if (!problem.empty()) {
    fflush(stdout);
    fprintf(stderr, "bench: %s\n", problem.c_str());
    return 1;
  }
  return 0;
}

std::string take_words(options &given) {
  for (const std::string &text : given.peers) {
    bench::peer peer;
    if (std::string problem = bench::read_peer(text, peer); !problem.empty()) {
      return problem;
    }
    given.plan.peers.push_back(std::move(peer));
  }
  for (const std::string &name : given.shapes) {
    const bench::shape *shape = bench::find_shape(name);
    if (shape == nullptr) {
      return "no shape is called \"" + name + "\"";
    }
    given.plan.shapes.push_back(shape);
  }
  return "";
}

std::string wait_for_all(options &given) {
  for (bench::peer &each : given.plan.peers) {
    if (std::string problem = bench::wait_for_peer(each, given.wait); !problem.empty()) {
      return problem;
    }
  }
  return "";
}

int run(int argc, char **argv) {
  options given;
  CLI::App app("Loads SNMP agents on loopback and checks every answer.", "bench_driver");
  app.require_subcommand(1);
  CLI::App *topology = app.add_subcommand("topology", "print the topology of a switch with the bench's rows");
  topology->add_option("vsans", given.vsans)->required()->check(CLI::Range(1U, bench::kVsansMax));
  CLI::App *wait = app.add_subcommand("wait", "wait until peers serve");
  wait->add_option("--seconds", given.wait);
  CLI::App *load = app.add_subcommand("load", "run rounds of slices and print what each did");
  for (CLI::App *each : {wait, load}) {
    each->add_option("--peer", given.peers, "NAME:VSANS:PORT:PIDS:PIDS, of the agent and of what is behind it")
        ->required();
  }
  load->add_option("--shape", given.shapes)->required();
  load->add_option("--rounds", given.plan.rounds)->check(CLI::Range(1, 1000000));
  load->add_option("--slice", given.plan.slice, "seconds")->check(CLI::PositiveNumber);
  load->add_option("--requests", given.plan.requests, "end a slice after so many");
  load->add_option("--warm-up", given.plan.warm_up, "requests in front of each slice that are not counted");
  CLI11_PARSE(app, argc, argv);

  if (topology->parsed()) {
    bench::print_topology(given.vsans);
    return 0;
  }
  if (const int failed = complain(take_words(given)); failed != 0) {
    return failed;
  }
  return complain(wait->parsed() ? wait_for_all(given) : run_plan(given.plan));
}

}  // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception &error) {  // such as no memory
    fprintf(stderr, "bench: %s\n", error.what());
    return 1;
  }
}
