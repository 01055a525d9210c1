// Which fabric a switch is in, and how it is reached: from the command line and the topology file's [fabric].
#ifndef SWITCHD_FABRIC_OPTIONS_H
#define SWITCHD_FABRIC_OPTIONS_H

#include <string>
#include <vector>

struct fabric_options {
  std::string name = {};  // empty: a switch by itself
  std::vector<std::string> endpoints = {};
  std::string ca = {};  // files
  std::string cert = {};
  std::string key = {};
  std::string user = {};
  std::string password_file = {};
};

// What is wrong with a fabric's name, or with an endpoint; empty when nothing is.
std::string fabric_name_problem(const std::string &name);
std::string fabric_endpoint_problem(const std::string &url);

// What `over` has replaces what `options` has.
void fabric_options_overlay(fabric_options &options, const fabric_options &over);

// What is missing beside what is there; empty when nothing is.
std::string fabric_options_problem(const fabric_options &options);

#endif
