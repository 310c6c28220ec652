// The send history by its plain rules: a list that is walked from its front.
#ifndef QEL_ALTD_TESTS_MODEL_HISTORY_MODEL_H
#define QEL_ALTD_TESTS_MODEL_HISTORY_MODEL_H

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace alt_model {

struct Waiting {
  uint32_t type = 0;
  std::string address;
};

class HistoryModel {
 public:
  static constexpr uint32_t kDataRequest = 7;
  static constexpr int kIdle = 6;

  struct Node {
    int sequence = 0;
    int64_t filed = 0;
    std::vector<Waiting> messages;
  };

  // False when a message of that sequence is not kept.
  bool add(int sequence, const Waiting& message, int64_t clock) {
    if (sequence == 0) return false;
    auto node = find(sequence);
    if (node == nodes.end()) node = nodes.insert(nodes.end(), {sequence, clock, {}});
    node->filed = clock;
    node->messages.push_back(message);
    return true;
  }
  bool has(int sequence) { return find(sequence) != nodes.end(); }
  void remove(int sequence) {
    const auto node = find(sequence);
    if (node != nodes.end()) nodes.erase(node);
  }
  // `servers` tells whose an address is.
  void drop(int64_t clock, int64_t age, const std::map<std::string, std::string>& servers) {
    std::vector<Node> left;
    for (const Node& node : nodes) {
      if (node.filed > clock - age) {
        left.push_back(node);
        continue;
      }
      const auto server = servers.find(node.messages[0].address);
      if (server != servers.end() &&
          std::count(silent.begin(), silent.end(), server->second) == 0) {
        silent.push_back(server->second);
      }
      if (node.messages[0].type == kDataRequest) step = kIdle;
    }
    nodes = left;
  }

  std::vector<Node> nodes;
  std::vector<std::string> silent;  // servers that let a request expire
  int step = kIdle;                 // of the resynchronisation

 private:
  std::vector<Node>::iterator find(int sequence) {
    return std::find_if(nodes.begin(), nodes.end(),
                        [&](const Node& node) { return node.sequence == sequence; });
  }
};

}  // namespace alt_model

#endif
