// What must hold for single values of the configuration, and between them. A reason is the end of a
// sentence that begins with the key.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "configuration/keys.h"

namespace qel::configuration {

struct Fault {
  std::string key;
  std::string reason;
};

// The text in double quotes, cut when it is long.
std::string shown(std::string_view text);

// Why the key does not take the number, the absolute path, or the text of any kind but kText; empty
// when it does.
std::string number_fault(const Key& key, int number);
std::string path_fault(std::string_view path);
std::string text_fault(const Key& key, std::string_view text);

// The times that must fit together. Seconds, but for `retries`.
struct Times {
  int resend;
  int retries;
  int new_server;
  int names_wait;
  int ids_wait;
  int64_t stall;  // sync/resynctimeinterval
};

// What decides who reads over the front end.
struct Access {
  std::string listen;
  bool certificate;  // whether there is one
  bool key;
  bool users;
};

// Where they do not fit together; empty when they do.
std::vector<Fault> faults_between(const Times& times);
std::vector<Fault> faults_between(const Access& access);

}  // namespace qel::configuration
