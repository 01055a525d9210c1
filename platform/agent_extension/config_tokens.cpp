#include "config_tokens.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include <algorithm>
#include <string>
#include <vector>

#include "config_files.h"

namespace {

bool reading_ahead;
std::vector<std::string> complained_about;  // while reading ahead

void read_named_files(config_line *ours) {
  for (const std::string &file : config_files_named()) {
    read_config(file.c_str(), ours, PREMIB_CONFIG);
  }
}

// Unless the agent does not read them (-C); that is decided within.
void read_searched_files(const char *type, config_line *ours) {
  config_files searched = {};
  searched.fileHeader = const_cast<char *>(type);
  searched.start = ours;
  read_config_files_of_type(PREMIB_CONFIG, &searched);
}

// In the agent's order: a list that starts with '-' comes before the files of the search path.
void read_files(const char *type, config_line *ours) {
  const char *named = netsnmp_ds_get_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG);
  const bool named_first = named != nullptr && *named == '-';
  if (named_first) {
    read_named_files(ours);
  }
  read_searched_files(type, ours);
  if (!named_first) {
    read_named_files(ours);
  }
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
  const bool known = type != nullptr && ours != nullptr;
  const bool all = known && config_files_readable(type);
  complained_about.clear();
  reading_ahead = true;
  if (known) {
    read_files(type, ours);
  }
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
