#include "platform/agent_extension/config_tokens.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <errno.h>
#include <fcntl.h>
#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace {

bool reading_ahead;
std::vector<std::string> complained_about;  // while reading ahead

std::vector<std::string> words_of(const char *text, char separator) {
  std::vector<std::string> words;
  std::stringstream in(text == nullptr ? "" : text);
  for (std::string word; std::getline(in, word, separator);) {
    words.push_back(word);
  }
  return words;
}

// Whether the file may be read, or is not there.
bool may_read(const std::string &file) {
  if (faccessat(AT_FDCWD, file.c_str(), R_OK, AT_EACCESS) == 0 || errno == ENOENT || errno == ENOTDIR) {
    return true;
  }
  snmp_log(LOG_ERR, "switch_agent: %s: %s; it may hold roles\n", file.c_str(), strerror(errno));
  return false;
}

// The files that -c gave.
bool read_named_files(const char *names, config_line *ours) {
  bool all = true;
  for (const std::string &file : words_of(names, ',')) {
    all = may_read(file) && all;
    read_config(file.c_str(), ours, PREMIB_CONFIG);
  }
  return all;
}

// The files of the search path, unless the agent does not read them (-C); that is decided within.
bool read_searched_files(const char *type, config_line *ours) {
  config_files searched = {};
  searched.fileHeader = const_cast<char *>(type);
  searched.start = ours;
  read_config_files_of_type(PREMIB_CONFIG, &searched);
  if (netsnmp_ds_get_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS) != 0) {
    return true;
  }
  const char *path = netsnmp_getenv("SNMPCONFPATH");
  bool all = true;
  for (const std::string &directory : words_of(path == nullptr ? get_configuration_directory() : path, ':')) {
    struct stat there;
    if (stat(directory.c_str(), &there) != 0) {
      continue;  // as the agent does: the home of the user that it was started by is closed to the one that it became
    }
    for (const char *ending : {".conf", ".local.conf"}) {
      all = may_read(directory + "/" + type + ending) && all;
    }
  }
  return all;
}

// In the agent's order: a list that starts with '-' comes before the files of the search path.
bool read_files(const char *type, config_line *ours) {
  const char *named = netsnmp_ds_get_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG);
  if (named != nullptr && *named == '-') {
    const bool all = read_named_files(named + 1, ours);
    return read_searched_files(type, ours) && all;
  }
  const bool all = read_searched_files(type, ours);
  return read_named_files(named, ours) && all;
}

}  // namespace

// The words are registered for the agent's early pass meanwhile, which is quiet about everything that is not ours. The
// agent appends words to its list: what follows our first one is ours, too.
bool config_tokens_read_ahead(const config_token *tokens, size_t count) {
  const char *type = netsnmp_ds_get_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_APPTYPE);
  config_line *ours = nullptr;
  for (size_t i = 0; i < count; ++i) {
    config_line *line = register_app_prenetsnmp_mib_handler(tokens[i].name, tokens[i].read, nullptr, nullptr);
    ours = ours == nullptr ? line : ours;
  }
  complained_about.clear();
  reading_ahead = true;
  const bool all = type != nullptr && ours != nullptr && read_files(type, ours);
  reading_ahead = false;
  for (size_t i = 0; i < count; ++i) {
    unregister_app_config_handler(tokens[i].name);
  }
  return all;
}

void config_tokens_register(const config_token *tokens, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    snmpd_register_config_handler(tokens[i].name, tokens[i].read, nullptr, tokens[i].help);
  }
}

void config_tokens_unregister(const config_token *tokens, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    snmpd_unregister_config_handler(tokens[i].name);
  }
}

void config_complain(const char *token, const char *line, const char *complaint) {
  const std::string whole = std::string(token) + " " + line;
  if (reading_ahead) {
    complained_about.push_back(whole);
  } else if (std::find(complained_about.begin(), complained_about.end(), whole) != complained_about.end()) {
    return;
  }
  config_perror(complaint);
}
