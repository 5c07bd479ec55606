# For the shell that zsh_candidates.zsh drives: notes candidates, and that it has come so far.
autoload -Uz compinit
compinit -D -u

compadd() {
  # With these options it fills arrays and adds nothing.
  if (( ${argv[(I)-[OAD]]} == 0 )); then
    local -a added
    builtin compadd -A added "$@"
    (( $#added == 0 )) || print -rl -- $added >>$candidates
  fi
  builtin compadd "$@"
}

mark_done() { print done >>$candidates }
zle -N mark_done
bindkey '^T' mark_done
bindkey '^I' complete-word
