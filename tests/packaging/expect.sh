# shellcheck shell=bash
# Checks of a script that tries something step by step; sourced. It sets $work, a directory.

step() { echo "== $*"; }
fail() {
  { echo "FAILED: $1"; cat "$work/output"; } >&2
  exit 1
}
# expect DESCRIPTION COMMAND... and refuse, whose command must fail
expect() {
  "${@:2}" >"$work/output" 2>&1 || fail "$1"
  echo "   $1"
}
refuse() {
  ! "${@:2}" >"$work/output" 2>&1 || fail "$1"
  echo "   $1"
}
# wait_until COMMAND...: at most about half a minute
wait_until() {
  local _
  for _ in $(seq 300); do
    "$@" && return
    sleep 0.1
  done
  return 1
}
