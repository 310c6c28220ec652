// What a live stream says, when it begins, resumes, falls behind.
#include "alert_stream.h"

#include <nlohmann/json.hpp>

#include "alert_config.h"
#include "front_end_test.h"

namespace qel::web::testing {
namespace {

constexpr size_t kPlenty = 1U << 20U;

struct Event {
  std::string id;
  std::string name;
  nlohmann::json data;
};

std::vector<Event> parse(const std::string& text) {
  std::vector<Event> events;
  size_t at = 0;
  for (size_t end; (end = text.find("\n\n", at)) != std::string::npos; at = end + 2) {
    const std::string block = text.substr(at, end - at);
    const size_t name = block.find("\nevent: ");
    const size_t data = block.find("\ndata: ");
    events.push_back({block.substr(4, name - 4), block.substr(name + 8, data - name - 8),
                      nlohmann::json::parse(block.substr(data + 7))});
  }
  EXPECT_EQ(text.size(), at);
  return events;
}

std::string names_of(const std::vector<Event>& events) {
  std::string text;
  for (const Event& event : events) {
    text += (text.empty() ? "" : " ") + event.name;
    if (event.name == "alert") text += std::to_string(event.data["id"].get<int>());
  }
  return text;
}

class Stream : public alt_test::StoreTest {
 protected:
  Stream() { store(1, 2); }
  std::string told(AlertStream* stream) { return names_of(parse(stream->take(kPlenty))); }
  void add(uint32_t first, uint32_t last) {
    store(first, last);
    view().read_again();
  }
  LogView& view() {
    if (view_ == nullptr) view_ = std::make_unique<LogView>();
    return *view_;
  }

 private:
  std::unique_ptr<LogView> view_;
};

TEST_F(Stream, BeginsWithHelloAndTellsNewAlertsOnly) {
  AlertStream stream(view(), {}, "");
  EXPECT_EQ("hello", told(&stream));
  EXPECT_EQ("", told(&stream));
  add(3, 4);
  EXPECT_EQ("alert3 alert4", told(&stream));
  EXPECT_EQ("", told(&stream));
}

TEST_F(Stream, HelloHasTheStateOfTheLog) {
  AlertStream stream(view(), {}, "");
  const Event hello = parse(stream.take(kPlenty))[0];
  EXPECT_EQ("ok", hello.data["log"]["state"]);
  EXPECT_EQ(view().revision(), hello.data["log"]["revision"]);
  EXPECT_EQ(hello.id, hello.data["position"]);
}

TEST_F(Stream, TellsOnlyWhatMatches) {
  AlertStream stream(view(), criteria_of({{"text", "no such text"}}).query(), "");
  (void)told(&stream);
  add(3, 4);
  EXPECT_EQ("", told(&stream));
}

TEST_F(Stream, ResumesBehindTheLastEvent) {
  AlertStream first(view(), {}, "");
  (void)told(&first);
  add(3, 5);
  const std::string last = parse(first.take(kPlenty))[0].id;
  AlertStream second(view(), {}, last);
  EXPECT_EQ("hello alert4 alert5", told(&second));
}

TEST_F(Stream, ResumePointOfAnotherProcessIsGone) {
  for (const char* id : {"0123456789ab-1", "x", "-", "9999999999999999999999"}) {
    AlertStream stream(view(), {}, id);
    EXPECT_EQ("hello gone", told(&stream)) << id;
  }
}

TEST_F(Stream, ResumePointThatWasNeverIsGone) {
  AlertStream stream(view(), {}, view().origin() + "-" + std::to_string(view().next_event()));
  EXPECT_EQ("hello gone", told(&stream));
}

TEST_F(Stream, ThatFallsBehindWhatIsKeptIsTold) {
  alt_max_count = 4;
  AlertStream stream(view(), {}, "");
  (void)told(&stream);
  const uint64_t begin = view().next_event();
  for (uint32_t id = 3; view().first_event() <= begin; id += 4) add(id, id + 3);
  EXPECT_EQ("gone", told(&stream));
  add(100000, 100000);
  EXPECT_EQ("alert100000", told(&stream));
}

TEST_F(Stream, PiecesOfAnySizeAreTheSameText) {
  AlertStream whole(view(), {}, "");
  AlertStream pieces(view(), {}, "");
  add(3, 6);
  std::string text;
  for (std::string piece; !(piece = pieces.take(7)).empty(); text += piece) {
    EXPECT_GE(7U, piece.size());
  }
  EXPECT_EQ(whole.take(kPlenty), text);
}

TEST_F(Stream, LostAndFoundLogIsTold) {
  AlertStream stream(view(), {}, "");
  (void)told(&stream);
  const std::string away = path("away");
  ASSERT_EQ(0, rename(path(alt_name_only).c_str(), away.c_str()));
  view().look();
  EXPECT_EQ("log", told(&stream));
  ASSERT_EQ(0, rename(away.c_str(), path(alt_name_only).c_str()));
  view().look();
  const std::vector<Event> events = parse(stream.take(kPlenty));
  EXPECT_EQ("log", names_of(events));
  EXPECT_EQ("ok", events[0].data["state"]);
}

TEST_F(Stream, HostileMessageStaysInItsLine) {
  AlertStream stream(view(), {}, "");
  (void)told(&stream);
  store(make_record(3, "node1", "m", "1", "1", "2024/01/31 12:00:00.000",
                    "a\r\n\r\nevent: gone\r\ndata: {}\xff</script>"));
  view().look();
  const std::vector<Event> events = parse(stream.take(kPlenty));
  EXPECT_EQ("alert3", names_of(events));
}

}  // namespace
}  // namespace qel::web::testing
