// The Unix socket on which the daemon answers questions.
#pragma once

#include <functional>
#include <list>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "event_loop.h"

namespace qel::daemon {

// A stream socket. A client sends one line of JSON, such as {"request":"status"}, and gets one line
// back: what was asked for, or {"error":"..."}; then the connection is closed. A client that says
// nothing is dropped after a while, and only a few may be connected at once, so that nobody keeps
// others out.
class StatusSocket {
 public:
  // Gives the answer to a request, a line with its line end.
  using Answer = std::function<std::string(const nlohmann::json& request)>;
  using Answers = std::map<std::string, Answer>;  // by the name of the request

  explicit StatusSocket(Answers answers) : answers_(std::move(answers)) {}
  ~StatusSocket();
  StatusSocket(const StatusSocket&) = delete;
  StatusSocket& operator=(const StatusSocket&) = delete;

  // Listens at `path`; a socket that an earlier daemon left there is replaced. False with the
  // reason in *error.
  bool listen(sd_event* event, const std::string& path, std::string* error);

 private:
  struct Client {
    StatusSocket* owner;
    std::string request;
    std::string answer;  // what is still to be sent
    Source io;
    Source timeout;
  };

  static int on_connection(sd_event_source*, int fd, uint32_t, void* self);
  static int on_client(sd_event_source*, int fd, uint32_t events, void* client);
  static int on_timeout(sd_event_source*, uint64_t, void* client);

  void add_client(int fd);
  void drop(Client* client);
  bool receive(Client* client, int fd);
  bool send_answer(Client* client, int fd);
  std::string answer_to(const std::string& request) const;

  Answers answers_;
  std::string path_;
  sd_event* event_ = nullptr;
  Source listener_;
  std::list<Client> clients_;
};

}  // namespace qel::daemon
