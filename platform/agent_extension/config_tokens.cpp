#include "platform/agent_extension/config_tokens.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

bool reading_ahead;
std::vector<std::string> complained_about;  // while reading ahead

// The files that -c gave, comma-separated.
void read_named_files(const char *names, config_line *ours) {
  const std::string all = names;
  for (size_t at = 0; at < all.size();) {
    const size_t end = std::min(all.find(',', at), all.size());
    if (end > at) {
      read_config(all.substr(at, end - at).c_str(), ours, PREMIB_CONFIG);
    }
    at = end + 1;
  }
}

// In the agent's order: a list that starts with '-' comes before the files of the search path. Those are not read when
// the agent does not read them (-C); that is decided within.
void read_files(const char *type, config_line *ours) {
  const char *named = netsnmp_ds_get_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG);
  const bool first = named != nullptr && *named == '-';
  if (first) {
    read_named_files(named + 1, ours);
  }
  config_files searched = {};
  searched.fileHeader = const_cast<char *>(type);
  searched.start = ours;
  read_config_files_of_type(PREMIB_CONFIG, &searched);
  if (named != nullptr && !first) {
    read_named_files(named, ours);
  }
}

// The words are registered for the agent's early pass meanwhile, which is quiet about everything that is not ours. The
// agent appends words to its list: what follows our first one is ours, too.
void read_ahead(const config_token *tokens, size_t count) {
  const char *type = netsnmp_ds_get_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_APPTYPE);
  config_line *ours = nullptr;
  for (size_t i = 0; i < count; ++i) {
    config_line *line = register_app_prenetsnmp_mib_handler(tokens[i].name, tokens[i].read, nullptr, nullptr);
    ours = ours == nullptr ? line : ours;
  }
  complained_about.clear();
  reading_ahead = true;
  if (type != nullptr && ours != nullptr) {
    read_files(type, ours);
  }
  reading_ahead = false;
  for (size_t i = 0; i < count; ++i) {
    unregister_app_config_handler(tokens[i].name);
  }
}

}  // namespace

void config_tokens_register(const config_token *tokens, size_t count) {
  read_ahead(tokens, count);
  for (size_t i = 0; i < count; ++i) {
    snmpd_register_config_handler(tokens[i].name, tokens[i].read, tokens[i].forget, tokens[i].help);
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
