/* Files in memory: the places of what they hold, their elements one by one, and numbers. */
#include "xml_file.h"

#include "testing/test_support.h"

namespace {

using qel::int_fault;
using qel::XmlElement;
using qel::XmlFault;
using qel::XmlFile;
using qel::XmlPlace;

std::string text_of(XmlPlace place) {
  return std::to_string(place.line) + ":" + std::to_string(place.column);
}

class File : public ::testing::Test {
 protected:
  void load(const std::string& content) {
    XmlFault fault;
    qel::testing::write_file(path_, content);
    ASSERT_TRUE(file_.load(path_, &fault)) << fault.reason;
  }
  /* Place and reason of a load that fails. */
  std::string fault_of(const std::string& content) {
    XmlFault fault;
    qel::testing::write_file(path_, content);
    EXPECT_FALSE(file_.load(path_, &fault));
    return text_of(fault.place) + " " + fault.reason;
  }
  std::string place_of(const std::string& key) const {
    const auto element = file_.element(key);
    return element ? text_of(element->place()) : "none";
  }

  const qel::testing::ScratchDirectory directory_;
  const std::string path_ = directory_ / "file.xml";
  XmlFile file_;
};

TEST_F(File, PlacesAreThoseOfTheOpeningBrackets) {
  load("<?xml version=\"1.0\"?>\n<root>\n  <a>1</a><b x='1'>\n\t<c/></b>\n<a>2</a></root>\n");
  EXPECT_EQ("2:1", place_of("/root"));
  EXPECT_EQ("3:3", place_of("/root/a"));
  EXPECT_EQ("3:11", place_of("/root/b"));
  EXPECT_EQ("4:2", place_of("/root/b/c"));
  EXPECT_EQ("5:1", place_of("/root/a[2]"));
  EXPECT_EQ("none", place_of("/root/c"));
}

TEST_F(File, ColumnsCountBytesWhateverStandsBefore) {
  load("<root><!-- \xc3\xa4 --><a>&lt;</a><![CDATA[<\n]]><b/>\r\n<c/></root>");
  EXPECT_EQ("1:18", place_of("/root/a"));
  EXPECT_EQ("2:4", place_of("/root/b"));
  EXPECT_EQ("3:1", place_of("/root/c"));
}

TEST_F(File, BytesOfAMarkBeforeTheFirstElementCount) {
  load("\xef\xbb\xbf<root>\n<a/></root>");
  EXPECT_EQ("1:4", place_of("/root"));
  EXPECT_EQ("2:1", place_of("/root/a"));
}

TEST_F(File, FaultsHaveTheirPlaces) {
  EXPECT_EQ("2:6 not well-formed XML: Start-end tags mismatch", fault_of("<root>\n<a></b></root>"));
  EXPECT_EQ("2:2 the root element is <config>, not <root>", fault_of("<!-- -->\n <config/>"));
  EXPECT_EQ("2:1 not well-formed XML: element <more> after the root element",
            fault_of("<root/>\n<more/>"));
  EXPECT_EQ("1:1 not well-formed XML: No document element found", fault_of(""));
}

TEST_F(File, FaultOfAFileThatCannotBeReadHasNoPlace) {
  XmlFault fault;
  EXPECT_FALSE(file_.load(directory_ / "missing.xml", &fault));
  EXPECT_EQ("0:0", text_of(fault.place));
  EXPECT_EQ("cannot be opened: No such file or directory", fault.reason);
}

TEST_F(File, ChildrenAreTheElementsInTheirOrder) {
  load("<root>text<b> 1 </b><!-- no --><a/><b>2<c/></b></root>");
  std::string listed;
  for (const XmlElement& child : file_.root().children()) {
    listed += std::string(child.name()) + "=" + child.text() + "@" + text_of(child.place()) + " ";
  }
  EXPECT_EQ("b=1@1:11 a=@1:32 b=2@1:36 ", listed);
  EXPECT_EQ("text", file_.root().text());
  EXPECT_EQ(1U, file_.element("/root/b[2]")->children().size());
  EXPECT_TRUE(file_.element("/root/a")->children().empty());
}

TEST(IntFault, WholeNumbersHaveNone) {
  for (const auto& [text, expected] : std::vector<std::pair<std::string, int>>{
           {"0", 0}, {"+5", 5}, {"-5", -5}, {"007", 7}, {"2147483647", 2147483647}}) {
    int number = -1;
    EXPECT_EQ("", int_fault(text, &number)) << text;
    EXPECT_EQ(expected, number);
  }
}

TEST(IntFault, OtherTextsKeepTheNumber) {
  int number = 42;
  for (const char* text : {"", "+", "-", "+-5", "-+5", "5 s", " 5", "1.5", "0x5", "five"}) {
    EXPECT_EQ("is not a whole number", int_fault(text, &number)) << text;
  }
  for (const char* text : {"2147483648", "-2147483649", "99999999999999999999"}) {
    EXPECT_EQ("is outside of -2147483648 to 2147483647", int_fault(text, &number)) << text;
  }
  EXPECT_EQ(42, number);
}

}  // namespace
