// The formats and orders of the model, with expectations made by hand: a comparison with the model
// is worth what both sides are.
#include <gtest/gtest.h>

#include "model/lookup.h"
#include "model/model_fixture.h"
#include "model/sorting.h"

namespace alt_model {
namespace {

// ---- formats ----------------------------------------------------------------------------------

TEST_F(Model, NewLogIsAHeaderOf332Bytes) {
  model_.process.max_count = 10000;
  const File log = model_.open_file(kLogName);
  ASSERT_EQ(log->size(), 332U);
  EXPECT_EQ(log->substr(0, 139),
            "Max count:   10000\nCurrent count:       0\nCurrent to write:       0\n"
            "Max record size:     683\nIs changed:       0\nCurrent alert Id:       0\n");
  EXPECT_EQ(log->substr(139, 10), "AlertID   ");
  EXPECT_EQ(log->substr(149, 24), "Write Time              ");
  EXPECT_EQ(log->substr(173, 24), "Date & Time             ");
  EXPECT_EQ(log->substr(197, 65), "Server" + std::string(59, ' '));
  EXPECT_EQ(log->substr(262, 32), "Module" + std::string(26, ' '));
  EXPECT_EQ(log->substr(294, 16), "EventId Level   ");
  EXPECT_EQ(log->substr(310, 22), "Alert Message       \n\n");
  EXPECT_EQ(header_length(log), 332U);
}

TEST_F(Model, RecordLineHasItsColumnsAtTheirOffsets) {
  const std::string line =
      record_line({7, "ev", "2", "node", "mod", "2024/01/31 23:59:59.123", "raised", "text"});
  ASSERT_EQ(line.size(), 684U);
  EXPECT_EQ(line.substr(0, 10), "7         ");
  EXPECT_EQ(line.substr(10, 24), "2024/01/31 23:59:59.123 ");
  EXPECT_EQ(line.substr(34, 7), "raised ");
  EXPECT_EQ(line.substr(58, 5), "node ");
  EXPECT_EQ(line.substr(123, 4), "mod ");
  EXPECT_EQ(line.substr(155, 3), "ev ");
  EXPECT_EQ(line.substr(163, 2), "2 ");
  EXPECT_EQ(line.substr(171, 5), "text ");
  EXPECT_EQ(line.substr(682), " \n");
}

TEST_F(Model, TenDigitIdTouchesTheWriteTimeAndIsReadBack) {
  Record record = alert(4294967295U, "node", "t");
  record.message = "abc   ";
  ASSERT_EQ(store(record), 0);
  const File log = model_.disk.open(kLogName);
  EXPECT_EQ(log->substr(332, 14), "42949672952024");
  const Record back = read_record(log, 0).value();
  EXPECT_EQ(back.id, 4294967295U);
  EXPECT_EQ(back.write_time, "2024/01/01 00:00:00.000");
  EXPECT_EQ(back.message, "abc");
}

TEST_F(Model, BlankWriteTimeIsReadableOnlyBehindATenDigitId) {
  Record record = alert(1, "node", "t");
  record.write_time = "";
  const auto behind = [&](uint32_t id) {
    record.id = id;
    return read_record(std::make_shared<std::string>(header_text({}) + record_line(record)), 0);
  };
  EXPECT_FALSE(behind(999999999));
  ASSERT_TRUE(behind(1000000000));
  EXPECT_EQ(behind(1000000000)->write_time, "");
}

TEST_F(Model, HeaderLineWithoutColonCannotBeRead) {
  const File log = model_.open_file(kLogName);
  (*log)[log->find(':', log->find("Is changed"))] = ' ';
  EXPECT_FALSE(parse_header(log));
}

TEST_F(Model, WideNumberStaysInPlaceAndANarrowerOneLeavesALineEndBehind) {
  ASSERT_EQ(store(alert(123456789, "node", "t1")), 0);
  EXPECT_EQ(header_length(model_.disk.open(kLogName)), 332U);
  EXPECT_EQ(header().current_id, 123456789U);
  ASSERT_EQ(store(alert(12345678, "node", "t2")), 0);
  // The two line ends now look like the empty line.
  EXPECT_EQ(header_length(model_.disk.open(kLogName)), 140U);
}

TEST_F(Model, IdBeyondTwoToThe31IsPrintedSignedAndReadBack) {
  ASSERT_EQ(store(alert(0x80000005U, "node", "t")), 0);
  const File log = model_.disk.open(kLogName);
  EXPECT_NE(log->find("Current alert Id:-2147483643\n"), std::string::npos);
  EXPECT_EQ(header().current_id, 0x80000005U);
}

TEST_F(Model, IndexFileHasItsHeaderAndEntriesAtTheirOffsets) {
  ASSERT_EQ(store(alert(5, std::string(64, 's'), "t")), 0);
  const std::string times = *model_.disk.open("time.idx");
  EXPECT_EQ(times.size(), 148U + 74U);
  EXPECT_EQ(times.substr(0, 74), "Index field:time" + std::string(57, ' ') + "\n");
  EXPECT_EQ(times.substr(74, 74), "Current count:1" + std::string(58, ' ') + "\n");
  EXPECT_EQ(times.substr(148), "t" + std::string(64, ' ') + "0       \n");
  const std::string servers = *model_.disk.open("srv_alt_id.idx");
  EXPECT_EQ(servers.substr(148), std::string(64, 's') + " 5         0       \n");
  EXPECT_EQ(servers.substr(0, 23), "Index field:srv_alt_id ");
}

TEST_F(Model, SlotBehindTheLastEntryReadsAsEmptyKeyAndLineZero) {
  const File file = std::make_shared<std::string>(index_header_text("time.idx", 0));
  const Entry entry = read_entry(file, kTimeIndex, 0);
  EXPECT_EQ(entry.key, "");
  EXPECT_EQ(entry.line, 0U);
}

TEST_F(Model, IndexHeaderWithoutColonOrWithALongValueCannotBeRead) {
  std::string text = index_header_text("time.idx", 3);
  EXPECT_EQ(parse_index_header(std::make_shared<std::string>(text)), 3U);
  std::string no_colon = text;
  no_colon[no_colon.rfind(':')] = ' ';
  EXPECT_FALSE(parse_index_header(std::make_shared<std::string>(no_colon)));
  text.replace(12, 25, 25, 'n');
  EXPECT_FALSE(parse_index_header(std::make_shared<std::string>(text)));
}

// ---- orders -----------------------------------------------------------------------------------

TEST_F(Model, BuiltEventIndexOrdersByNumberThenLine) {
  std::vector<Node> nodes = {{0, "10", "", 0}, {1, "9", "", 1}, {2, "9", "", 2}};
  sort_nodes(&nodes, kEventIndex);
  EXPECT_EQ(nodes[0].line, 1U);
  EXPECT_EQ(nodes[1].line, 2U);
  EXPECT_EQ(nodes[2].line, 0U);
}

TEST_F(Model, BuiltTimeIndexOrdersEqualTimesByServerAndKeepsEqualPairs) {
  std::vector<Node> nodes = {
      {0, "t", "b", 0}, {1, "t", "a", 1}, {2, "t", "b", 2}, {3, "s", "z", 3}};
  sort_nodes(&nodes, kTimeIndex);
  EXPECT_EQ(nodes[0].line, 3U);
  EXPECT_EQ(nodes[1].line, 1U);
  EXPECT_EQ(nodes[2].line, 0U);
  EXPECT_EQ(nodes[3].line, 2U);
}

// The difference of the ids is taken as a signed number.
TEST_F(Model, BuiltIdIndexPutsIdsFarApartInTheOrderOfTheirDifference) {
  std::vector<Node> nodes = {{0, "a", "", 0}, {1, "a", "", 0x80000001U}};
  sort_nodes(&nodes, kIdIndex);
  EXPECT_EQ(nodes[0].line, 1U);
  EXPECT_EQ(nodes[1].line, 0U);
}

TEST_F(Model, StoredEqualTimesStandBehindTheirRunButInFrontOfTheOldest) {
  model_.process.max_count = 10;
  for (const char* time : {"t1", "t2", "t3"}) ASSERT_EQ(store(alert(1, "n", time)), 0);
  ASSERT_EQ(store(alert(2, "n", "t2")), 0);  // line 3, behind line 1
  ASSERT_EQ(store(alert(3, "n", "t1")), 0);  // line 4, in front of line 0
  EXPECT_EQ(lines(kTimeIndex), (Lines{4, 0, 1, 3, 2}));
}

TEST_F(Model, DateLookupsGiveTheEndsOfTheRange) {
  model_.process.max_count = 10;
  for (const char* time : {"t1", "t3", "t3", "t3", "t5"}) ASSERT_EQ(store(alert(1, "n", time)), 0);
  const File file = model_.open_file("time.idx");
  EXPECT_EQ(first_from(file, 5, "t0"), 0);
  EXPECT_EQ(first_from(file, 5, "t3"), 1);
  EXPECT_EQ(first_from(file, 5, "t4"), 4);
  EXPECT_EQ(first_from(file, 5, "t6"), kNoneOnThatSide);
  EXPECT_EQ(last_until(file, 5, "t0"), kNoneOnThatSide);
  EXPECT_EQ(last_until(file, 5, "t2"), 0);
  EXPECT_EQ(last_until(file, 5, "t3"), 3);
  EXPECT_EQ(last_until(file, 5, "t6"), 4);
}

}  // namespace
}  // namespace alt_model
