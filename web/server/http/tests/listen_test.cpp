// Listening sockets: addresses, paths, and those that systemd hands over.
#include "http/listen.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <filesystem>
#include <initializer_list>

#include "service.h"
#include "testing/test_support.h"

namespace qel::web_test {
namespace {

web::Response plain(const web::Request& request) { return {.body = "to " + request.client}; }

class Listen : public ::testing::Test {
 protected:
  UniqueFd at_address(const std::string& address) {
    error_.clear();
    return web::listen_at_address(address, &error_);
  }
  std::optional<web::UnixListener> at_path(const std::string& path) {
    error_.clear();
    return web::listen_at_path(path, &error_);
  }
  void expect_served(UniqueFd socket, const std::string& path) {
    const Service service(plain, wide_options(), std::move(socket));
    HttpClient client(path);
    EXPECT_EQ("to unix", client.get("/").body);
  }

  testing::ScratchDirectory directory_;
  const std::string path_ = directory_ / "run/web/http.sock";
  std::string error_;
};

TEST_F(Listen, AtAFreePortOfEitherFamily) {
  const UniqueFd v4 = at_address("127.0.0.1:0");
  ASSERT_TRUE(v4) << error_;
  EXPECT_TRUE(testing::matches(web::listening_at(v4.get()), "127\\.0\\.0\\.1:[1-9][0-9]+"));
  const UniqueFd v6 = at_address("[::1]:0");
  ASSERT_TRUE(v6) << error_;
  EXPECT_TRUE(testing::matches(web::listening_at(v6.get()), "\\[::1\\]:[1-9][0-9]+"));
}

TEST_F(Listen, WhatIsNoNumericAddressIsNamed) {
  for (const char* address : {"", ":", "localhost:80", "127.0.0.1", "127.0.0.1:", ":80", "[]:80",
                              "::1:80", "[127.0.0.1]:80", "127.0.0.1:http", "127.0.0.1:80x",
                              "127.0.0.1:-1", "[::1:80", "127.0.0.1:99999999999"}) {
    EXPECT_FALSE(at_address(address)) << address;
    EXPECT_EQ(std::string("cannot listen at ") + address +
                  ": it is not a numeric address with a port, such as 127.0.0.1:8080",
              error_);
  }
}

TEST_F(Listen, PortInUseIsNamedWithTheReason) {
  const UniqueFd first = at_address("127.0.0.1:0");
  const std::string where = web::listening_at(first.get());
  EXPECT_FALSE(at_address(where));
  EXPECT_EQ("cannot listen at " + where + ": Address already in use", error_);
}

TEST_F(Listen, OnlyLoopbackAndPathsAreLocal) {
  EXPECT_TRUE(web::is_local(at_address("127.0.0.1:0").get()));
  EXPECT_TRUE(web::is_local(at_address("127.9.9.9:0").get()));
  EXPECT_TRUE(web::is_local(at_address("[::1]:0").get()));
  EXPECT_TRUE(web::is_local(at_path(path_)->socket.get()));
  EXPECT_FALSE(web::is_local(-1));
}

TEST_F(Listen, AtAPathOwnerAndGroupGetThere) {
  auto listener = at_path(path_);
  ASSERT_TRUE(listener) << error_;
  EXPECT_EQ(path_, web::listening_at(listener->socket.get()));
  struct stat status {};
  ASSERT_EQ(0, stat(path_.c_str(), &status));
  EXPECT_EQ(0660u, status.st_mode & 07777);
  expect_served(std::move(listener->socket), path_);
}

TEST_F(Listen, PathIsGoneAtTheEnd) {
  {
    const auto listener = at_path(path_);
    EXPECT_TRUE(std::filesystem::exists(path_));
  }
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(Listen, SocketOfAnEarlierProcessIsReplaced) {
  testing::Child killed([this] {
    const auto listener = at_path(path_);
    return listener ? (raise(SIGKILL), 0) : 1;
  });
  EXPECT_EQ(1000 + SIGKILL, killed.wait());
  ASSERT_TRUE(std::filesystem::exists(path_));
  auto listener = at_path(path_);
  ASSERT_TRUE(listener) << error_;
  expect_served(std::move(listener->socket), path_);
}

TEST_F(Listen, SocketAtWhichSomebodyListensIsLeftAlone) {
  auto first = at_path(path_);
  EXPECT_FALSE(at_path(path_));
  EXPECT_EQ("cannot listen at " + path_ + ": another process listens there", error_);
  expect_served(std::move(first->socket), path_);
}

TEST_F(Listen, FileThatIsNoSocketIsLeftAlone) {
  const std::string file = directory_ / "file";
  testing::write_file(file, "kept");
  EXPECT_FALSE(at_path(file));
  EXPECT_EQ("cannot listen at " + file + ": a file that is no socket is there", error_);
  EXPECT_EQ("kept", testing::read_file(file));
}

TEST_F(Listen, PathThatCannotBeIsNamedWithTheReason) {
  testing::write_file(directory_ / "file", "");
  for (const auto& [path, reason] : std::initializer_list<std::pair<std::string, std::string>>{
           {directory_ / std::string(200, 'a'), "File name too long"},
           {directory_ / "file/http.sock", "Not a directory"}}) {
    EXPECT_FALSE(at_path(path));
    EXPECT_EQ("cannot listen at " + path + ": " + reason, error_);
  }
}

// What a process sees to which systemd hands these descriptors over; the exit status is that of
// `look`.
template <typename Look>
int handed_over(std::initializer_list<int> descriptors, Look look) {
  return testing::Child([&] {
           int next = 3;
           for (const int fd : descriptors) dup2(fd, 100 + next++);
           for (int fd = 3; fd < next; ++fd) dup2(100 + fd, fd);
           setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
           setenv("LISTEN_FDS", std::to_string(descriptors.size()).c_str(), 1);
           return look();
         })
      .wait();
}

class HandedOver : public Listen {};

TEST_F(HandedOver, SocketsAreTaken) {
  const UniqueFd tcp = at_address("127.0.0.1:0");
  const auto local = at_path(path_);
  const std::string where = web::listening_at(tcp.get());
  EXPECT_EQ(0, handed_over({tcp.get(), local->socket.get()}, [&] {
              const auto sockets = web::sockets_handed_over(&error_);
              if (!sockets || sockets->size() != 2) return 1;
              if (web::listening_at((*sockets)[0].get()) != where) return 2;
              if (web::listening_at((*sockets)[1].get()) != path_) return 3;
              return getenv("LISTEN_FDS") == nullptr ? 0 : 4;
            }));
}

TEST_F(HandedOver, SocketIsServed) {
  const UniqueFd tcp = at_address("127.0.0.1:0");
  EXPECT_EQ(0, handed_over({tcp.get()}, [&] {
              auto sockets = web::sockets_handed_over(&error_);
              if (!sockets) return 1;
              const Service service(plain, wide_options(), std::move(sockets->front()));
              return service.get("/").body == "to 127.0.0.1" ? 0 : 2;
            }));
}

TEST_F(HandedOver, WhatDoesNotListenIsNamed) {
  const UniqueFd tcp = at_address("127.0.0.1:0");
  const UniqueFd other(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  EXPECT_EQ(0, handed_over({tcp.get(), other.get()}, [&] {
              if (web::sockets_handed_over(&error_)) return 1;
              return error_ ==
                             "descriptor 4, handed over by systemd, is not a listening stream "
                             "socket"
                         ? 0
                         : 2;
            }));
}

TEST_F(HandedOver, NoneIsNoError) {
  const auto sockets = web::sockets_handed_over(&error_);
  ASSERT_TRUE(sockets) << error_;
  EXPECT_TRUE(sockets->empty());
}

}  // namespace
}  // namespace qel::web_test
