# Prints what bash offers at the end of command lines, read from standard input: for each line its candidates, one a line,
# and a full stop.
#   bash --norc bash_candidates.bash COMPLETION_FILE <COMMAND_LINES
# Calls the function that the file registers, as the shell does when TAB is pressed.
. "$1" || exit 2
specification=$(complete -p "${1##*/}") || exit 2
[[ $specification =~ \ -F\ ([^ ]+) ]] || exit 2
while IFS= read -r line; do
  read -ra COMP_WORDS <<<"$line"
  [[ $line != *' ' ]] || COMP_WORDS+=("")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMP_LINE=$line COMP_POINT=${#line}
  "${BASH_REMATCH[1]}" "${COMP_WORDS[0]}" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
  printf '%s\n' "${COMPREPLY[@]}" | sort -u | sed '/^$/d'
  echo .
done
