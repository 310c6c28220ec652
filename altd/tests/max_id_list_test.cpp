// The list of highest ids, one for each server, that announcements carry.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "support/protocol_test.h"

namespace alt_test {
namespace {

using List = std::unique_ptr<servername_altid, decltype(&free)>;

// "name:id" of each entry, and nothing when there is no list.
Texts texts_of(const List& list, int count) {
  EXPECT_EQ(count > 0, list != nullptr);
  Texts texts;
  for (int i = 0; i < count; ++i) {
    const servername_altid& entry = list.get()[i];
    EXPECT_LE(strnlen(entry.servername, ALERT_NAME_SIZE), 64U);
    texts.push_back(entry.servername + (":" + std::to_string(entry.maxaltid)));
  }
  return texts;
}

class MaxIdList : public ProtocolTest {
 protected:
  static Texts local_list() {
    int count = -7;
    const List list(get_all_svrname_maxid_from_local(&count), &free);
    EXPECT_GE(count, 0);
    return texts_of(list, count);
  }
  static Texts parsed(const std::string& text) {
    int count = -7;
    const List list(get_all_svrname_maxid_from_remote(text.c_str(), &count), &free);
    EXPECT_GE(count, 0);
    return texts_of(list, count);
  }
  // The text, with the check that its length counts the NUL.
  static std::string local_text() {
    std::vector<char> buffer(AL_ALTID_TEXT_SIZE, '\0');
    const int length = get_svr_altid_msgdata(buffer.data());
    EXPECT_EQ(static_cast<size_t>(length), strlen(buffer.data()) + 1);
    return buffer.data();
  }
  static std::string host_name() {
    char name[256] = "";
    EXPECT_EQ(get_local_server(name), 0);
    return name;
  }
};

// ---- of this server's log -----------------------------------------------------------------------

TEST_F(MaxIdList, HoldsTheHighestIdOfEachServerInTheLog) {
  hold("node2", {7});
  hold("node1", {3, 120, 5});
  put_names(local_svrname_list, {"old1", "old2", "old3"});
  EXPECT_EQ(local_list(), (Texts{"node1:120", "node2:7"}));
  EXPECT_TRUE(log_.has(kTrace, "get server name in the alert log file succeeded"));
}

TEST_F(MaxIdList, OfAnEmptyLogIsNothing) {
  EXPECT_EQ(local_list(), Texts{});
  EXPECT_TRUE(log_.has(kNotable, "there is no alert log now"));
  EXPECT_TRUE(log_.has(kTrace, "get server name in the alert log file succeeded"));
}

TEST_F(MaxIdList, OfALogThatCannotBeReadIsNothing) {
  hold("node1", {3});
  spoil("server.idx");
  EXPECT_EQ(local_list(), Texts{});
  EXPECT_TRUE(log_.has(kFailures, "get server name in the alert log file failed"));
  EXPECT_TRUE(log_.has(kTrace, "get server name in the alert log file succeeded"));
}

// What was found before the index could not be read any further does not count.
TEST_F(MaxIdList, OfALogThatCannotBeReadToItsEndIsNothing) {
  constexpr uint32_t kAlerts = 600;  // more than are read at once
  make_log(kAlerts);
  for (uint32_t id = 1; id <= kAlerts; ++id) hold(id % 2 == 0 ? "node1" : "node2", {id});
  bool failed = false;
  for_each_call(
      Site::kRead, EIO, [] {},
      [&] {
        log_.clear();
        const Texts list = local_list();
        if (!log_.has(kFailures, "get server name in the alert log file failed")) return;
        failed = true;
        EXPECT_EQ(list, Texts{});
      });
  EXPECT_TRUE(failed);
}

TEST_F(MaxIdList, IdThatCannotBeFoundIsZero) {
  hold("node1", {3});
  spoil("srv_alt_id.idx");
  EXPECT_EQ(local_list(), Texts{"node1:0"});
}

TEST_F(MaxIdList, WithoutMemoryIsNothing) {
  hold("node1", {3});
  const Interception fault(Site::kAllocate,
                           [](size_t bytes) { return bytes == 72 ? ENOMEM : kPass; });
  EXPECT_EQ(local_list(), Texts{});
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
}

TEST_F(MaxIdList, IsWrittenAsACountAndALineForEachServer) {
  hold("alpha", {120});
  hold("beta", {7});
  EXPECT_EQ(local_text(), "2\nalpha 120\nbeta 7\n");
}

TEST_F(MaxIdList, OfAnEmptyLogIsWrittenAsZero) {
  EXPECT_EQ(local_text(), "0\n");
  std::vector<char> buffer(AL_ALTID_TEXT_SIZE, 'x');
  EXPECT_EQ(get_svr_altid_msgdata(buffer.data()), 3);
}

// A hundred of the longest lines are the most that a list can have.
TEST_F(MaxIdList, OfTheLongestNamesAndNumbersFitsItsText) {
  make_log(200);
  std::string expected = "100\n";
  for (int i = 100; i < 200; ++i) {
    ALERT_RECORD_INFO record = make_record(0x80000000);
    set_text(record.szServer, std::to_string(i) + std::string(61, 'n'));
    store(record);
    expected += std::string(record.szServer) + " -2147483648\n";
  }
  EXPECT_EQ(local_text(), expected);
}

TEST_F(MaxIdList, WhatIsWrittenIsRead) {
  hold("alpha", {120});
  hold("beta", {7});
  EXPECT_EQ(parsed(local_text()), (Texts{"alpha:120", "beta:7"}));
}

// ---- received -----------------------------------------------------------------------------------

struct ListCase {
  const char* text;
  Texts list;
};
void PrintTo(const ListCase& row, std::ostream* out) { *out << printable(row.text); }
class ReceivedList : public MaxIdList, public ::testing::WithParamInterface<ListCase> {};
INSTANTIATE_TEST_SUITE_P(
    MaxIdList, ReceivedList,
    ::testing::Values(ListCase{"2\nnode 5\nnode1 9\n", {"node:5", "node1:9"}},
                      ListCase{"1\na 5", {"a:5"}}, ListCase{"1\na -5\n", {"a:-5"}},
                      ListCase{"1\na 5\nb 6\n", {"a:5"}}, ListCase{"0\n", {}},
                      ListCase{"0\na 5\n", {}}, ListCase{"-1\na 5\n", {}},
                      ListCase{"-2147483648\na 5\n", {}}, ListCase{"", {}}, ListCase{"\n", {}},
                      ListCase{"a 5\n", {}}, ListCase{"1", {}}, ListCase{"1\n", {}},
                      ListCase{"1\n\n", {}}, ListCase{"3\na 5\n", {"a:5"}},
                      ListCase{"3\na 5\nb 6", {"a:5", "b:6"}}, ListCase{"100\na 5\n", {"a:5"}},
                      ListCase{"2147483647\na 5\n", {"a:5"}}, ListCase{"1\na\n", {}},
                      ListCase{"1\na x\n", {}}, ListCase{"2\na x\nb 6\n", {"b:6"}}));

TEST_P(ReceivedList, IsReadAsFarAsItIsTrue) { EXPECT_EQ(parsed(GetParam().text), GetParam().list); }

TEST_F(MaxIdList, LongestNameIsReadWhole) {
  const std::string longest(64, 'n');
  EXPECT_EQ(parsed("1\n" + longest + " 5\n"), Texts{longest + ":5"});
}

class LongName : public MaxIdList, public ::testing::WithParamInterface<size_t> {};
INSTANTIATE_TEST_SUITE_P(MaxIdList, LongName, ::testing::Values(65U, 66U, 100U, 5000U));

TEST_P(LongName, IsRefusedAndTheOthersAreRead) {
  const std::string name(GetParam(), 'n');
  EXPECT_EQ(parsed("3\na 5\n" + name + " 6\nb 7\n"), (Texts{"a:5", "b:7"}));
  EXPECT_EQ(parsed("1\n" + name + " 6\n"), Texts{});
}

TEST_F(MaxIdList, WithoutMemoryNothingIsRead) {
  const Fault fault(Site::kAllocate, ENOMEM);
  EXPECT_EQ(parsed("1\na 5\n"), Texts{});
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
}

// ---- this server in a received list -------------------------------------------------------------

TEST_F(MaxIdList, IdOfThisServerIsFound) {
  const std::string host = host_name();
  EXPECT_EQ(get_local_maxid_from_remote(("2\nzzz 5\n" + host + " 9\n").c_str()), 9);
}

TEST_F(MaxIdList, EntryNamedByTheBeginningOfThisServersNameCounts) {
  const std::string host = host_name();
  ASSERT_GE(host.size(), 2U);
  const std::string beginning = host.substr(0, host.size() - 1);
  EXPECT_EQ(get_local_maxid_from_remote(("2\n" + beginning + " 4\n" + host + " 9\n").c_str()), 4);
  EXPECT_EQ(get_local_maxid_from_remote(("2\n" + host + " 9\n" + beginning + " 4\n").c_str()), 9);
}

TEST_F(MaxIdList, LongerNameThanThisServersDoesNotCount) {
  const std::string host = host_name();
  EXPECT_EQ(get_local_maxid_from_remote(("1\n" + host + "x 9\n").c_str()), 0);
}

TEST_F(MaxIdList, ListWithoutThisServerHasNoIdOfIt) {
  EXPECT_EQ(get_local_maxid_from_remote("1\n~ 9\n"), 0);
  EXPECT_EQ(get_local_maxid_from_remote("0\n"), 0);
  EXPECT_EQ(get_local_maxid_from_remote(""), 0);
}

// An entry that was refused must not match as an empty name would.
TEST_F(MaxIdList, RefusedEntryMatchesNothing) {
  EXPECT_EQ(get_local_maxid_from_remote("1\n 9\n"), 0);
  EXPECT_EQ(get_local_maxid_from_remote("5\n~ 9\n"), 0);
  EXPECT_EQ(get_local_maxid_from_remote(("1\n" + std::string(70, '~') + " 9\n").c_str()), 0);
}

TEST_F(MaxIdList, ServerThatDoesNotKnowItsNameFindsNothing) {
  const std::string text = "1\n" + host_name() + " 9\n";
  EXPECT_EQ(get_local_maxid_from_remote(text.c_str()), 9);
  const Fault fault(Site::kHostName, ENAMETOOLONG);
  EXPECT_EQ(get_local_maxid_from_remote(text.c_str()), 0);
}

}  // namespace
}  // namespace alt_test
