// qelalert stats: how the alerts are distributed.
#include "reading.h"

namespace qel::cli::testing {
namespace {

class Stats : public ReadingTest {
 protected:
  std::string answer(const std::vector<std::string>& options) const {
    const Result result = qelalert(joined({"stats"}, options));
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ("", result.err);
    return result.out;
  }
};

constexpr char kBar[] = "##############################";

TEST_F(Stats, EverySectionIsShownWithCountShareAndBar) {
  store_five();
  const std::string half(std::string(kBar).substr(0, 15));
  const std::string two_thirds(std::string(kBar).substr(0, 20));
  EXPECT_EQ(
      "SERVER    COUNT   SHARE\n"
      "node1         3   60.0%  " +
          std::string(kBar) +
          "\n"
          "node2         2   40.0%  " +
          two_thirds +
          "\n"
          "\n"
          "MODULE    COUNT   SHARE\n"
          "disk          3   60.0%  " +
          std::string(kBar) +
          "\n"
          "net           2   40.0%  " +
          two_thirds +
          "\n"
          "\n"
          "EVENT    COUNT   SHARE\n"
          "1001         2   40.0%  " +
          std::string(kBar) +
          "\n"
          "2001         2   40.0%  " +
          std::string(kBar) +
          "\n"
          "1002         1   20.0%  " +
          half +
          "\n"
          "\n"
          "LEVEL    COUNT   SHARE\n"
          "1            2   40.0%  " +
          std::string(kBar) +
          "\n"
          "2            2   40.0%  " +
          std::string(kBar) +
          "\n"
          "3            1   20.0%  " +
          half +
          "\n"
          "\n"
          "HOUR             COUNT   SHARE\n"
          "2024/01/30 08        1   20.0%  " +
          std::string(kBar) +
          "\n"
          "2024/01/31 00        1   20.0%  " +
          std::string(kBar) +
          "\n"
          "2024/01/31 10        1   20.0%  " +
          std::string(kBar) +
          "\n"
          "2024/01/31 23        1   20.0%  " +
          std::string(kBar) +
          "\n"
          "2024/02/01 12        1   20.0%  " +
          std::string(kBar) + "\n",
      answer({}));
}

TEST_F(Stats, SectionsAreChosenInTheOrderAsked) {
  store_five();
  const std::string text = answer({"--by", "level", "--by", "server"});
  EXPECT_EQ(0U, text.find("LEVEL "));
  EXPECT_NE(std::string::npos, text.find("\n\nSERVER "));
  EXPECT_EQ(std::string::npos, text.find("MODULE"));
}

TEST_F(Stats, LevelsStandByTheirNumberAndOthersByTheirCount) {
  cluster_.store_alert(alert(1, "a", "m", "1", "1", "2024/01/30 08:00:00.000"));
  for (uint32_t id = 2; id <= 4; ++id) {
    cluster_.store_alert(alert(id, "b", "m", "1", "3", "2024/01/30 08:00:00.000"));
  }
  const std::string text = answer({});
  EXPECT_LT(text.find("\nb   "), text.find("\na   "));
  EXPECT_LT(text.find("\n1   ", text.find("LEVEL")), text.find("\n3   ", text.find("LEVEL")));
}

TEST_F(Stats, LinesBeyondTheNumberAreSummedUp) {
  store_five();
  EXPECT_EQ(
      "EVENT     COUNT   SHARE\n"
      "1001          2   40.0%  " +
          std::string(kBar) +
          "\n"
          "2 more        3   60.0%\n",
      answer({"--by", "event", "-n", "1"}));
  EXPECT_EQ(
      "HOUR             COUNT   SHARE\n"
      "2024/01/31 23        1   20.0%  " +
          std::string(kBar) +
          "\n"
          "2024/02/01 12        1   20.0%  " +
          std::string(kBar) +
          "\n"
          "3 earlier            3   60.0%\n",
      answer({"--by", "hour", "--lines", "2"}));
}

TEST_F(Stats, FiltersChooseWhatIsCounted) {
  store_five();
  EXPECT_EQ("SERVER    COUNT   SHARE\nnode2         1  100.0%  " + std::string(kBar) + "\n",
            answer({"--by", "server", "-p", "1", "-S", "2024/01/31"}));
}

TEST_F(Stats, JsonHasEveryCountWhateverTheLines) {
  store_five();
  const nlohmann::json all = nlohmann::json::parse(answer({"-o", "json", "-n", "1"}));
  EXPECT_EQ(nlohmann::json::parse(
                R"({"total":5,"server":{"node1":3,"node2":2},"module":{"disk":3,"net":2},)"
                R"("event":{"1001":2,"1002":1,"2001":2},"level":{"1":2,"2":2,"3":1},)"
                R"("hour":{"2024/01/30 08":1,"2024/01/31 00":1,"2024/01/31 10":1,)"
                R"("2024/01/31 23":1,"2024/02/01 12":1}})"),
            all);
  EXPECT_EQ(nlohmann::json::parse(R"({"total":2,"module":{"disk":1,"net":1}})"),
            nlohmann::json::parse(answer({"-o", "json", "--by", "module", "-s", "node2"})));
}

TEST_F(Stats, NothingThatMatchesIsSaid) {
  store_five();
  const Result result = qelalert({"stats", "-s", "node9"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("", result.out);
  EXPECT_EQ("qelalert: no alerts match\n", result.err);
  EXPECT_EQ(R"({"total":0,"level":{}})"_json,
            nlohmann::json::parse(answer({"-s", "node9", "-o", "json", "--by", "level"})));
}

TEST_F(Stats, SmallSharesKeepABar) {
  for (uint32_t id = 1; id <= 100; ++id) {
    cluster_.store_alert(
        alert(id, id == 7 ? "rare" : "usual", "m", "1", "1", "2024/01/30 08:00:00.000"));
  }
  EXPECT_NE(std::string::npos, answer({"--by", "server"}).find("rare          1    1.0%  #\n"));
}

}  // namespace
}  // namespace qel::cli::testing
