# Prints what fish offers at the end of command lines, read from standard input: for each line its candidates, one a line,
# and a full stop.
#   fish --no-config fish_candidates.fish COMPLETION_FILE <COMMAND_LINES
source $argv[1]
while read --line line
    complete --do-complete "$line" | string replace --regex '\t.*' '' | sort -u
    echo .
end
