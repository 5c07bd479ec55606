# Prints what zsh offers at the end of command lines, read from standard input: for each line its candidates, one a line,
# and a full stop.
#   zsh -f zsh_candidates.zsh COMPLETION_FOLDER <COMMAND_LINES
# A shell on a terminal of its own gets each line as keys with a TAB at the end. In it, the builtin that adds candidates
# also writes them to a file.
zmodload zsh/zpty || exit 2
candidates=$(mktemp) && trap 'rm -f $candidates' EXIT

# Sends keys to the shell, then waits until it has worked through them.
press() {
  zpty -n -w shell "$1"$'\C-t'
  local seen output
  for (( seen = 0; seen < 1000; ++seen )); do
    [[ $(tail -n 1 $candidates) != done ]] || return 0
    # What it prints must be read, or it stops.
    zpty -r -t shell output >/dev/null
    sleep 0.01
  done
  print -u2 "the shell did not answer"
  exit 2
}

zpty shell "TERM=dumb COLUMNS=200 zsh -f -i"
zpty -w shell "fpath=(${(q)1} \$fpath) candidates=${(q)candidates} LISTMAX=1000; source ${(q)0:A:h}/zsh_listener.zsh"
press ''
sed '$d' $candidates
while IFS= read -r line; do
  : >$candidates
  press $line$'\t'
  # Ctrl-U empties the line for the next one.
  zpty -n -w shell $'\C-u'
  sed '$d' $candidates | sort -u
  print .
done
zpty -d shell
