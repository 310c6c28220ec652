# shellcheck shell=bash disable=SC2154
# The packages under a running systemd, which confines the daemon as on a real host; sourced by
# scripts/check-packages, after expect.sh. $root is a Debian with all that the packages depend on,
# $here the folder of this file.
manager=

# The service manager has a control group of its own, as it moves the processes of its group.
boot_system() {
  local top
  top=$(findmnt -n -t cgroup2 -o TARGET | head -n 1)
  [ -n "$top" ] && mkdir "$top/$group" || return 1
  (
    echo "$BASHPID" >"$top/$group/cgroup.procs"
    exec unshare --mount --pid --ipc --uts --net --cgroup --fork --kill-child "$here/boot" "$root"
  ) &
  manager=$!
  wait_until system_runs
}

halt_system() {
  local top
  { kill -KILL "$manager" && wait "$manager" || true; } 2>/dev/null  # no word about the job
  manager=
  top=$(findmnt -n -t cgroup2 -o TARGET | head -n 1)
  wait_until rmdir_all "$top/$group" 2>/dev/null
}
group=qelalert-check-$$
rmdir_all() { find "$1" -depth -type d -exec rmdir {} +; }

# booted COMMAND...: in the booted system
booted() {
  nsenter --target "$(pgrep -P "$manager")" --all env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin \
    HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}
member() {
  booted setpriv --reuid=member --regid=member --init-groups \
    sh -c 'umask 007; exec "$@"' sh "$@"
}
system_runs() { booted systemctl is-system-running 2>/dev/null | grep -Eq 'running|degraded'; }
# property NAME [UNIT], has_property NAME VALUE [UNIT]
property() { booted systemctl show --property "$1" --value "${2:-qelalertd}"; }
has_property() { [ "$(property "$1" "${3:-qelalertd}")" = "$2" ]; }
is_listed() { member qelalert last 10 | grep -q "$1"; }
install_packages() { booted sh -c "dpkg -i $1/*.deb"; }
set_value() { booted sed -i "s|<$2>[^<]*</$2>|<$2>$3</$2>|" "/etc/qelalert/$1.xml"; }

write_cluster() {
  booted sh -c 'cat >/etc/qelalert/cluster.xml' <<TEXT
<root><cluster>
  <server><name>$(booted hostname)</name>
    <address><ip>127.1.0.1</ip><interconnect>0</interconnect></address>
    <address><ip>::1</ip><interconnect>1</interconnect></address></server>
  <server><name>another</name>
    <address><ip>127.1.0.2</ip><interconnect>0</interconnect></address></server>
</cluster></root>
TEXT
}
has_peer() { member qelalert peers | grep -q '^another '; }
# The port of the samples, 29003, as the kernel writes it.
listens() { booted grep -qi ":714B " /proc/net/udp && booted grep -qi ":714B " /proc/net/udp6; }

check_confined() {
  expect "the daemon is ready" booted systemctl --no-pager status qelalertd
  expect "it starts with the host" booted systemctl is-enabled qelalertd
  expect "a program's alert is stored" member qelalert raise --event 1 --module test "first alert"
  expect "and read" wait_until is_listed "first alert"
  expect "its shared memory is there for all" booted test -O /dev/shm -a -e /dev/shm/qelalert
  expect "and its semaphore" booted sh -c 'ipcs -s | grep " qelalert "'
  write_cluster
  set_value all core 1000000
  expect "it reads a changed configuration" booted systemctl reload qelalertd
  expect "and listens, with IPv4 and IPv6" wait_until listens
  expect "for the other server" wait_until has_peer
  expect "a limit for core files can be set" booted systemctl restart qelalertd
  expect "and holds" booted sh -c \
    'grep -q "Max core file size *1000000 " "/proc/$(cat /run/qelalert/qelalertd.pid)/limits"'
  expect "the journal has its messages" booted sh -c \
    'journalctl --unit qelalertd | grep "qelalertd .* starts"'
  refuse "nothing was denied to it" booted sh -c \
    'journalctl --unit qelalertd | grep -i "not permitted\|denied\|errcode = 1$"'
}

# check_restarts UNIT NAME
check_restarts() {
  local before drop_in=/run/systemd/system/$1.service.d
  before=$(property NRestarts "$1")
  booted systemctl kill --signal KILL "$1"
  expect "a killed $2 comes back" wait_until has_property NRestarts $((before + 1)) "$1"
  expect "and is ready" wait_until has_property SubState running "$1"
  booted sh -c "mkdir -p $drop_in && printf '[Service]\nWatchdogSec=3\n' >$drop_in/short.conf"
  booted systemctl daemon-reload
  booted systemctl restart "$1"
  booted systemctl kill --signal STOP "$1"
  expect "so does one that stands still" wait_until has_property NRestarts $((before + 1)) "$1"
  booted rm -r "$drop_in"
  booted systemctl daemon-reload
  booted systemctl restart "$1"
}

check_service_upgrade() {
  local pid
  pid=$(property MainPID)
  expect "the next version is installed" install_packages /next
  refuse "and runs" has_property MainPID "$pid"
  expect "the alerts are there" wait_until is_listed "first alert"
  expect "also for the front end" wait_until fetches "first alert" "$front_end/api/v1/alerts"
  booted systemctl disable qelalertd 2>/dev/null
  expect "installed again" install_packages /next
  refuse "it stays disabled where an administrator wants it" booted systemctl is-enabled qelalertd
  set_value webalert maxrecordcount none
  expect "a mistake in the configuration does not stop an installation" install_packages /next
  set_value webalert maxrecordcount 500
  expect "and once mended the daemon starts" wait_until has_property SubState running
}

check_service() {
  step "under systemd"
  boot_system || { echo "   skipped: systemd does not start here"; return 0; }
  expect "the packages are installed" install_packages /packages
  check_confined
  check_restarts qelalertd daemon
  check_front_end
  check_service_upgrade
  expect "removed" booted dpkg -r qelalert-web qelalert qelalertd
  expect "daemon and front end have ended" booted sh -c \
    '! systemctl is-active qelalertd.service qelalert-web.service qelalert-web.socket'
  expect "purged" booted dpkg -P qelalert-web qelalertd libqelalertlog-dev libqelalertlog1.0
  refuse "no file is left" booted sh -c 'ls -d /etc/qelalert /*/*/qelalert* /run/qelalert* \
    /dev/shm/qelalert /etc/systemd/system/*/qelalert* 2>/dev/null | grep .'
  refuse "no semaphore either" booted sh -c 'ipcs -s | grep ^0x'
  halt_system
}
