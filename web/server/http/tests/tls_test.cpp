// Certificates, and requests over TLS.
#include <gtest/gtest.h>

#include <list>

#include "http/certificate.h"
#include "http/listen.h"
#include "service.h"
#include "testing/test_support.h"
#include "tls_client.h"

namespace qel::web_test {
namespace {

constexpr char kNormal[] = "NORMAL";
constexpr char kRequest[] = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";

class CertificateFiles : public ::testing::Test {
 protected:
  bool reads(const std::string& chain, const std::string& key) {
    testing::write_file(chain_, chain);
    testing::write_file(key_, key);
    return web::read_certificate(chain_, key_, &error_).has_value();
  }

  testing::ScratchDirectory directory_;
  const std::string chain_ = directory_ / "chain.pem";
  const std::string key_ = directory_ / "key.pem";
  std::string error_;
};

TEST_F(CertificateFiles, ThatBelongTogetherAreTaken) {
  const web::Certificate made = make_certificate();
  EXPECT_TRUE(reads(made.chain, made.key)) << error_;
}

TEST_F(CertificateFiles, ThatDoNotBelongTogetherAreNamed) {
  EXPECT_FALSE(reads(make_certificate().chain, make_certificate().key));
  EXPECT_TRUE(error_.starts_with("the certificate " + chain_ + " with the key " + key_ +
                                 " cannot be used: "))
      << error_;
}

TEST_F(CertificateFiles, ThatAreNoneAreNamed) {
  const web::Certificate made = make_certificate();
  EXPECT_FALSE(reads("", made.key));
  EXPECT_NE(std::string::npos, error_.find(chain_));
  EXPECT_FALSE(reads(made.chain, "nonsense"));
  EXPECT_NE(std::string::npos, error_.find(key_));
}

TEST_F(CertificateFiles, ThatCannotBeReadAreNamed) {
  const std::string none = directory_ / "none.pem";
  testing::write_file(chain_, make_certificate().chain);
  const std::string expected = "the file " + none + " cannot be read: No such file or directory";
  EXPECT_FALSE(web::read_certificate(none, key_, &error_));
  EXPECT_EQ(expected, error_);
  EXPECT_FALSE(web::read_certificate(chain_, none, &error_));
  EXPECT_EQ(expected, error_);
}

class QuietSource : public web::StreamSource {
 public:
  explicit QuietSource(const std::string& text) : text_(text) {}
  std::string take(size_t size) override {
    const std::string piece = text_.substr(taken_, size);
    taken_ += piece.size();
    return piece;
  }

 private:
  const std::string& text_;
  size_t taken_ = 0;
};

class Tls : public ::testing::Test {
 protected:
  static web::Options options() {
    web::Options options = wide_options();
    options.certificate = make_certificate();
    return options;
  }
  web::Response answer(const web::Request& request) {
    if (request.path != "/stream") return {.body = std::string(50'000, 'x') + "end"};
    web::Response response;
    response.stream = std::make_unique<QuietSource>(told_);
    return response;
  }
  void tell(const std::string& text) {
    service_.on_loop([&](web::HttpServer& server) {
      told_ += text;
      server.wake_streams();
    });
  }

  std::string told_;
  Service service_{[this](const web::Request& request) { return answer(request); }, options()};
};

TEST_F(Tls, RequestsAreAnsweredWithBothVersions) {
  for (const char* version : {"TLS1.2", "TLS1.3"}) {
    TlsClient client(service_.port(), ("NORMAL:-VERS-ALL:+VERS-" + std::string(version)).c_str());
    ASSERT_TRUE(client.shook_hands()) << version;
    EXPECT_EQ(version, client.version());
    for (int i = 0; i < 3; ++i) {
      ASSERT_TRUE(client.send(kRequest));
      EXPECT_TRUE(client.receive_until("end").starts_with("HTTP/1.1 200"));
    }
  }
}

TEST_F(Tls, OldVersionsAreRefused) {
  for (const char* version : {"TLS1.0", "TLS1.1"}) {
    const TlsClient client(service_.port(), ("NORMAL:-VERS-ALL:+VERS-" + std::string(version) +
                                             ":%VERIFY_ALLOW_SIGN_WITH_SHA1")
                                                .c_str());
    EXPECT_FALSE(client.shook_hands()) << version;
  }
}

TEST_F(Tls, PlainRequestGetsNoAnswer) {
  HttpClient client = service_.client();
  ASSERT_TRUE(client.send(kRequest));
  EXPECT_EQ(std::string::npos, client.receive_all().find("HTTP/1.1 200"));
}

TEST_F(Tls, StreamsGoOnAfterSilence) {
  std::list<TlsClient> clients;
  for (int i = 0; i < 20; ++i) {
    clients.emplace_back(service_.port(), kNormal);
    ASSERT_TRUE(clients.back().send("GET /stream HTTP/1.1\r\nHost: localhost\r\n\r\n"));
    EXPECT_TRUE(clients.back().receive_until("\r\n\r\n").starts_with("HTTP/1.1 200"));
  }
  for (const char* event : {"first\n\n", "second\n\n"}) {
    tell(event);
    for (TlsClient& client : clients) EXPECT_TRUE(client.receive_until(event).ends_with(event));
  }
}

TEST_F(Tls, ClientsThatNeverShakeHandsDoNotKeepOthersOut) {
  std::list<HttpClient> silent;
  for (int i = 0; i < 100; ++i) silent.push_back(service_.client());
  TlsClient client(service_.port(), kNormal);
  ASSERT_TRUE(client.send(kRequest));
  EXPECT_TRUE(client.receive_until("end").starts_with("HTTP/1.1 200"));
}

TEST_F(Tls, WithoutACertificateIsAnErrorThatNamesTheSocket) {
  Service plain([](const web::Request&) { return web::Response(); });
  std::string error;
  UniqueFd socket = web::listen_at_address("127.0.0.1:0", &error);
  ASSERT_TRUE(socket) << error;
  const std::string where = web::listening_at(socket.get());
  plain.on_loop([&](web::HttpServer& server) {
    EXPECT_FALSE(server.listen(std::move(socket), web::HttpServer::Kind::kTls, &error));
  });
  EXPECT_EQ("TLS at " + where + " needs a certificate", error);
}

}  // namespace
}  // namespace qel::web_test
