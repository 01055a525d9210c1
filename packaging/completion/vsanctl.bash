# Completion of vsanctl for bash: the program knows what could stand there.
_vsanctl() {
  local IFS=$'\n'
  COMPREPLY=($(vsanctl --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null))
}
complete -o default -F _vsanctl vsanctl
