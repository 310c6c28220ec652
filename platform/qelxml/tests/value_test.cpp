/* Reading values: where they are found, what fits their type, what is told when not. */
#include <climits>

#include "xml_fixture.h"

namespace {

class Value : public XmlFixture {
 protected:
  /* The value as text, or "!" and the error; a failure must leave buffer and size. */
  static std::string text(const char* key, int room = 64) {
    std::string buffer(64, '#');
    int size = room;
    if (xmllib_get_value(key, XMLLIB_TEXT, buffer.data(), &size) != 0) {
      EXPECT_EQ(buffer, std::string(64, '#'));
      EXPECT_EQ(size, room);
      return "!" + last_error();
    }
    EXPECT_EQ(buffer[size], '\0');
    return buffer.substr(0, size);
  }

  static std::string number(const char* key, int room = sizeof(int)) {
    int value = 12345;
    int size = room;
    if (xmllib_get_value(key, XMLLIB_INT, &value, &size) != 0) {
      EXPECT_EQ(value, 12345);
      EXPECT_EQ(size, room);
      return "!" + last_error();
    }
    EXPECT_EQ(size, room);
    return std::to_string(value);
  }
};

TEST_F(Value, IsTheTextOfTheElementWithoutSurroundingWhiteSpace) {
  load_policy("all",
              "<root><plain>abc</plain><padded>\r\n\t a b \t</padded><empty/><blank> </blank>"
              "<entity>a &lt;&amp;&#65; b</entity><cdata><![CDATA[ <x> ]]></cdata>"
              "<pieces>29<!-- not this -->0<![CDATA[0]]>3</pieces>"
              "<outer> own <inner>inner</inner></outer><utf>\xc3\xa4</utf></root>");
  EXPECT_EQ(text("/root/plain"), "abc");
  EXPECT_EQ(text("/root/padded"), "a b");
  EXPECT_EQ(text("/root/empty"), "");
  EXPECT_EQ(text("/root/blank"), "");
  EXPECT_EQ(text("/root/entity"), "a <&A b");
  EXPECT_EQ(text("/root/cdata"), "<x>");
  EXPECT_EQ(text("/root/pieces"), "29003");
  EXPECT_EQ(text("/root/outer"), "own");
  EXPECT_EQ(text("/root/utf"), "\xc3\xa4");
}

TEST_F(Value, TheFirstElementOfEachNameCounts) {
  load_policy("all", "<root><a><b>1</b><b>2</b></a><a><b>3</b><c>4</c></a></root>");
  EXPECT_EQ(number("/root/a/b"), "1");
  EXPECT_EQ(number("/root/a/c"), "!tester: /root/a/c: no such key in all.xml");
}

TEST_F(Value, APositionInBracketsNamesALaterElement) {
  load_policy("all",
              "<root><s><n>a</n><a><i>1</i></a><a><i>2</i><i>3</i></a></s><t/><!-- <s/> -->"
              "<s><n>b</n></s><s2>c</s2><s><n>d</n><a/><a/><a><i>4</i></a></s></root>");
  EXPECT_EQ(text("/root/s[1]/n"), "a");
  EXPECT_EQ(text("/root/s[2]/n"), "b");
  EXPECT_EQ(text("/root/s[3]/n"), "d");
  EXPECT_EQ(text("/root/s/a[2]/i"), "2");
  EXPECT_EQ(text("/root/s[1]/a[2]/i[2]"), "3");
  EXPECT_EQ(text("/root[1]/s[3]/a[3]/i"), "4");
  EXPECT_EQ(number("/root/s/a[2]/i[2]"), "3");
}

TEST_F(Value, APositionBehindTheLastElementIsMissing) {
  load_policy("all", "<root><s><a>1</a></s><s/></root>");
  for (const char* key : {"/root/s[3]", "/root/s[2]/a", "/root/s[1]/a[2]", "/root/t[1]", "/root[2]",
                          "/root/s[99999999999]", "/root/s[18446744073709551617]",
                          "/root/s[99999999999999999999999]"}) {
    EXPECT_EQ(text(key), std::string("!tester: ") + key + ": no such key in all.xml");
  }
  EXPECT_EQ(text("/root/s[2]"), "");
}

TEST_F(Value, PositionsThatAreNoNumbersFromOneAreMissing) {
  load_policy("all", "<root><s>1</s><s>2</s></root>");
  for (const char* key :
       {"/root/s[0]",   "/root/s[]",     "/root/s[x]",  "/root/s[-1]",  "/root/s[+1]",
        "/root/s[ 1]",  "/root/s[1 ]",   "/root/s[1x]", "/root/s[0x1]", "/root/s[1.0]",
        "/root/s[",     "/root/s[1",     "/root/s]",    "/root/s1]",    "/root/s[1]]",
        "/root/s[[1]]", "/root/s[1][1]", "/root/s[1]s", "/root/[1]",    "/root[0]/s",
        "/root/s[1]/",  "[1]",           "/[1]"}) {
    EXPECT_EQ(text(key), std::string("!tester: ") + key + ": no such key in all.xml");
  }
  EXPECT_EQ(text("/root/s[1]"), "1");
}

TEST_F(Value, AWrongValueAtAPositionIsToldWithItsOwnLine) {
  load_policy("all", "<root>\n<s><a>1</a></s>\n<s>\n<a>x</a></s></root>");
  EXPECT_EQ(number("/root/s[2]/a"),
            "!" + file("all.xml") + ":4: /root/s[2]/a: \"x\" is not a whole number");
}

TEST_F(Value, EachPositionIsLookedForInEveryFile) {
  write("cluster.xml", "<root><s>1</s><s>2</s></root>");
  ASSERT_EQ(xmllib_load_config(), 0);
  load_policy("all", "<root><s>policy</s></root>");
  EXPECT_EQ(text("/root/s[1]"), "policy");
  EXPECT_EQ(text("/root/s[2]"), "2");
}

TEST_F(Value, TheLatestSectionIsAskedFirstAndTheClusterLast) {
  write("cluster.xml", "<root><a>cluster</a><b>cluster</b><c>cluster</c></root>");
  ASSERT_EQ(xmllib_load_config(), 0);
  load_policy("first", "<root><a>first</a><b>first</b></root>");
  load_policy("second", "<root><a>second</a></root>");
  EXPECT_EQ(text("/root/a"), "second");
  EXPECT_EQ(text("/root/b"), "first");
  EXPECT_EQ(text("/root/c"), "cluster");
  load_policy("first", "<root><a>first again</a></root>");
  EXPECT_EQ(text("/root/a"), "first again");
  EXPECT_EQ(text("/root/b"), "cluster");
  ASSERT_EQ(xmllib_unload_policy("first"), 0);
  EXPECT_EQ(text("/root/a"), "second");
}

TEST_F(Value, AMissingKeyNamesWhereItWasLookedFor) {
  EXPECT_EQ(text("/root/a"), "!tester: /root/a: no such key in any file: none is loaded");
  write("cluster.xml", "<root/>");
  ASSERT_EQ(xmllib_load_config(), 0);
  load_policy("all", "<root><a>1</a></root>");
  load_policy("webalert", "<root/>");
  EXPECT_EQ(text("/root/b"), "!tester: /root/b: no such key in cluster.xml, all.xml, webalert.xml");
  EXPECT_EQ(number("/root/b"),
            "!tester: /root/b: no such key in cluster.xml, all.xml, webalert.xml");
}

TEST_F(Value, KeysThatAreNoPathsAreMissing) {
  load_policy("all", "<root><a><b>1</b></a></root>");
  for (const char* key : {"", "/", "root/a/b", "a", "/a", "/root/", "/root//a", "/root/a/",
                          "//root", "/root/a/b/", "/root/A", "/root/a/b/#text"}) {
    EXPECT_EQ(text(key), std::string("!tester: ") + key + ": no such key in all.xml");
  }
  EXPECT_EQ(text("/root/a/b"), "1");
  EXPECT_EQ(text("/root"), "");
}

TEST_F(Value, ATextMustFitWithItsEnd) {
  load_policy("all", "<root>\n<a>abcde</a><b/></root>");
  const std::string at = "!" + file("all.xml") + ":2: ";
  EXPECT_EQ(text("/root/a", 6), "abcde");
  EXPECT_EQ(text("/root/a", 5),
            at + "/root/a: the text of 5 bytes does not fit into a buffer of 5");
  EXPECT_EQ(text("/root/a", -1),
            at + "/root/a: the text of 5 bytes does not fit into a buffer of -1");
  EXPECT_EQ(text("/root/b", 1), "");
  EXPECT_EQ(text("/root/b", 0),
            at + "/root/b: the text of 0 bytes does not fit into a buffer of 0");
}

TEST_F(Value, WholeNumbersWithinTheRangeOfIntAreRead) {
  const struct {
    const char* text;
    const char* number;
  } kCases[] = {{"0", "0"},
                {" 29003\n", "29003"},
                {"-1", "-1"},
                {"+7", "7"},
                {"007", "7"},
                {"-0", "0"},
                {"2147483647", "2147483647"},
                {"-2147483648", "-2147483648"}};
  for (const auto& expected : kCases) {
    load_policy("all", std::string("<root><a>") + expected.text + "</a></root>");
    EXPECT_EQ(number("/root/a"), expected.number) << expected.text;
  }
}

TEST_F(Value, WhatIsNoWholeNumberIsToldWithFileLineAndKey) {
  for (const char* wrong : {"abc", "", "12a", "1 2", "1.5", "0x10", "+", "-", "+-5", "--5", "1e3",
                            "99999999999x", "\xd9\xa1"}) {
    load_policy("webalert", std::string("<root>\n<!-- \n -->\n <d>\n  <port>") + wrong +
                                "</port>\n </d></root>");
    EXPECT_EQ(number("/root/d/port"), "!" + file("webalert.xml") + ":5: /root/d/port: \"" + wrong +
                                          "\" is not a whole number");
  }
}

TEST_F(Value, NumbersBeyondTheRangeOfIntAreTold) {
  for (const char* wrong : {"2147483648", "-2147483649", "+99999999999999999999999"}) {
    load_policy("all", std::string("<root><a>") + wrong + "</a></root>");
    EXPECT_EQ(number("/root/a"), "!" + file("all.xml") + ":1: /root/a: \"" + wrong +
                                     "\" is outside of -2147483648 to 2147483647");
  }
}

TEST_F(Value, ALongWrongValueIsShownCut) {
  load_policy("all", "<root><a>" + std::string(1000, 'x') + "</a></root>");
  EXPECT_EQ(number("/root/a"), "!" + file("all.xml") + ":1: /root/a: \"" + std::string(40, 'x') +
                                   "...\" is not a whole number");
}

TEST_F(Value, ANumberNeedsItsBuffer) {
  load_policy("all", "<root><a>1</a></root>");
  EXPECT_EQ(number("/root/a", 3),
            "!" + file("all.xml") + ":1: /root/a: a number does not fit into a buffer of 3 bytes");
  EXPECT_EQ(number("/root/a", 8), "1");
}

TEST_F(Value, NullArgumentsAndUnknownTypesAreRefused) {
  load_policy("all", "<root><a>1</a></root>");
  int number = 0;
  int size = sizeof number;
  EXPECT_EQ(xmllib_get_value(nullptr, XMLLIB_INT, &number, &size), -1);
  EXPECT_EQ(last_error(), "tester: no key: null argument");
  EXPECT_EQ(xmllib_get_value("/root/a", XMLLIB_INT, nullptr, &size), -1);
  EXPECT_EQ(last_error(), "tester: /root/a: null argument");
  EXPECT_EQ(xmllib_get_value("/root/a", XMLLIB_INT, &number, nullptr), -1);
  EXPECT_EQ(last_error(), "tester: /root/a: null argument");
  EXPECT_EQ(xmllib_get_value("/root/a", 2, &number, &size), -1);
  EXPECT_EQ(last_error(), "tester: /root/a: 2 is not a type");
  EXPECT_EQ(number, 0);
}

TEST_F(Value, TheLinesOfASectionStayRightWhenOthersComeAndGo) {
  load_policy("one", "<root>\n\n<a>x</a></root>");
  load_policy("two", "\xef\xbb\xbf<root>\r\n<b>y &amp;\r\n z</b>\r\n<c>y</c></root>");
  load_policy("three", "<root/>");
  ASSERT_EQ(xmllib_unload_policy("three"), 0);
  EXPECT_EQ(number("/root/a"), "!" + file("one.xml") + ":3: /root/a: \"x\" is not a whole number");
  EXPECT_EQ(number("/root/c"), "!" + file("two.xml") + ":4: /root/c: \"y\" is not a whole number");
}

TEST_F(Value, ALaterSuccessLeavesTheLastErrorAndALongOneIsCut) {
  load_policy("all", "<root><a>1</a></root>");
  const std::string key = "/root/" + std::string(2000, 'k');
  ASSERT_EQ(text(key.c_str()).size(), 1U + 1023U);
  EXPECT_EQ(number("/root/a"), "1");
  EXPECT_TRUE(last_error().starts_with("tester: /root/kkk"));
}

}  // namespace
