// Requests and their answers, without a connection.
#include "api.h"

#include <fstream>

#include "alert_config.h"
#include "daemon/event_loop.h"
#include "front_end_test.h"
#include "support/files.h"

namespace qel::web::testing {
namespace {

class ApiTest : public alt_test::StoreTest {
 protected:
  ApiTest() {
    std::ofstream(store_.root() + "/index.html") << "<!doctype html>";
    std::string error;
    page_ = StaticFiles::load(store_.root(), &error);
    EXPECT_EQ("", error);
    sd_event* event = nullptr;
    EXPECT_LE(0, sd_event_new(&event));
    event_.reset(event);
  }

  Response get(const std::string& path, std::vector<NamedText> parameters = {},
               std::vector<NamedText> headers = {}) {
    if (api_ == nullptr) start();
    Request request = request_with(std::move(parameters));
    request.path = path;
    request.headers = std::move(headers);
    return api_->answer(request);
  }
  Json json(const std::string& path, std::vector<NamedText> parameters = {}, int status = 200) {
    const Response response = get(path, std::move(parameters));
    EXPECT_EQ(status, response.status) << response.body;
    return Json::parse(response.body);
  }
  Json problem(const std::string& path, std::vector<NamedText> parameters, int status) {
    const Json answer = json(path, std::move(parameters), status);
    EXPECT_EQ(status, answer["status"]);
    return answer;
  }
  LogView& view() { return *view_; }

 private:
  void start() {
    view_ = std::make_unique<LogView>();
    daemon_ = std::make_unique<DaemonLink>(event_.get(), store_.root() + "/no.sock");
    api_ = std::make_unique<Api>(Api::Parts{.view = view_.get(),
                                            .daemon = daemon_.get(),
                                            .page = &*page_,
                                            .openapi = "{}",
                                            .stream_count = [] { return size_t{7}; }});
  }

