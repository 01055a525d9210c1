# Completion of vsanctl for bash: the program knows what could stand there.
_vsanctl() {
  local typed=${COMP_WORDS[COMP_CWORD]} found word
  COMPREPLY=()
  found=$(vsanctl --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
  if [ $? -eq 5 ]; then # a file's name
    compopt -o default
    return
  fi
  while IFS= read -r word; do
    # Between quotes it is the shell that quotes.
    [[ $typed == [\"\']* ]] || printf -v word %q "$word"
    [ -z "$found" ] || COMPREPLY+=("$word")
  done <<<"$found"
}
complete -F _vsanctl vsanctl
