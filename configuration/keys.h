// Every key of the configuration. The daemon takes its ranges and defaults from this table, a
// configuration is checked against it, and the manual page is printed from it: see rules.h, check.h
// and manual.h. A key that the alert log library reads by itself stands here with the rules that
// the library has for it.
#pragma once

#include <climits>
#include <string_view>

namespace qel::configuration {

enum class Kind {
  kNumber,     // a whole number
  kLevel,      // a whole number, the level of a diagnostic log
  kPath,       // an absolute path
  kPathBelow,  // a path below the one in all.xml, with or without a "/" at its beginning
  kListen,     // a numeric address and a port, see listen.h
  kHosts,      // names of hosts, separated by blanks
  kText,       // what servers.h has rules for
  kElements    // no value of its own: the elements below it
};

struct Key {
  const char* path;  // element names from the root; the second one names the file
  Kind kind;
  const char* unit;  // may be empty; "(ratio)": multiplied by the cluster's time-out ratio
  int lowest;        // of a number; bytes of a text; how often the element may be there
  int highest;
  bool required;
  // What an optional key has when it is missing, empty for nothing; else what the sample has.
  const char* standard;
  const char* help;  // one line
};

// The sections, a file each, in the order of the table.
inline constexpr std::string_view kSections[] = {"all", "alert", "webalert", "cluster"};

// Values of Kind::kLevel.
inline constexpr int kLevels[] = {0, 1, 2, 4, 8, 16, 32};

inline constexpr int kSecondsMax = 86400;      // a day: more is a mistake
inline constexpr int kAnswerWaitMax = 999;     // seconds; each catch-up takes them once a server
inline constexpr int kCapacityMax = 99999999;  // a line number has eight digits in the indexes
inline constexpr int kBatchMax = 6000;         // about what a full intake file holds
inline constexpr int kTextMax = 1023;          // bytes; what the readers have room for
inline constexpr int kSocketPathMax = 107;     // bytes; of a Unix socket's address
inline constexpr int kServersMax = 100;        // the protocol's tables of server names
inline constexpr int kServerNameMax = 64;      // characters; the server's field in an alert
inline constexpr int kAddressesMax = 8;     // of one server; each alert goes to every one of them
inline constexpr int kAddressTextMax = 45;  // bytes; the longest text of an IPv6 address
inline constexpr int kListenMax = kAddressTextMax + 8;  // bytes; with brackets, colon and port

inline constexpr Key kKeys[] = {
    {"/root/all/path", Kind::kPath, "", 1, kTextMax, true, "/",
     "Directory that the paths in the other files lie under."},
    {"/root/all/core", Kind::kNumber, "bytes", INT_MIN, INT_MAX, true, "0",
     "Limit of the daemon's core files; 0 and less leave the limit as it is."},

    {"/root/alert/path", Kind::kPathBelow, "", 1, kTextMax, true, "/var/lib/qelalert/bin/",
     "Directory of the alert programs; the one that holds it has the semaphore files."},
    {"/root/alert/log/size", Kind::kNumber, "bytes", 1, INT_MAX, true, "4194304",
     "Size at which the diagnostic log of the alert programs rotates."},
    {"/root/alert/log/level", Kind::kLevel, "", 0, 32, true, "4",
     "What the diagnostic log of the alert programs holds."},

    {"/root/webalert/use", Kind::kNumber, "", INT_MIN, INT_MAX, true, "1",
     "1: programs may raise and read alerts. Any other number: the alert log is not in use."},
    {"/root/webalert/main/alertlog/name", Kind::kPathBelow, "", 1, kTextMax, true,
     "/var/lib/qelalert/log/alertlog.alt",
     "The alert log; its indexes and the intake file lie beside it."},
    {"/root/webalert/main/alertlog/maxrecordcount", Kind::kNumber, "alerts", 1, kCapacityMax, true,
     "10000", "Alerts that the log holds; when it is full, a new one replaces the oldest."},
    {"/root/webalert/main/log/size", Kind::kNumber, "bytes", 1, INT_MAX, true, "4194304",
     "Size at which the diagnostic log of the daemon rotates."},
    {"/root/webalert/main/log/level", Kind::kLevel, "", 0, 32, true, "4",
     "What the diagnostic log of the daemon holds."},
    {"/root/webalert/daemon/udpport", Kind::kNumber, "", 1, 65535, true, "29003",
     "UDP port of the messages between servers, the same on all of them."},
    {"/root/webalert/daemon/timeout", Kind::kNumber, "seconds", INT_MIN, INT_MAX, true, "60",
     "Time-out of the daemon; read and not used."},
    {"/root/webalert/daemon/resend", Kind::kNumber, "seconds (ratio)", 1, kSecondsMax, false, "2",
     "What another server has not acknowledged is sent again after this time."},
    {"/root/webalert/daemon/retries", Kind::kNumber, "", 2, 1000, false, "3",
     "Periods of \"resend\" after which a message is given up."},
    {"/root/webalert/daemon/heartbeat", Kind::kNumber, "seconds (ratio)", 1, kSecondsMax, false,
     "10", "Every other server is asked whether it is there."},
    {"/root/webalert/daemon/announce", Kind::kNumber, "seconds", 1, kSecondsMax, false, "10",
     "Servers that did not answer are greeted again."},
    {"/root/webalert/daemon/servercheck", Kind::kNumber, "seconds", 1, kSecondsMax, false, "300",
     "The list of servers is read again."},
    {"/root/webalert/daemon/ratiocheck", Kind::kNumber, "", 0, kSecondsMax, false, "1",
     "0 or 1: the time-out ratio is read every second. More: never."},
    {"/root/webalert/daemon/sync/resynctimeinterval", Kind::kNumber, "seconds", 1, INT_MAX, true,
     "600",
     "Catching up without progress for this long is given up and tried anew; above \"names\", "
     "\"ids\" and \"resend\" times \"retries\" plus 1."},
    {"/root/webalert/daemon/sync/newserver", Kind::kNumber, "seconds", 1, kSecondsMax, false, "1",
     "Pause before catching up with the next server; below \"names\"."},
    {"/root/webalert/daemon/sync/names", Kind::kNumber, "seconds (ratio)", 2, kAnswerWaitMax, false,
     "2", "Wait for the names of the servers whose alerts another server holds."},
    {"/root/webalert/daemon/sync/ids", Kind::kNumber, "seconds (ratio)", 1, kAnswerWaitMax, false,
     "1", "Wait for the highest id of one server."},
    {"/root/webalert/daemon/sync/recheck", Kind::kNumber, "seconds", 0, kSecondsMax, false, "60",
     "Pause before the log is compared with that of the next server; 0: never."},
    {"/root/webalert/daemon/sync/batches", Kind::kNumber, "requests", 0, 1000000, false, "1000",
     "Requests for four alerts each that may leave in a second; 0: one in a \"resend\" period."},
    {"/root/webalert/daemon/socket", Kind::kPath, "", 1, kSocketPathMax, false,
     "/run/qelalert/qelalertd.sock", "Socket where the daemon tells its state."},
    {"/root/webalert/daemon/pidfile", Kind::kPath, "", 1, kTextMax, false,
     "/run/qelalert/qelalertd.pid",
     "File that holds the daemon's process id and keeps a second daemon out."},
    {"/root/webalert/daemon/durable", Kind::kNumber, "", 0, 1, false, "1",
     "1: an alert is on the disk before it counts as stored. 0: the system writes it when it "
     "likes."},
    {"/root/webalert/daemon/intake/batch", Kind::kNumber, "alerts", 1, kBatchMax, false, "64",
     "Alerts taken from the intake before messages of other servers have their turn."},

    {"/root/webalert/web/listen", Kind::kListen, "", 1, kListenMax, false, "127.0.0.1:29080",
     "Where the front end listens; port 0: any that is free. Others than this host itself get "
     "there "
     "only with \"certificate\", \"key\" and \"users\"."},
    {"/root/webalert/web/socket", Kind::kPath, "", 1, kSocketPathMax, false,
     "/run/qelalert-web/web.sock", "Unix socket of the front end, for the group."},
    {"/root/webalert/web/certificate", Kind::kPath, "", 1, kTextMax, false, "",
     "Certificate of the front end with those that vouch for it, PEM; not without \"key\"."},
    {"/root/webalert/web/key", Kind::kPath, "", 1, kTextMax, false, "",
     "Its private key, PEM; not without \"certificate\"."},
    {"/root/webalert/web/users", Kind::kPath, "", 1, kTextMax, false, "",
     "File of the users who may read, see qelalert-web(8). Without it nobody is asked who he is."},
    {"/root/webalert/web/names", Kind::kHosts, "", 1, kTextMax, false, "",
     "Names that the front end is called by, besides localhost and those of this server."},

    {"/root/cluster", Kind::kElements, "", 1, 1, true, "",
     "The servers of the cluster, this one among them. Empty: this server alone."},
    {"/root/cluster/server", Kind::kElements, "", 0, kServersMax, false, "", "One server."},
    {"/root/cluster/server/name", Kind::kText, "", 1, kServerNameMax, true, "",
     "Short host name of letters, digits, \"-\" and \"_\", each name once."},
    {"/root/cluster/server/address", Kind::kElements, "", 0, kAddressesMax, false, "",
     "Once for every interconnect that the server is on; needed as soon as there are two "
     "servers."},
    {"/root/cluster/server/address/ip", Kind::kText, "", 2, kAddressTextMax, true, "",
     "IPv4 or IPv6 address as a number, each once in the cluster."},
    {"/root/cluster/server/address/interconnect", Kind::kNumber, "", 0, INT_MAX, true, "",
     "Number of the interconnect that the address lies on, each once at a server."},
};

// The row of a key; a key that is not in the table does not compile.
consteval const Key& key_at(std::string_view path) {
  for (const Key& key : kKeys) {
    if (key.path == path) return key;
  }
  throw "no such key";
}

// The default of a number.
consteval int default_number(std::string_view path) {
  const Key& key = key_at(path);
  if (key.required || key.kind != Kind::kNumber) throw "no number with a default";
  int number = 0;
  for (const char* digit = key.standard; *digit != '\0'; ++digit) {
    number = number * 10 + (*digit - '0');
  }
  return number;
}

// The default of a path.
consteval const char* default_path(std::string_view path) {
  const Key& key = key_at(path);
  if (key.required || key.kind != Kind::kPath) throw "no path with a default";
  return key.standard;
}

// The section that a key is in, which is the name of its file without ".xml".
constexpr std::string_view section_of(std::string_view path) {
  constexpr std::string_view kRoot = "/root/";
  path.remove_prefix(kRoot.size());
  return path.substr(0, path.find('/'));
}

}  // namespace qel::configuration
