// The interconnects between the servers.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "event_queue.h"
#include "support/random.h"
#include "trace.h"

namespace qel::simulation {

// What happens to datagrams on their way.
struct Weather {
  unsigned lost_percent = 0;
  unsigned repeated_percent = 0;
  unsigned refused_percent = 0;        // the system does not even take them
  Time delay_max = 20 * kMillisecond;  // each has its own delay, so they overtake each other
};

class Network {
 public:
  using Deliver =
      std::function<void(int server, const std::string& from, const std::string& bytes)>;

  Network(EventQueue* queue, alt_test::Random* random, Trace* trace, Deliver deliver);

  // Addresses on one interconnect reach each other.
  void add_address(const std::string& address, int server, int interconnect);

  void set_weather(const Weather& weather) { weather_ = weather; }
  void set_interconnect(int interconnect, bool up);
  // While it is down, the server does not have its address on the interconnect.
  void set_interface(int server, int interconnect, bool up);
  // Servers inside and outside do not hear each other.
  void part(const std::set<int>& inside) { inside_ = inside; }
  // Everything is up and datagrams are neither lost nor repeated any more.
  void heal();

  bool has_address(const std::string& address) const;
  // False when the sender's system refuses.
  bool send(const std::string& from, const std::string& to, const std::string& bytes);

 private:
  struct Interface {
    int server;
    int interconnect;
  };

  bool connects(const Interface& from, const Interface& to) const;
  void dispatch(const std::string& from, int server, const std::string& bytes);

  EventQueue* queue_;
  alt_test::Random* random_;
  Trace* trace_;
  Deliver deliver_;
  std::map<std::string, Interface> interfaces_;  // by address
  Weather weather_;
  std::set<int> down_;                       // interconnects
  std::set<std::pair<int, int>> unplugged_;  // servers with interconnects
  std::set<int> inside_;
};

}  // namespace qel::simulation
