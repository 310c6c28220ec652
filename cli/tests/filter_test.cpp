#include "alerts/filter.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/records.h"

namespace qel::cli {
namespace {

using alt_test::make_record;

const ALERT_RECORD_INFO kAlert =
    make_record(7, "node1", "disk", "1001", "2", "2024/01/31 10:00:00.500", "disk 3 failed");

TEST(Filter, NoCriteriaMatchEveryAlert) { EXPECT_TRUE(matches({}, kAlert)); }

TEST(Filter, EachTextCriterionMatchesItsOwnFieldOnly) {
  EXPECT_TRUE(matches({.server = "node1"}, kAlert));
  EXPECT_FALSE(matches({.server = "disk"}, kAlert));
  EXPECT_TRUE(matches({.module = "disk"}, kAlert));
  EXPECT_FALSE(matches({.module = "node1"}, kAlert));
  EXPECT_TRUE(matches({.event = "1001"}, kAlert));
  EXPECT_FALSE(matches({.event = "2"}, kAlert));
  EXPECT_TRUE(matches({.level = "2"}, kAlert));
  EXPECT_FALSE(matches({.level = "1"}, kAlert));
}

TEST(Filter, PartOfATextDoesNotMatch) {
  EXPECT_FALSE(matches({.server = "node"}, kAlert));
  EXPECT_FALSE(matches({.server = "node11"}, kAlert));
  EXPECT_FALSE(matches({.server = "NODE1"}, kAlert));
}

TEST(Filter, AllCriteriaMustMatch) {
  EXPECT_TRUE(matches({.server = "node1", .module = "disk", .level = "2"}, kAlert));
  EXPECT_FALSE(matches({.server = "node1", .module = "disk", .level = "3"}, kAlert));
}

TEST(Filter, BothEndsOfThePeriodAreInside) {
  const char* const at = "2024/01/31 10:00:00.500";
  EXPECT_TRUE(matches({.since = at, .until = at}, kAlert));
  EXPECT_FALSE(matches({.since = "2024/01/31 10:00:00.501"}, kAlert));
  EXPECT_FALSE(matches({.until = "2024/01/31 10:00:00.499"}, kAlert));
}

TEST(Filter, TimeWithoutMillisecondsIsInsideAsFarAsItGoes) {
  const ALERT_RECORD_INFO alert =
      make_record(7, "node1", "disk", "1001", "2", "2024/01/31 10:00:00", "short");
  EXPECT_TRUE(matches({.since = "2024/01/31 10:00:00.500"}, alert));
  EXPECT_TRUE(matches({.until = "2024/01/31 10:00:00.500"}, alert));
  EXPECT_FALSE(matches({.since = "2024/01/31 10:00:01.000"}, alert));
  EXPECT_FALSE(matches({.until = "2024/01/31 09:59:59.999"}, alert));
}

TEST(Filter, FieldWithoutItsEndIsReadToItsWidth) {
  ALERT_RECORD_INFO alert = kAlert;
  memset(alert.szEventID, '9', sizeof alert.szEventID);
  EXPECT_TRUE(matches({.event = "99999999"}, alert));
}

TEST(Paging, NoEntriesGiveNoPage) {
  const Page page = page_of(0, 20, 1);
  EXPECT_EQ(0U, page.number);
  EXPECT_EQ(0U, page.count);
  EXPECT_EQ(0U, page.size);
}

void expect_page(const Page& page, size_t number, size_t count, size_t first, size_t size) {
  EXPECT_EQ(number, page.number);
  EXPECT_EQ(count, page.count);
  EXPECT_EQ(first, page.first);
  EXPECT_EQ(size, page.size);
}

TEST(Paging, EarlierPagesAreFullAndTheLastHoldsTheRest) {
  expect_page(page_of(57, 20, 1), 1, 3, 0, 20);
  expect_page(page_of(57, 20, 2), 2, 3, 20, 20);
  expect_page(page_of(57, 20, 3), 3, 3, 40, 17);
}

TEST(Paging, EntriesThatFillTheLastPageLeaveNoFurtherOne) {
  expect_page(page_of(40, 20, 2), 2, 2, 20, 20);
}

TEST(Paging, PagePastTheEndIsTheLastOne) { expect_page(page_of(57, 20, 9), 3, 3, 40, 17); }

TEST(Paging, PageLargerThanTheListHoldsAll) { expect_page(page_of(5, 2147483647, 1), 1, 1, 0, 5); }

}  // namespace
}  // namespace qel::cli
