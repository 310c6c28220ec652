// qelalertd: the alert daemon.
#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "daemon.h"
#include "settings.h"
#include "version.h"

namespace {

enum Exit { kDone = 0, kFailed = 1, kUsage = 2 };

constexpr char kHelp[] =
    "qelalertd - keeps the alert log of this server\n"
    "\n"
    "  qelalertd                          with the configuration in /etc/qelalert\n"
    "  qelalertd --config DIR             with the configuration in DIR\n"
    "\n"
    "It stays in the foreground. SIGTERM and SIGINT end it, SIGHUP makes it read its\n"
    "configuration again. \"qelalert status\" shows what it does.\n"
    "\n"
    "Options:\n"
    "  -c, --config DIR   directory of the configuration (also: QEL_CONFIG_DIR)\n"
    "  -V, --version      print the version\n"
    "  -h, --help         print this help\n"
    "\n"
    "Exit status: 0 ended by a signal, 1 could not start or go on, 2 wrong use.\n";

// -1 to go on, or the exit status.
int parse_options(int argc, char** argv) {
  static const option kOptions[] = {{"config", required_argument, nullptr, 'c'},
                                    {"version", no_argument, nullptr, 'V'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {nullptr, 0, nullptr, 0}};
  for (int key; (key = getopt_long(argc, argv, "c:Vh", kOptions, nullptr)) != -1;) {
    switch (key) {
      case 'c':
        setenv("QEL_CONFIG_DIR", optarg, 1);
        break;
      case 'V':
        printf("qelalertd %s\n", qel::daemon::kVersion);
        return kDone;
      case 'h':
        fputs(kHelp, stdout);
        return kDone;
      default:
        fputs("Try \"qelalertd --help\".\n", stderr);
        return kUsage;
    }
  }
  if (optind == argc) return -1;
  fprintf(stderr, "qelalertd: unexpected argument \"%s\"\nTry \"qelalertd --help\".\n",
          argv[optind]);
  return kUsage;
}

int serve() {
  qel::daemon::Daemon daemon;
  std::string error;
  if (!daemon.start(&error)) {
    fprintf(stderr, "qelalertd: %s\n", error.c_str());
    return kFailed;
  }
  return daemon.run();
}

}  // namespace

int main(int argc, char** argv) {
  const int done = parse_options(argc, argv);
  if (done != -1) return done;
  const int status = serve();
  qel::daemon::close_log();
  return status;
}
