#include "network.h"

namespace qel::simulation {

namespace {

template <typename T>
void set_member(std::set<T>* set, const T& member, bool is_member) {
  if (is_member) {
    set->insert(member);
  } else {
    set->erase(member);
  }
}

}  // namespace

Network::Network(EventQueue* queue, alt_test::Random* random, Trace* trace, Deliver deliver)
    : queue_(queue), random_(random), trace_(trace), deliver_(std::move(deliver)) {}

void Network::add_address(const std::string& address, int server, int interconnect) {
  interfaces_[address] = {server, interconnect};
}

void Network::set_interconnect(int interconnect, bool up) { set_member(&down_, interconnect, !up); }

void Network::set_interface(int server, int interconnect, bool up) {
  set_member(&unplugged_, {server, interconnect}, !up);
}

void Network::heal() {
  weather_ = {};
  down_.clear();
  unplugged_.clear();
  inside_.clear();
}

bool Network::has_address(const std::string& address) const {
  const auto found = interfaces_.find(address);
  return found != interfaces_.end() &&
         unplugged_.count({found->second.server, found->second.interconnect}) == 0;
}

bool Network::connects(const Interface& from, const Interface& to) const {
  return from.interconnect == to.interconnect && down_.count(from.interconnect) == 0 &&
         unplugged_.count({to.server, to.interconnect}) == 0 &&
         inside_.count(from.server) == inside_.count(to.server);
}

bool Network::send(const std::string& from, const std::string& to, const std::string& bytes) {
  const char* fate = "sent";
  const auto target = interfaces_.find(to);
  if (random_->chance(weather_.refused_percent)) {
    fate = "refused";
  } else if (target == interfaces_.end() || !connects(interfaces_.at(from), target->second)) {
    fate = "unreachable";
  } else if (random_->chance(weather_.lost_percent)) {
    fate = "lost";
  } else {
    const bool repeated = random_->chance(weather_.repeated_percent);
    for (int copies = repeated ? 2 : 1; copies > 0; --copies) {
      dispatch(from, target->second.server, bytes);
    }
    if (repeated) fate = "sent twice";
  }
  trace_->datagram(from, to, bytes, fate);
  return std::string(fate) != "refused";
}

void Network::dispatch(const std::string& from, int server, const std::string& bytes) {
  const Time delay = static_cast<Time>(random_->below(static_cast<uint64_t>(weather_.delay_max)));
  queue_->after(delay, [this, from, server, bytes] { deliver_(server, from, bytes); });
}

}  // namespace qel::simulation
