#include "config_files.h"

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <sstream>

namespace {

using file_names = std::vector<std::string>;

constexpr int kDepthMax = 16;  // the agent's own; it complains about what is included deeper

file_names words_of(const char *text, char separator) {
  file_names words;
  std::stringstream in(text == nullptr ? "" : text);
  for (std::string word; std::getline(in, word, separator);) {
    words.push_back(word);
  }
  return words;
}

bool ends_with_conf(const std::string &name) {
  return name.size() > 5 && name.compare(name.size() - 5, 5, ".conf") == 0;
}

// Whether all names in a directory are to be had; of a file nothing is said. The agent takes an error for the end.
bool lists_whole(const std::string &file) {
  DIR *directory = opendir(file.c_str());
  if (directory == nullptr) {
    return errno == ENOTDIR;
  }
  errno = 0;
  while (readdir(directory) != nullptr) {
  }
  const int why = errno;
  closedir(directory);
  errno = why;
  return why == 0;
}

// Whether the file or directory may be read, or is not there.
bool may_read(const std::string &file) {
  const bool there = faccessat(AT_FDCWD, file.c_str(), R_OK, AT_EACCESS) == 0;
  if (there ? lists_whole(file) : errno == ENOENT || errno == ENOTDIR) {
    return true;
  }
  snmp_log(LOG_ERR, "switch_agent: %s: %s; it may hold roles\n", file.c_str(), strerror(errno));
  return false;
}

// The files of the search path. Those that the agent keeps its own state in are not looked at.
file_names searched_for(const std::string &type) {
  if (netsnmp_ds_get_boolean(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_DONT_READ_CONFIGS) != 0) {
    return {};
  }
  const char *path = netsnmp_getenv("SNMPCONFPATH");
  file_names found;
  for (const std::string &directory : words_of(path == nullptr ? get_configuration_directory() : path, ':')) {
    struct stat there;
    if (stat(directory.c_str(), &there) != 0) {
      continue;  // as the agent does: the home of the user that it was started by is closed to the one that it became
    }
    found.push_back(directory + "/" + type + ".conf");
    found.push_back(directory + "/" + type + ".local.conf");
  }
  return found;
}

// Each returns what the agent reads for its include word in `file`, `rest` being what follows the word.
file_names by_name(const std::string &file, const std::string &rest) {
  return {rest[0] == '/' ? rest : file.substr(0, file.rfind('/') + 1) + rest};
}

// The directory is one of them: what is in one that may not be read is not known.
file_names in_directory(const std::string &, const std::string &rest) {
  file_names found = {rest};
  DIR *directory = opendir(rest.c_str());
  if (directory == nullptr) {
    return found;
  }
  while (const dirent *entry = readdir(directory)) {
    if (entry->d_name[0] != '.' && ends_with_conf(entry->d_name)) {
      found.push_back(rest + "/" + entry->d_name);
    }
  }
  closedir(directory);
  return found;
}

file_names by_search(const std::string &, const std::string &rest) {
  return searched_for(ends_with_conf(rest) ? rest.substr(0, rest.size() - 5) : rest);
}

constexpr struct {
  const char *word;
  file_names (*find)(const std::string &file, const std::string &rest);
} kIncludes[] = {{"includeFile", by_name}, {"includeDir", in_directory}, {"includeSearch", by_search}};

// What one line of `file` includes. The agent knows its include words in any case but for their first letter.
file_names included_by(const std::string &file, const char *line) {
  const char *text = skip_white_const(line);
  char word[STRINGMAX];
  const char *rest = copy_nword_const(text, word, sizeof word);
  if (rest == nullptr || word[0] != 'i') {
    return {};
  }
  for (const auto &each : kIncludes) {
    if (strcasecmp(word, each.word) == 0) {
      return each.find(file, rest);
    }
  }
  return {};
}

void append(const file_names &more, file_names *names) {
  names->insert(names->end(), more.begin(), more.end());
}

// A directory is read like an empty file: no stream of the standard library, which throws there.
file_names included_by_file(const std::string &file) {
  FILE *in = fopen(file.c_str(), "r");
  if (in == nullptr) {
    return {};
  }
  file_names found;
  char *line = nullptr;
  size_t room = 0;
  for (ssize_t length; (length = getline(&line, &room, in)) > 0;) {
    line[length - 1] = line[length - 1] == '\n' ? '\0' : line[length - 1];
    append(included_by(file, line), &found);
  }
  free(line);
  fclose(in);
  return found;
}

}  // namespace

std::vector<std::string> config_files_named() {
  const char *names = netsnmp_ds_get_string(NETSNMP_DS_LIBRARY_ID, NETSNMP_DS_LIB_OPTIONALCONFIG);
  return words_of(names != nullptr && *names == '-' ? names + 1 : names, ',');
}

bool config_files_readable(const char *type) {
  file_names files = config_files_named();
  append(searched_for(type), &files);
  std::set<std::string> seen;
  bool all = true;
  for (int depth = 0; depth <= kDepthMax; ++depth) {
    file_names included;
    for (const std::string &file : files) {
      if (seen.insert(file).second) {
        all = may_read(file) && all;
        append(included_by_file(file), &included);
      }
    }
    files = included;
  }
  return all;
}
