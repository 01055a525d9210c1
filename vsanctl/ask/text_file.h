// Files that a command line names.
#ifndef VSANCTL_ASK_TEXT_FILE_H
#define VSANCTL_ASK_TEXT_FILE_H

#include <string>

// Reads the file, "-" being standard input, up to kConfigurationMax bytes. Returns 0 with `text` filled, or -1 with
// `problem` filled, which names the file.
int read_text_file(const std::string &name, std::string &text, std::string &problem);

#endif
