// The page's files: types, caching, packed forms, and what is not there.
#include "http/static_files.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "testing/test_support.h"

namespace qel::web_test {
namespace {

using web::NamedText;
using web::Request;
using web::Response;
using web::StaticFiles;

class StaticFilesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(directory_ / "page/assets");
    write("index.html", "<!doctype html>");
    write("favicon.svg", "<svg/>");
    write("assets/app-1.js", "let a;");
    write("assets/app-1.js.gz", "packed script");
    write("assets/app-1.css", "a{}");
  }
  void write(const std::string& name, const std::string& content) const {
    testing::write_file(page_ + "/" + name, content);
  }
  bool loads() {
    files_ = StaticFiles::load(page_, &error_);
    return files_.has_value();
  }
  Response get(const std::string& path, std::vector<NamedText> headers = {}) {
    if (!files_ && !loads()) return {.status = 0, .body = error_};
    auto response = files_->serve({.method = "GET", .path = path, .headers = std::move(headers)});
    return response ? std::move(*response) : Response{.status = 404};
  }
  static std::string header_of(const Response& response, const std::string& name) {
    for (const auto& [held, value] : response.headers) {
      if (held == name) return value;
    }
    return "";
  }

  testing::ScratchDirectory directory_;
  const std::string page_ = directory_ / "page";
  std::optional<StaticFiles> files_;
  std::string error_;
};

TEST_F(StaticFilesTest, RootIsTheIndex) {
  const Response response = get("/");
  EXPECT_EQ(200, response.status);
  EXPECT_EQ("<!doctype html>", response.body);
  EXPECT_EQ("text/html; charset=utf-8", response.type);
  EXPECT_EQ("no-cache", header_of(response, "Cache-Control"));
  EXPECT_EQ(response.body, get("/index.html").body);
}

TEST_F(StaticFilesTest, AssetsMayBeKeptForEver) {
  const Response response = get("/assets/app-1.css");
  EXPECT_EQ("a{}", response.body);
  EXPECT_EQ("text/css; charset=utf-8", response.type);
  EXPECT_EQ("public, max-age=31536000, immutable", header_of(response, "Cache-Control"));
  EXPECT_EQ("", header_of(response, "Vary"));
}

TEST_F(StaticFilesTest, TypesFollowTheExtension) {
  EXPECT_EQ("image/svg+xml", get("/favicon.svg").type);
  EXPECT_EQ("text/javascript; charset=utf-8", get("/assets/app-1.js").type);
}

TEST_F(StaticFilesTest, WhoTakesGzipGetsThePackedForm) {
  for (const char* accepted : {"gzip", "br, GZIP", "deflate,gzip;q=0.5", "gzip; q=1"}) {
    const Response response = get("/assets/app-1.js", {{"accept-encoding", accepted}});
    EXPECT_EQ("packed script", response.body) << accepted;
    EXPECT_EQ("gzip", header_of(response, "Content-Encoding"));
    EXPECT_EQ("Accept-Encoding", header_of(response, "Vary"));
    EXPECT_EQ("text/javascript; charset=utf-8", response.type);
  }
}

TEST_F(StaticFilesTest, OthersGetThePlainForm) {
  for (const char* accepted : {"", "br", "gzip;q=0", "gzip; q=0.000", "xgzip", "gzipp"}) {
    const Response response = get("/assets/app-1.js", {{"Accept-Encoding", accepted}});
    EXPECT_EQ("let a;", response.body) << accepted;
    EXPECT_EQ("", header_of(response, "Content-Encoding"));
    EXPECT_EQ("Accept-Encoding", header_of(response, "Vary"));
  }
  EXPECT_EQ("a{}", get("/assets/app-1.css", {{"Accept-Encoding", "gzip"}}).body);
}

TEST_F(StaticFilesTest, TagOfTheSameFormSaysNotModified) {
  const std::string plain = header_of(get("/assets/app-1.js"), "ETag");
  const std::string packed =
      header_of(get("/assets/app-1.js", {{"Accept-Encoding", "gzip"}}), "ETag");
  EXPECT_TRUE(testing::matches(plain, "\"[0-9a-f]{32}\""));
  EXPECT_NE(plain, packed);
  for (const std::string& held : {plain, "\"x\", " + plain, "W/" + plain, std::string("*")}) {
    const Response response = get("/assets/app-1.js", {{"If-None-Match", held}});
    EXPECT_EQ(304, response.status) << held;
    EXPECT_EQ("", response.body);
    EXPECT_EQ(plain, header_of(response, "ETag"));
    EXPECT_NE("", header_of(response, "Cache-Control"));
  }
  EXPECT_EQ(200, get("/assets/app-1.js", {{"If-None-Match", packed}}).status);
  EXPECT_EQ(200, get("/assets/app-1.js", {{"If-None-Match", "\"x\""}}).status);
}

TEST_F(StaticFilesTest, TagChangesWithTheContent) {
  const std::string before = header_of(get("/"), "ETag");
  write("index.html", "<!doctype html> ");
  EXPECT_EQ(before, header_of(get("/"), "ETag"));  // read once
  ASSERT_TRUE(loads());
  EXPECT_NE(before, header_of(get("/"), "ETag"));
}

TEST_F(StaticFilesTest, OnlyNamesThatWereReadExist) {
  using namespace std::string_literals;
  testing::write_file(directory_ / "secret.txt", "secret");
  for (const std::string& path :
       {"/none"s, ""s, "//"s, "/assets"s, "/assets/"s, "/../secret.txt"s, "/assets/../index.html"s,
        "/assets/../../secret.txt"s, "/index.html\0"s, "/index.html/"s, "index.html"s,
        "/assets/app-1.js.gz"s, "/INDEX.HTML"s, directory_ / "secret.txt"}) {
    EXPECT_EQ(404, get(path).status) << path;
  }
}

TEST_F(StaticFilesTest, MissingDirectoryIsNamedAtOnce) {
  std::filesystem::remove_all(page_);
  EXPECT_FALSE(loads());
  EXPECT_EQ("the directory " + page_ + " cannot be read: No such file or directory", error_);
}

TEST_F(StaticFilesTest, DirectoryWithoutIndexIsNamedAtOnce) {
  std::filesystem::remove(page_ + "/index.html");
  EXPECT_FALSE(loads());
  EXPECT_EQ("the directory " + page_ + " has no index.html", error_);
}

TEST_F(StaticFilesTest, FileOfAnotherKindIsNamedAtOnce) {
  write("assets/app.exe", "x");
  EXPECT_FALSE(loads());
  EXPECT_EQ("the file " + page_ + "/assets/app.exe is of a kind that is not served", error_);
}

}  // namespace
}  // namespace qel::web_test
