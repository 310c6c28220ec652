/* Starting, loading and unloading, and what damaged files lead to. */
#include <sys/stat.h>

#include "xml_fixture.h"

extern "C" int c_read_number(const char* section, const char* key);

namespace {

using qel::testing::Child;
using qel::testing::ScopedVariable;

class Load : public XmlFixture {
 protected:
  /* The error of loading cluster.xml with this content. */
  std::string error_of(const std::string& content) {
    write("cluster.xml", content);
    EXPECT_EQ(xmllib_load_config(), -1);
    return last_error();
  }
};

TEST_F(Load, NamesOfWrongLengthDoNotStartTheLibrary) {
  ASSERT_EQ(xmllib_term(), 0);
  EXPECT_EQ(xmllib_init(nullptr), -1);
  EXPECT_EQ(last_error(), "a program name has 1 to 64 characters, not 0");
  EXPECT_EQ(xmllib_init(""), -1);
  EXPECT_EQ(xmllib_init(std::string(65, 'n').c_str()), -1);
  EXPECT_EQ(last_error(), "a program name has 1 to 64 characters, not 65");
  EXPECT_EQ(xmllib_load_config(), -1);
  EXPECT_EQ(last_error(), "the XML library is not started");
  EXPECT_EQ(xmllib_init(std::string(64, 'n').c_str()), 0);
  EXPECT_EQ(last_error(), "");
}

TEST_F(Load, NothingWorksBeforeTheStart) {
  ASSERT_EQ(xmllib_term(), 0);
  int number = 0;
  int size = sizeof number;
  EXPECT_EQ(xmllib_load_config(), -1);
  EXPECT_EQ(xmllib_load_policy("all"), -1);
  EXPECT_EQ(xmllib_unload_policy("all"), -1);
  EXPECT_EQ(xmllib_get_value("/root/a", XMLLIB_INT, &number, &size), -1);
  EXPECT_EQ(xmllib_unload_config(), -1);
  EXPECT_EQ(xmllib_term(), -1);
  EXPECT_EQ(last_error(), "the XML library is not started");
}

TEST_F(Load, ASecondStartDropsWhatWasLoaded) {
  load_policy("all", "<root><a>1</a></root>");
  ASSERT_EQ(xmllib_init("again"), 0);
  EXPECT_EQ(xmllib_unload_policy("all"), -1);
  EXPECT_EQ(last_error(), "again: the policy section \"all\" is not loaded");
}

TEST_F(Load, AFailedStartLeavesWhatWasLoaded) {
  load_policy("all", "<root><a>1</a></root>");
  EXPECT_EQ(xmllib_init(""), -1);
  EXPECT_EQ(xmllib_unload_policy("all"), 0);
}

TEST_F(Load, MissingFilesAreNamed) {
  EXPECT_EQ(xmllib_load_config(), -1);
  EXPECT_EQ(last_error(), file("cluster.xml") + ": cannot be opened: No such file or directory");
  EXPECT_EQ(xmllib_load_policy("webalert"), -1);
  EXPECT_EQ(last_error(), file("webalert.xml") + ": cannot be opened: No such file or directory");
}

TEST_F(Load, AnUnreadableFileIsNamedWithItsReason) {
  write("cluster.xml", "<root/>");
  ASSERT_EQ(::chmod(file("cluster.xml").c_str(), 0), 0);
  ASSERT_EQ(::chmod(directory_.path().c_str(), 0755), 0);
  Child child([&] {
    if (::getuid() == 0 && ::setuid(65534) != 0) {
      return 2;
    }
    const std::string expected = file("cluster.xml") + ": cannot be opened: Permission denied";
    return xmllib_load_config() == -1 && last_error() == expected ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(Load, SomethingElseThanAFileIsRefused) {
  ASSERT_TRUE(std::filesystem::create_directory(file("cluster.xml")));
  EXPECT_EQ(xmllib_load_config(), -1);
  EXPECT_EQ(last_error(), file("cluster.xml") + ": is not a regular file");
  ASSERT_EQ(::mkfifo(file("all.xml").c_str(), 0600), 0);
  EXPECT_EQ(xmllib_load_policy("all"), -1);
  EXPECT_EQ(last_error(), file("all.xml") + ": is not a regular file");
}

TEST_F(Load, AHugeFileIsRefused) {
  write("cluster.xml", "<root/>");
  std::filesystem::resize_file(file("cluster.xml"), (4 << 20) + 1);
  EXPECT_EQ(xmllib_load_config(), -1);
  EXPECT_EQ(last_error(), file("cluster.xml") + ": is larger than 4194304 bytes");
}

TEST_F(Load, BrokenXmlIsToldWithItsLine) {
  const std::string at = file("cluster.xml") + ":";
  EXPECT_EQ(error_of("<root>\n<a>\n</b>\n</root>\n"),
            at + "3: not well-formed XML: Start-end tags mismatch");
  EXPECT_EQ(error_of("<root>\n\n<a x=1></a></root>"),
            at + "3: not well-formed XML: Error parsing element attribute");
  EXPECT_EQ(error_of("<root>\n<!-- no end\n"),
            at + "2: not well-formed XML: Error parsing comment");
  EXPECT_EQ(error_of(""), at + "1: not well-formed XML: No document element found");
  EXPECT_EQ(error_of("no xml\nat all"), at + "2: not well-formed XML: No document element found");
  EXPECT_EQ(error_of(std::string("<root>\n<a>1\0</a>\n</root>", 23)).substr(0, at.size() + 23),
            at + "2: not well-formed XML:");
}

TEST_F(Load, AWrongRootElementIsToldWithItsLine) {
  const std::string at = file("cluster.xml") + ":";
  EXPECT_EQ(error_of("<?xml version=\"1.0\"?>\n<!-- c -->\n<config>\n</config>\n"),
            at + "3: the root element is <config>, not <root>");
  EXPECT_EQ(error_of("<root>\n</root>\n<more/>"),
            at + "3: not well-formed XML: element <more> after the root element");
}

/* The file may be half written, or hit by a disk error: whatever comes, an answer with its line. */
TEST_F(Load, EveryTruncationIsRefused) {
  const std::string whole =
      "<?xml version=\"1.0\"?>\n<root>\n <a b='c'>1&lt;</a><!-- x -->\n</root>";
  write("cluster.xml", whole);
  ASSERT_EQ(xmllib_load_config(), 0);
  for (size_t length = 0; length < whole.size(); length++) {
    EXPECT_TRUE(error_of(whole.substr(0, length)).starts_with(file("cluster.xml") + ":"))
        << "cut to " << length;
  }
}

TEST_F(Load, EveryDamagedByteGivesAnAnswer) {
  const std::string whole = "<root>\n <a b='c'>1&lt;2</a><![CDATA[x]]><!-- x -->\n</root>";
  for (size_t position = 0; position < whole.size(); position++) {
    for (const char byte : {'\0', '<', '>', '&', '"', '\xff'}) {
      std::string damaged = whole;
      damaged[position] = byte;
      write("cluster.xml", damaged);
      const int result = xmllib_load_config();
      char text[16];
      int size = sizeof text;
      EXPECT_TRUE(result == 0 || last_error().starts_with(file("cluster.xml") + ":"))
          << "byte " << int(byte) << " at " << position;
      (void)xmllib_get_value("/root/a", XMLLIB_TEXT, text, &size);
      EXPECT_TRUE(size >= 0 && size <= 16);
    }
  }
}

TEST_F(Load, DeepNestingIsRead) {
  std::string open;
  std::string close;
  std::string key = "/root";
  for (int i = 0; i < 50000; i++) {
    open += "<a>";
    close += "</a>";
    key += "/a";
  }
  write("cluster.xml", "<root>" + open + "7" + close + "</root>");
  ASSERT_EQ(xmllib_load_config(), 0) << last_error();
  int number = 0;
  int size = sizeof number;
  EXPECT_EQ(xmllib_get_value(key.c_str(), XMLLIB_INT, &number, &size), 0);
  EXPECT_EQ(number, 7);
}

TEST_F(Load, NamesThatAreNoSectionsAreRefused) {
  for (const char* name : {"", "../all", "a/b", "a.b", "a b", "\xc3\xa4"}) {
    EXPECT_EQ(xmllib_load_policy(name), -1);
    EXPECT_EQ(last_error(),
              std::string("tester: \"") + name + "\" is not the name of a policy section");
  }
  EXPECT_EQ(xmllib_load_policy(nullptr), -1);
  EXPECT_EQ(last_error(), "tester: \"\" is not the name of a policy section");
  EXPECT_EQ(xmllib_load_policy(std::string(65, 's').c_str()), -1);
  load_policy("Policy_2-b", "<root/>");
}

TEST_F(Load, ASectionThatFailsToLoadAgainIsNotLoaded) {
  load_policy("all", "<root/>");
  write("all.xml", "<root>");
  EXPECT_EQ(xmllib_load_policy("all"), -1);
  EXPECT_EQ(xmllib_unload_policy("all"), -1);
  EXPECT_EQ(last_error(), "tester: the policy section \"all\" is not loaded");
}

TEST_F(Load, UnloadingTellsWhatWasNotLoaded) {
  EXPECT_EQ(xmllib_unload_policy(nullptr), -1);
  EXPECT_EQ(last_error(), "tester: the policy section \"\" is not loaded");
  load_policy("all", "<root/>");
  EXPECT_EQ(xmllib_unload_config(), -1);
  EXPECT_EQ(last_error(), "tester: cluster.xml is not loaded");
  EXPECT_EQ(xmllib_unload_policy("all"), 0);
  EXPECT_EQ(xmllib_unload_policy("all"), -1);
}

TEST_F(Load, UnloadingTheConfigurationForgetsTheSectionsToo) {
  write("cluster.xml", "<root/>");
  ASSERT_EQ(xmllib_load_config(), 0);
  load_policy("all", "<root/>");
  EXPECT_EQ(xmllib_unload_config(), 0);
  EXPECT_EQ(xmllib_unload_policy("all"), -1);
  EXPECT_EQ(xmllib_unload_config(), -1);
}

TEST_F(Load, AClusterFileThatFailsToLoadAgainIsNotLoaded) {
  write("cluster.xml", "<root/>");
  ASSERT_EQ(xmllib_load_config(), 0);
  write("cluster.xml", "<root>");
  EXPECT_EQ(xmllib_load_config(), -1);
  EXPECT_EQ(xmllib_unload_config(), -1);
}

TEST_F(Load, WithoutTheVariableTheSystemDirectoryIsUsed) {
  const ScopedVariable unset("QEL_CONFIG_DIR", "");
  ASSERT_EQ(xmllib_init("tester"), 0);
  EXPECT_EQ(xmllib_load_policy("qel-test-no-such-section"), -1);
  EXPECT_EQ(
      last_error(),
      "/etc/qelalert/qel-test-no-such-section.xml: cannot be opened: No such file or directory");
}

TEST_F(Load, APlainCProgramReadsANumber) {
  write("all.xml", "<root><a>42</a></root>");
  EXPECT_EQ(c_read_number("all", "/root/a"), 42);
}

TEST(Times, TheTickClockIsTheSystemsAndNeedsNoBuffer) {
  struct tms usage = {-1, -1, -1, -1};
  const clock_t before = ::times(nullptr);
  const clock_t first = xmllib_times(nullptr);
  const clock_t second = xmllib_times(&usage);
  const clock_t after = ::times(nullptr);
  EXPECT_LE(before, first);
  EXPECT_LE(first, second);
  EXPECT_LE(second, after);
  EXPECT_GE(usage.tms_utime, 0);
}

}  // namespace
