#include "output/columns.h"

#include <gtest/gtest.h>

namespace qel::cli {
namespace {

TEST(Columns, ColumnsAreAsWideAsTheirWidestTextAndTheLastIsNotFilledUp) {
  EXPECT_EQ(
      "PEER    STATE      HELD\n"
      "node10  answering  1\n"
      "n       -          20\n",
      align_columns({{"PEER", "STATE", "HELD"}, {"node10", "answering", "1"}, {"n", "-", "20"}},
                    0));
}

TEST(Columns, LinesAreCutAtTheWidthGiven) {
  EXPECT_EQ("ab  c...\n", align_columns({{"ab", "cdefgh"}}, 8));
  EXPECT_EQ("ab  cdef\n", align_columns({{"ab", "cdef"}}, 8));
}

TEST(Columns, TextsAreMadeVisibleBeforeTheyAreMeasured) {
  EXPECT_EQ(
      "a\\x0ab  1\n"
      "abcdef  2\n",
      align_columns({{"a\nb", "1"}, {"abcdef", "2"}}, 0));
}

TEST(Columns, NoRowsAreNoText) { EXPECT_EQ("", align_columns({}, 0)); }

TEST(ColumnAligner, ColumnsGrowFromPieceToPieceAndNeverShrink) {
  ColumnAligner aligner(0);
  aligner.fit({{"a", "b"}});
  EXPECT_EQ("a  b", aligner.line({"a", "b"}));
  aligner.fit({{"abc", "b"}});
  EXPECT_EQ("a    b", aligner.line({"a", "b"}));
  aligner.fit({{"a", "b"}});
  EXPECT_EQ("a    b", aligner.line({"a", "b"}));
}

TEST(JsonText, DocumentIsSpreadOverLinesOrOnOne) {
  const Json document = {{"b", 1}, {"a", {1, 2}}};
  EXPECT_EQ("{\n  \"b\": 1,\n  \"a\": [\n    1,\n    2\n  ]\n}\n", json_text(document));
  EXPECT_EQ("{\"b\":1,\"a\":[1,2]}\n", json_line(document));
}

TEST(JsonText, InvalidBytesBecomeReplacementCharacters) {
  const Json document =
      "a\xff"
      "b";
  EXPECT_EQ("\"a\ufffdb\"\n", json_line(document));
  EXPECT_EQ("\"a\ufffdb\"\n", json_text(document));
}

}  // namespace
}  // namespace qel::cli
