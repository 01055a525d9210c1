// A scenario: commands of vsanctl at set times, played against whatever watches the switch. In TOML:
//
//   [[step]]
//   at = 2.5                                 # seconds from the start; 0 when it is left out
//   do = "fault delay 500 --object vsanName" # a command as it is typed, or a list of its words
//   for = 10                                 # seconds; a fault then ends, of another command `undo` is run
//   undo = "interface up fc1/1"
//   times = 50                               # a burst: so many times, `every` so many seconds
//   every = 0.1
#ifndef VSANCTL_FAULTS_SCENARIO_FILE_H
#define VSANCTL_FAULTS_SCENARIO_FILE_H

#include <string>
#include <vector>

// One command of a scenario.
struct scenario_event {
  double at;  // seconds from the start
  std::vector<std::string> words;
  size_t change;  // which change it makes or takes back, counted from 0
  bool undoes;    // it takes it back: run, when the change was made, even after the scenario was broken off
};

// Reads the file into events in order of time. Returns 0, or -1 with every problem of the file in `problems`, one a
// line.
int read_scenario(const std::string &file, std::vector<scenario_event> &events, std::string &problems);

#endif
