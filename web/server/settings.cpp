#include "web/server/settings.h"

#include <iterator>
#include <optional>
#include <sstream>

#include "alerts/failure.h"
#include "alerts/session.h"
#include "configuration/rules.h"

namespace qel::web {

namespace {

using configuration::Fault;
using configuration::Key;
using configuration::key_at;

[[noreturn]] void refuse(const Fault& fault) {
  throw Failure(kFailed, fault.key + ": " + fault.reason);
}

std::string checked(const Key& key, const std::string& text) {
  const std::string fault = configuration::text_fault(key, text);
  if (!fault.empty()) refuse({key.path, fault});
  return text;
}

std::string read(const Key& key) {
  const std::string section(configuration::section_of(key.path));
  const std::optional<std::string> text = read_policy_text(section.c_str(), key.path);
  return text ? checked(key, *text) : key.standard;
}

std::vector<std::string> words_of(const std::string& text) {
  std::istringstream input(text);
  return {std::istream_iterator<std::string>(input), {}};
}

void check_access(const WebSettings& settings) {
  const std::vector<Fault> faults =
      configuration::faults_between({settings.listen, !settings.certificate.empty(),
                                     !settings.key.empty(), !settings.users.empty()});
  if (!faults.empty()) refuse(faults[0]);
}

}  // namespace

WebSettings read_settings(const std::string& listen) {
  const Key& address = key_at("/root/webalert/web/listen");
  WebSettings settings{
      .listen = listen.empty() ? read(address) : checked(address, listen),
      .socket = read(key_at("/root/webalert/web/socket")),
      .certificate = read(key_at("/root/webalert/web/certificate")),
      .key = read(key_at("/root/webalert/web/key")),
      .users = read(key_at("/root/webalert/web/users")),
      .names = words_of(read(key_at("/root/webalert/web/names"))),
      .daemon_socket = daemon_socket_path(),
  };
  check_access(settings);
  return settings;
}

}  // namespace qel::web
