# A shell at a terminal of its own, with qelalert's completion; sourced. The caller sets $work, a
# directory, and $completions, where the completions lie.
zmodload zsh/zpty zsh/zselect

turn=0
failures=0

# say TEXT: types it.
say() { zpty -w -n terminal "$1"; }

# Waits until the shell has come to the end of what was typed; about a minute at most. The mark is
# typed in two halves, so that its echo is not taken for it.
await_mark() {
  local _ text
  for _ in {1..6000}; do
    while zpty -r -t terminal text; do
      seen+=$text
      [[ $seen == *mark$turn.* ]] && return
    done
    zselect -t 1
  done
  print -u2 "$shell does not answer; the terminal shows:\n$seen"
  exit 1
}
run_line() {
  (( ++turn ))
  seen=
  say "$1; echo ma''rk$turn."$'\r'
  await_mark
}

# What the line is after it was typed, Tab included: Ctrl-T writes it to a file.
line_after() {
  (( ++turn ))
  seen=
  print -n mark$turn. >$work/mark
  say "$1"$'\x14'
  await_mark
  say $'\x15'
  REPLY=$(<$work/line)
}

# The output of a line that is completed and then run.
output_of() {
  run_line "$1 >$work/output 2>&1"
  REPLY=$(<$work/output)
}

start_bash() {
  zpty -b terminal "bash --norc --noprofile -i"
  run_line "set -o histexpand; bind 'set enable-bracketed-paste off'; PS1="
  run_line "source $completions/qelalert.bash"
  run_line "bind -x '\"\\C-t\": printf %s \"\$READLINE_LINE\" >$work/line; cat $work/mark'"
}
start_zsh() {
  zpty -b terminal "zsh -f -i"
  run_line "PS1= RPS1= fpath=($completions \$fpath); autoload -Uz compinit; compinit -u -D"
  run_line "setopt banghist; zstyle ':completion:*' insert-tab false; bindkey -e"
  run_line "show-line() { print -rn -- \"\$BUFFER\" >$work/line; cat $work/mark }"
  run_line "zle -N show-line; bindkey '^T' show-line"
}
start_fish() {
  zpty -b terminal "fish --no-config --interactive"
  run_line "function fish_prompt; end; source $completions/qelalert.fish"
  run_line "bind \\ct 'commandline >$work/line; cat $work/mark'"
}

# same WHAT EXPECTED FOUND
same() {
  [[ $2 == "$3" ]] && return
  (( ++failures ))
  print -ru2 -- "$shell: $1: expected \"$2\", found \"$3\""
}
