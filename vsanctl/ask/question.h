// Requests of vsanctl to the managers, and how it ends when they do not go well.
#ifndef VSANCTL_ASK_QUESTION_H
#define VSANCTL_ASK_QUESTION_H

#include <stdint.h>

#include <string>
#include <vector>

// One request. `answer_size` is the payload that the answer must have; 0 when none is wanted, kAnyAnswer for any size.
inline constexpr size_t kAnyAnswer = SIZE_MAX;
struct question {
  int service;
  int opcode;
  int msg_type;
  std::vector<uint8_t> payload;
  size_t answer_size;
  int wait = 0;  // for the answer, in seconds; 0: as long as for any request
};

// Sends it and returns the manager's status, 0 with `answer` filled. Ends the program when no manager answers, or with
// something else than was asked for.
int ask_switch(const question &asked, std::vector<uint8_t> &answer);

// What was asked for by field, so that a refusal can tell which value was meant.
struct named_value {
  const char *field;
  std::string value;
};

// Ends the program for a refused request: "WHAT: FIELD VALUE: STATUS (TEXT)".
[[noreturn]] void fail_refused(const std::string &what, int status, const std::vector<named_value> &values = {});

// Asks, and ends the program when the request is refused.
std::vector<uint8_t> ask_or_fail(const std::string &what, const question &asked,
                                 const std::vector<named_value> &values = {});

// Calls `take` for each answer of a GETNEXT walk. `take` fills in the payload of the next request from the answer. The
// walk ends at `end_status`; any other refusal ends the program.
template <typename Take>
void walk(const std::string &what, question asked, int end_status, const Take &take) {
  std::vector<uint8_t> answer;
  int status = 0;
  while ((status = ask_switch(asked, answer)) == 0) {
    take(answer, asked.payload);
  }
  if (status != end_status) {
    fail_refused(what, status);
  }
}

#endif
