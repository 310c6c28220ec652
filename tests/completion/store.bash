#!/usr/bin/env bash
# Makes a store below DIR with alerts whose servers have hostile names, by the real daemon:
# store.bash make DIR SOURCE_DIR; store.bash remove DIR SOURCE_DIR takes away what it left in the
# system. The programs are those of the search path.
set -euo pipefail
work=$2
source_dir=$3
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
export QEL_CONFIG_DIR=$work/etc QEL_LOG_DIR=$work/log QEL_IPC_NAME=/qelalert-completion-$$

# The sample configuration, with every path below $work.
make_places() {
  mkdir -p "$work"/{etc,log,run/qelalert,var/lib/qelalert/log}
  cp "$source_dir"/packaging/config/*.xml "$QEL_CONFIG_DIR"
  sed -i "s|<path>/</path>|<path>$work</path>|" "$QEL_CONFIG_DIR/all.xml"
  sed -i "s|>/run/|>$work/run/|" "$QEL_CONFIG_DIR/webalert.xml"
}

# The alert of each server tells the number of its line as its message.
raise_alerts() {
  local server n=0
  while IFS= read -r server; do
    qelalert raise -s "$server" -m "module $((++n % 3))" -i "$n" -- "$n" || return
  done <"$here/servers"
  qelalert raise -s "line+break" -m "module 0" -i 900 --wait "the last one" >/dev/null
}

# No program may raise a name with a line break; a log that came from elsewhere may hold one.
break_line() {
  local log=$work/var/lib/qelalert/log/alertlog.alt place
  place=$(LC_ALL=C grep -abo 'line+break' "$log" | cut -d: -f1)
  printf '\n' | dd of="$log" bs=1 seek=$((place + 4)) conv=notrunc status=none
}

make_store() {
  local daemon status=0
  make_places
  qelalertd &
  daemon=$!
  for _ in $(seq 100); do
    qelalert status >/dev/null 2>&1 && break
    sleep 0.1
  done
  raise_alerts || status=1
  kill "$daemon"
  wait "$daemon" || status=1
  qelipc remove
  [ "$status" -eq 0 ] && break_line
}

case $1 in
  make) make_store ;;
  # The purge of the package knows the names of the semaphores.
  remove)
    PATH=/usr/sbin:/usr/bin:/sbin:/bin DPKG_ROOT=$work \
      "$source_dir/packaging/debian/qelalertd/postrm" purge 2>/dev/null || true
    ;;
esac
