// The extension's words in the agent's configuration files, wherever they stand there.
//
// The agent hands out the lines that follow the dlmod line only. So the files are read ahead once, for our words alone:
// lines above the dlmod line count, and lines below it are read twice.
#ifndef PLATFORM_AGENT_EXTENSION_CONFIG_TOKENS_H
#define PLATFORM_AGENT_EXTENSION_CONFIG_TOKENS_H

#include <stddef.h>

// A word and who reads its lines. Reading a line twice must change nothing.
struct config_token {
  const char *name;
  void (*read)(const char *token, char *line);
  const char *help;
};

// Reads the files ahead. Returns false when the agent may not read one of them or of those that they include; that is
// logged.
bool config_tokens_read_ahead(const config_token *tokens, size_t count);

// Registers the words, and takes them back, which leaves what they said as it is. The table must stay where it is
// meanwhile.
void config_tokens_register(const config_token *tokens, size_t count);
void config_tokens_unregister(const config_token *tokens, size_t count);

// Complains about a line, with its file and number, unless reading ahead has done so.
void config_complain(const char *token, const char *line, const char *complaint);

#endif
