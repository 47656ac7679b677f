# Completion of veltra's command lines in bash. The program itself says what may come next;
# where it says nothing, names of files do.
_veltra() {
  mapfile -t COMPREPLY < <("${COMP_WORDS[0]}" __complete "${COMP_WORDS[@]:1:COMP_CWORD}" \
    2>/dev/null | cut -f 1)
}
complete -o default -F _veltra veltra
