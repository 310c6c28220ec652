// qelalert-web: the front end of the alert log.
#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "alerts/failure.h"
#include "front_end.h"

namespace {

enum Exit { kEnded = 0, kFault = 1, kWrongUse = 2 };

constexpr char kHelp[] =
    "qelalert-web - shows the alert log of this server to browsers and programs\n"
    "\n"
    "  qelalert-web                       with the configuration in /etc/qelalert\n"
    "  qelalert-web --config DIR          with the configuration in DIR\n"
    "\n"
    "It stays in the foreground. SIGTERM and SIGINT end it.\n"
    "\n"
    "Options:\n"
    "  -c, --config DIR           directory of the configuration (also: QEL_CONFIG_DIR)\n"
    "      --listen ADDRESS:PORT  in place of the configured address; port 0: any\n"
    "      --page DIR             directory of the page (default: " QELALERT_PAGE
    ")\n"
    "  -V, --version              print the version\n"
    "  -h, --help                 print this help\n"
    "\n"
    "Exit status: 0 ended by a signal, 1 could not start or go on, 2 wrong use.\n";

struct Chosen {
  std::string listen{};
  std::string page = QELALERT_PAGE;
};

// -1 to go on, or the exit status.
int parse_options(int argc, char** argv, Chosen* chosen) {
  static const option kOptions[] = {
      {"config", required_argument, nullptr, 'c'}, {"listen", required_argument, nullptr, 'l'},
      {"page", required_argument, nullptr, 'p'},   {"version", no_argument, nullptr, 'V'},
      {"help", no_argument, nullptr, 'h'},         {nullptr, 0, nullptr, 0}};
  for (int key; (key = getopt_long(argc, argv, "c:Vh", kOptions, nullptr)) != -1;) {
    switch (key) {
      case 'c':
        setenv("QEL_CONFIG_DIR", optarg, 1);
        break;
      case 'l':
        chosen->listen = optarg;
        break;
      case 'p':
        chosen->page = optarg;
        break;
      case 'V':
        printf("qelalert-web %s\n", QELALERT_VERSION);
        return kEnded;
      case 'h':
        fputs(kHelp, stdout);
        return kEnded;
      default:
        fputs("Try \"qelalert-web --help\".\n", stderr);
        return kWrongUse;
    }
  }
  if (optind == argc) return -1;
  qel::message("unexpected argument \"" + std::string(argv[optind]) + "\"");
  fputs("Try \"qelalert-web --help\".\n", stderr);
  return kWrongUse;
}

}  // namespace

int main(int argc, char** argv) {
  Chosen chosen;
  const int done = parse_options(argc, argv, &chosen);
  if (done != -1) return done;
  try {
    qel::web::raise_descriptor_limit();
    qel::web::FrontEnd front_end(qel::web::read_settings(chosen.listen), chosen.page);
    return front_end.run();
  } catch (const std::exception& error) {
    qel::message(error.what());
    return kFault;
  }
}
