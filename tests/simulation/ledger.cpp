#include "ledger.h"

namespace qel::simulation {

void Ledger::raised(const std::string& message, const std::string& server) {
  holders_[message].insert(server);
}

void Ledger::seen(const std::string& message, const std::string& server) {
  const auto found = holders_.find(message);
  if (found != holders_.end()) found->second.insert(server);
}

void Ledger::lost(const std::string& server) {
  for (auto& [message, servers] : holders_) servers.erase(server);
}

std::set<std::string> Ledger::owed() const {
  std::set<std::string> messages;
  for (const auto& [message, servers] : holders_) {
    if (!servers.empty()) messages.insert(message);
  }
  return messages;
}

}  // namespace qel::simulation
