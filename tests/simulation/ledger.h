// Which alerts the cluster owes to its users.
#pragma once

#include <map>
#include <set>
#include <string>

namespace qel::simulation {

// An alert that a program could raise stays owed as long as a store that has held it was not lost:
// first that of the server on which it was raised, then each that it was seen in. Alerts are told
// apart by their messages.
class Ledger {
 public:
  // The intake of a server has accepted an alert.
  void raised(const std::string& message, const std::string& server);
  // A store holds the alert.
  void seen(const std::string& message, const std::string& server);
  // A server has lost its store. What the others hold must have been noted before.
  void lost(const std::string& server);

  bool was_raised(const std::string& message) const { return holders_.count(message) != 0; }
  std::set<std::string> owed() const;
  size_t raised_count() const { return holders_.size(); }

 private:
  std::map<std::string, std::set<std::string>> holders_;  // servers, by message
};

}  // namespace qel::simulation
