# shellcheck shell=bash disable=SC2154
# The front end of the packages under a running systemd; sourced by scripts/check-packages, after
# service.sh, whose system it is tried in.
front_end=http://localhost:29080
web_socket=/run/qelalert-web/web.sock

fetch() { booted curl --silent --show-error --fail --max-time 10 "$@"; }
# fetches TEXT OPTION...: what comes holds the text; all of it is read
fetches() { fetch "${@:2}" | grep -c -- "$1"; }
over_socket_as() {
  booted setpriv --reuid="$1" --regid="$1" --init-groups curl --silent --show-error --fail \
    --max-time 10 --unix-socket "$web_socket" http://localhost/-/healthy
}
# Each file beside it that the page names, as a browser would fetch it.
page_is_whole() {
  local names name
  names=$(fetch "$front_end/" | grep -oE '(src|href)="\./[^"]+"' | cut -d'"' -f2) || return 1
  grep -q '\.js$' <<<"$names" || return 1
  for name in $names; do fetch --output /dev/null "$front_end/${name#./}" || return 1; done
}
# The daemon was just started and waits for the other server before it stores.
streams_new_alerts() {
  fetch --no-buffer --max-time 30 "$front_end/api/v1/stream" >"$work/stream" &
  wait_until test -s "$work/stream"
  member qelalert raise --event 3 --module test "$1"
  wait_until grep "$1" "$work/stream"
}

check_front_end_serves() {
  expect "the front end is ready" booted systemctl --no-pager status qelalert-web
  expect "it starts with the host" booted systemctl is-enabled qelalert-web.service \
    qelalert-web.socket
  expect "it answers" fetch "$front_end/-/healthy"
  expect "over its Unix socket as well" over_socket_as member
  refuse "to the group only" over_socket_as stranger
  expect "the log is there" wait_until fetches "first alert" "$front_end/api/v1/alerts"
  expect "and an alert comes when it is raised" streams_new_alerts "streamed alert"
  expect "the page has all of its files" page_is_whole
  expect "and the figures tell of the daemon" \
    wait_until fetches '^qelalert_daemon_reachable 1' "$front_end/metrics"
  booted systemctl stop qelalertd
  expect "without the daemon the log is still there" \
    fetches "first alert" "$front_end/api/v1/alerts"
  booted systemctl start qelalertd
  refuse "nothing was denied to it" booted sh -c \
    'journalctl --unit qelalert-web | grep -i "not permitted\|denied\|errcode = 1$"'
}

# As the manual page tells it.
# shellcheck disable=SC2016  # for the shell in there
open_to_others() {
  booted openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 \
    -subj /CN=alerts.example -addext subjectAltName=DNS:alerts.example \
    -keyout /etc/qelalert/web.key -out /etc/qelalert/web.pem &&
    booted sh -c 'cd /etc/qelalert &&
      printf "%s:%s\n" alice "$(mkpasswd -m yescrypt secret)" >web.users &&
      chown root:qelalert web.key web.users && chmod 0640 web.key web.users
      sed -i "s|<listen>.*</listen>|<listen>0.0.0.0:443</listen> <names>alerts.example</names> \
        <certificate>/etc/qelalert/web.pem</certificate> <key>/etc/qelalert/web.key</key> \
        <users>/etc/qelalert/web.users</users>|" webalert.xml
      mkdir -p /run/systemd/system/qelalert-web.service.d
      printf "[Service]\nPrivateUsers=no\nCapabilityBoundingSet=CAP_NET_BIND_SERVICE\n\
AmbientCapabilities=CAP_NET_BIND_SERVICE\n" >/run/systemd/system/qelalert-web.service.d/port.conf' &&
    booted qelalert config check && booted systemctl daemon-reload &&
    booted systemctl restart qelalert-web
}
close_again() {
  booted rm -r /run/systemd/system/qelalert-web.service.d
  booted sed -i 's|<listen>.*</users>|<listen>127.0.0.1:29080</listen>|' /etc/qelalert/webalert.xml
  booted systemctl daemon-reload
  booted systemctl restart qelalert-web
}
fetch_from_outside() {
  fetch --cacert /etc/qelalert/web.pem --resolve alerts.example:443:127.0.0.1 "$@" \
    https://alerts.example/api/v1/alerts/latest
}

check_front_end_opens() {
  expect "it opens to others, at a port below 1024" open_to_others
  expect "who have a password" fetch_from_outside --user alice:secret
  refuse "and not with a wrong one" fetch_from_outside --user alice:guess
  refuse "nor without" fetch_from_outside
  close_again
  expect "and closes again" fetch "$front_end/-/healthy"
}

check_front_end() {
  check_front_end_serves
  check_restarts qelalert-web "front end"
  booted systemctl restart --no-block qelalert-web
  expect "who asks its socket meanwhile only waits" over_socket_as member
  check_front_end_opens
}