  std::optional<StaticFiles> page_;
  daemon::Event event_;
  std::unique_ptr<LogView> view_;
  std::unique_ptr<DaemonLink> daemon_;
  std::unique_ptr<Api> api_;
};

struct WrongRequest {
  const char* title;
  const char* path;
  std::vector<NamedText> parameters;
  const char* parameter;
  const char* code;
};

class WrongRequests : public ApiTest, public ::testing::WithParamInterface<WrongRequest> {};

TEST_P(WrongRequests, AreAnsweredWithTheParametersName) {
  store(1, 1);
  const auto& wrong = GetParam();
  const Json answer = problem(wrong.path, wrong.parameters, 400);
  EXPECT_EQ(wrong.code, answer["code"]);
  EXPECT_EQ(wrong.parameter, answer["parameter"]);
  EXPECT_NE("", answer["detail"]);
}

constexpr char kAlerts[] = "/api/v1/alerts";
constexpr char kBad[] = "bad_parameter";
constexpr char kUnknown[] = "unknown_parameter";

INSTANTIATE_TEST_SUITE_P(
    Web, WrongRequests,
    ::testing::Values(
        WrongRequest{"PageNegative", kAlerts, {{"page", "-1"}}, "page", kBad},
        WrongRequest{"PageNoNumber", kAlerts, {{"page", "1x"}}, "page", kBad},
        WrongRequest{"PageEmpty", kAlerts, {{"page", ""}}, "page", kBad},
        WrongRequest{"PageTooLarge", kAlerts, {{"page", "2147483648"}}, "page", kBad},
        WrongRequest{"PageTwice", kAlerts, {{"page", "1"}, {"page", "1"}}, "page", kBad},
        WrongRequest{"SizeZero", kAlerts, {{"size", "0"}}, "size", kBad},
        WrongRequest{"SizeTooLarge", kAlerts, {{"size", "1001"}}, "size", kBad},
        WrongRequest{"SizeHuge", kAlerts, {{"size", "99999999999999999999"}}, "size", kBad},
        WrongRequest{"CursorNone", kAlerts, {{"cursor", "zz"}}, "cursor", kBad},
        WrongRequest{"CursorTooLong", kAlerts, {{"cursor", std::string(201, '0')}}, "cursor", kBad},
        WrongRequest{"CursorWithPage", kAlerts, {{"cursor", "00"}, {"page", "0"}}, "page", kBad},
        WrongRequest{"FormatUnknown", kAlerts, {{"format", "xml"}}, "format", kBad},
        WrongRequest{"RevisionEmpty", kAlerts, {{"revision", ""}}, "revision", kBad},
        WrongRequest{"LevelWord", kAlerts, {{"level", "high"}}, "level", kBad},
        WrongRequest{"SinceWord", "/api/v1/facets", {{"since", "soon"}}, "since", kBad},
        WrongRequest{"PageOfFacets", "/api/v1/facets", {{"page", "1"}}, "page", kUnknown},
        WrongRequest{"BucketsZero", "/api/v1/histogram", {{"buckets", "0"}}, "buckets", kBad},
        WrongRequest{"BucketsMany", "/api/v1/histogram", {{"buckets", "501"}}, "buckets", kBad},
        WrongRequest{"CountZero", "/api/v1/alerts/latest", {{"count", "0"}}, "count", kBad},
        WrongRequest{"TotalZero", "/api/v1/alerts/recent", {{"total", "0"}}, "total", kBad},
        WrongRequest{
            "ServerOfLatest", "/api/v1/alerts/latest", {{"server", "a"}}, "server", kUnknown},
        WrongRequest{"StreamTextEmpty", "/api/v1/stream", {{"text", ""}}, "text", kBad},
        WrongRequest{"StreamId", "/api/v1/stream", {{"last_event_id", ""}}, "last_event_id", kBad},
        WrongRequest{"StatusWithAny", "/api/v1/status", {{"x", "1"}}, "x", kUnknown},
        WrongRequest{"MetricsWithAny", "/metrics", {{"x", ""}}, "x", kUnknown},
        WrongRequest{"ReadyWithAny", "/-/ready", {{"x", ""}}, "x", kUnknown}),
    [](const auto& test) { return std::string(test.param.title); });

TEST_F(ApiTest, UnknownPathIsNotFound) {
  store(1, 1);
  for (const char* path : {"/api/v1/alert", "/api/v1/alerts/", "/../etc/passwd", "//", "/api"}) {
    EXPECT_EQ("not_found", problem(path, {}, 404)["code"]) << path;
  }
}

TEST_F(ApiTest, OneAlertIsFoundByServerAndId) {
  store(1, 3);
  EXPECT_EQ(2, json("/api/v1/alerts/node1/2")["alert"]["id"]);
  for (const char* path :
       {"/api/v1/alerts/node1/9", "/api/v1/alerts/node9/2", "/api/v1/alerts/node1/-2",
        "/api/v1/alerts/node1/2x", "/api/v1/alerts/node1/4294967298", "/api/v1/alerts/node1/"}) {
    problem(path, {}, 404);
  }
}

TEST_F(ApiTest, LatestAndRecentGoBackFromTheNewest) {
  alt_max_count = 50;
  store(1, 25);
  EXPECT_EQ(25, json("/api/v1/alerts/latest", {{"count", "3"}})["alerts"][0]["id"]);
  const Json page = json("/api/v1/alerts/recent", {{"total", "12"}, {"size", "5"}, {"page", "9"}});
  EXPECT_EQ(12, page["considered"]);
  EXPECT_EQ(2, page["page"]);
  EXPECT_EQ(3, page["pages"]);
  ASSERT_EQ(2U, page["alerts"].size());
  EXPECT_EQ(15, page["alerts"][0]["id"]);
}

TEST_F(ApiTest, LatestAndRecentAnswerFromTheCopyWhenTheLogIsGone) {
  alt_max_count = 50;
  store(1, 25);
  const std::vector<NamedText> pages = {{"total", "12"}, {"size", "5"}, {"page", "9"}};
  const Json latest = json("/api/v1/alerts/latest")["alerts"];
  const Json recent = json("/api/v1/alerts/recent", pages);
  unlink(path(alt_name_only).c_str());
  EXPECT_EQ(latest, json("/api/v1/alerts/latest")["alerts"]);
  const Json again = json("/api/v1/alerts/recent", pages);
  EXPECT_EQ(recent["alerts"], again["alerts"]);
  EXPECT_EQ(recent["pages"], again["pages"]);
  EXPECT_EQ("missing", again["log"]["state"]);
}

TEST_F(ApiTest, PageOfAnOlderRevisionTellsThatTheLogMovedOn) {
  store(1, 3);
  const Json first = json(kAlerts);
  const std::string revision = first["log"]["revision"];
  EXPECT_FALSE(json(kAlerts, {{"revision", revision}})["moved_on"]);
  store(4, 4);
  EXPECT_TRUE(json(kAlerts, {{"revision", revision}})["moved_on"]);
}

TEST_F(ApiTest, LogThatWasNeverReadIsAProblemAndReadyTells) {
  for (const char* path : {kAlerts, "/api/v1/facets", "/api/v1/histogram", "/api/v1/alerts/a/1",
                           "/api/v1/alerts/latest", "/api/v1/alerts/recent"}) {
    const Json answer = problem(path, {}, 503);
    EXPECT_EQ("log_missing", answer["code"]);
    EXPECT_NE(std::string::npos, answer["detail"].get<std::string>().find("no alert log at"));
  }
  EXPECT_EQ(503, get("/-/ready").status);
  EXPECT_EQ(200, get("/-/healthy").status);
  EXPECT_EQ(200, get("/api/v1/status").status);
}

TEST_F(ApiTest, LogThatIsGoneIsAnsweredFromWhatWasReadLast) {
  store(1, 3);
  (void)json(kAlerts);
  unlink(path(alt_name_only).c_str());
  const Json answer = json(kAlerts);
  EXPECT_EQ(3, answer["total"]);
  EXPECT_EQ("missing", answer["log"]["state"]);
  EXPECT_TRUE(answer["log"]["last_good"].is_string());
  EXPECT_EQ(503, get("/-/ready").status);
}

TEST_F(ApiTest, FacetsCountWithoutTheFilterOnTheirOwnField) {
  store(make_record(1, "node1", "m", "1", "1", "2024/01/31 12:00:00.000", "text"));
  store(make_record(2, "node2", "m", "1", "2", "2024/01/31 12:00:00.000", "text"));
  const Json facets = json("/api/v1/facets", {{"server", "node1"}});
  EXPECT_EQ(1, facets["total"]);
  EXPECT_EQ(2U, facets["server"].size());
  EXPECT_EQ(1U, facets["level"].size());
}

std::string whole(Response* response) {
  if (!response->pieces) return response->body;
  std::string text;
  for (std::string piece; !(piece = response->pieces()).empty();) text += piece;
  return text;
}

TEST_F(ApiTest, ExportHasEveryMatchAndAPagedOneThatPage) {
  store(1, 9);
  Response all = get(kAlerts, {{"format", "csv"}, {"level", "1..3"}});
  EXPECT_EQ("text/csv; charset=utf-8; header=present", all.type);
  const std::string csv = whole(&all);
  EXPECT_EQ(10, std::count(csv.begin(), csv.end(), '\n'));
  Response page = get(kAlerts, {{"format", "jsonl"}, {"size", "4"}});
  const std::string lines = whole(&page);
  EXPECT_EQ(4, std::count(lines.begin(), lines.end(), '\n'));
  EXPECT_EQ(9, Json::parse(lines.substr(0, lines.find('\n')))["id"]);
}

TEST_F(ApiTest, ExportIsOfTheLogAsItWasWhenItBegan) {
  store(1, 3);
  Response all = get(kAlerts, {{"format", "jsonl"}});
  store(4, 9);
  (void)json(kAlerts);
  const std::string lines = whole(&all);
  EXPECT_EQ(3, std::count(lines.begin(), lines.end(), '\n'));
}

TEST_F(ApiTest, AcceptHeaderChoosesTheFormUnlessTheParameterDoes) {
  store(1, 1);
  const std::vector<NamedText> csv = {{"Accept", "text/csv, application/json;q=0.5"}};
  EXPECT_EQ("text/csv; charset=utf-8; header=present", get(kAlerts, {}, csv).type);
  EXPECT_EQ("application/json", get(kAlerts, {{"format", "json"}}, csv).type);
  EXPECT_EQ("application/x-ndjson", get(kAlerts, {}, {{"accept", "application/x-ndjson"}}).type);
  EXPECT_EQ("application/json", get(kAlerts, {}, {{"Accept", "*/*"}}).type);
}

TEST_F(ApiTest, StatusNamesEachReasonWhyAlertsMayBeMissing) {
  store(1, 2);
  store(5, 5);
  const Json status = json("/api/v1/status");
  EXPECT_FALSE(status["complete"]);
  std::string codes;
  for (const Json& one : status["problems"]) codes += one["code"].get<std::string>() + " ";
  EXPECT_EQ("daemon_unreachable holes ", codes);
  EXPECT_EQ((Json{{3, 4}}), status["held"][0]["holes"]);
  EXPECT_EQ(2, status["held"][0]["missing"]);
  EXPECT_EQ(7, status["streams"]);
  EXPECT_FALSE(status["daemon"]["reachable"]);
  EXPECT_NE("", status["daemon"]["cause"]);
}

TEST_F(ApiTest, MetricsHaveTheFiguresOfTheLog) {
  store(1, 2);
  store(5, 5);
  (void)get("/nowhere");
  const std::string text = get("/metrics").body;
  for (const char* line :
       {"\nqelalert_log_readable 1\n", "\nqelalert_log_alerts 3\n",
        "\nqelalert_held_alerts{server=\"node1\"} 3\n",
        "\nqelalert_missing_alerts{server=\"node1\"} 2\n", "\nqelalert_daemon_reachable 0\n",
        "\nqelalert_web_answers_total{status=\"404\"} 1\n", "\nqelalert_web_streams 7\n"}) {
    EXPECT_NE(std::string::npos, text.find(line)) << line << text;
  }
}

}  // namespace
}  // namespace qel::web::testing
