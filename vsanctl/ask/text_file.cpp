#include "ask/text_file.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "requests.h"

int read_text_file(const std::string &name, std::string &text, std::string &problem) {
  FILE *file = name == "-" ? stdin : fopen(name.c_str(), "rb");
  char part[65536];
  size_t got = 0;
  while (file != nullptr && text.size() <= kConfigurationMax && (got = fread(part, 1, sizeof part, file)) > 0) {
    text.append(part, got);
  }
  if (file == nullptr || ferror(file) != 0) {
    problem = name + ": " + strerror(errno);
  } else if (text.size() > kConfigurationMax) {
    problem = name + ": more than " + std::to_string(kConfigurationMax) + " bytes";
  }
  if (file != nullptr && file != stdin) {
    fclose(file);
  }
  return problem.empty() ? 0 : -1;
}
