// The table of keys, held against the sample configuration and printed for the manual.
#include "configuration/keys.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <pugixml.hpp>
#include <regex>
#include <set>

#include "configuration/rules.h"
#include "configuration_files.h"
#include "qelxml/xml_file.h"

namespace qel::configuration {

void PrintTo(const Key& key, std::ostream* out) { *out << key.path; }

namespace {

using configuration_test::ConfigurationFiles;

bool is_of_a_server(const Key& key) { return section_of(key.path) == "cluster"; }
bool has_no_default(const Key& key) { return !key.required && *key.standard == '\0'; }
std::string sample_path(std::string_view section) {
  return std::string(QEL_SAMPLE_CONFIG) + "/" + std::string(section) + ".xml";
}

// ---- the table itself ---------------------------------------------------------------------------

TEST(Keys, EachIsThereOnceInASectionThatExists) {
  std::set<std::string> paths;
  for (const Key& key : kKeys) {
    EXPECT_TRUE(paths.insert(key.path).second) << key.path;
    EXPECT_NE(std::end(kSections),
              std::find(std::begin(kSections), std::end(kSections), section_of(key.path)))
        << key.path;
    EXPECT_TRUE(std::string(key.help).ends_with(".")) << key.path;
  }
}

std::string fault_of_standard(const Key& key) {
  if (key.kind != Kind::kNumber && key.kind != Kind::kLevel) return text_fault(key, key.standard);
  int number = 0;
  const std::string no_int = int_fault(key.standard, &number);
  return no_int.empty() ? number_fault(key, number) : no_int;
}

TEST(Keys, DefaultsAreAllowedValues) {
  for (const Key& key : kKeys) {
    if (has_no_default(key) || is_of_a_server(key)) continue;
    EXPECT_EQ("", fault_of_standard(key)) << key.path;
  }
}

TEST(Keys, DefaultsOfNumbersAreThoseOfTheTable) {
  EXPECT_EQ(300, default_number("/root/webalert/daemon/servercheck"));
  EXPECT_EQ(1000, default_number("/root/webalert/daemon/sync/batches"));
}

// ---- the sample ---------------------------------------------------------------------------------

TEST(SampleConfiguration, IsValidWithoutAWarning) {
  const ConfigurationFiles files;
  EXPECT_EQ("configuration " QEL_SAMPLE_CONFIG " is valid\n",
            files.check("'" QEL_SAMPLE_CONFIG "'").output);
}

class KeyOfTheSample : public ::testing::TestWithParam<Key> {
 protected:
  KeyOfTheSample() {
    document_.load_file(sample_path(section_of(GetParam().path)).c_str(),
                        pugi::parse_default | pugi::parse_comments);
    element_ = document_.first_element_by_path(GetParam().path);
  }
  // The comment before the element, in one line.
  std::string comment() const {
    const pugi::xml_node before = element_.previous_sibling();
    if (before.type() != pugi::node_comment) return {};
    return std::regex_replace(std::string(before.value()), std::regex("\\s+"), " ");
  }

  pugi::xml_document document_;
  pugi::xml_node element_;
};

// The keys that stand in the sample, or those that only its comments show.
bool is_shown_only(const Key& key) { return is_of_a_server(key) || has_no_default(key); }
std::vector<Key> keys_of(bool shown_only) {
  std::vector<Key> keys;
  std::copy_if(std::begin(kKeys), std::end(kKeys), std::back_inserter(keys),
               [&](const Key& key) { return is_shown_only(key) == shown_only; });
  return keys;
}
std::string name_of_key(const ::testing::TestParamInfo<Key>& info) {
  return std::regex_replace(std::string(info.param.path).substr(strlen("/root/")), std::regex("/"),
                            "_");
}
INSTANTIATE_TEST_SUITE_P(Table, KeyOfTheSample, ::testing::ValuesIn(keys_of(false)), name_of_key);

TEST_P(KeyOfTheSample, HasTheStandardValue) {
  ASSERT_TRUE(element_);
  EXPECT_STREQ(GetParam().standard, element_.child_value());
}

TEST_P(KeyOfTheSample, HasACommentThatTellsWhetherItIsRequired) {
  ASSERT_NE("", comment());
  EXPECT_EQ(GetParam().required, comment().find("Required.") != std::string::npos) << comment();
}

TEST_P(KeyOfTheSample, HasTheDefaultThatItsCommentTells) {
  const std::string text = comment();
  const std::regex told("(?:[Nn]ormally|[Dd]efault) ([0-9]+)|([0-9]+):[^.]*\\(default\\)");
  for (std::sregex_iterator it(text.begin(), text.end(), told), end; it != end; ++it) {
    EXPECT_EQ(GetParam().standard, (*it)[1].str() + (*it)[2].str()) << text;
  }
}

TEST_P(KeyOfTheSample, HasTheRangeThatItsCommentTells) {
  const std::string text = comment();
  const std::regex range("([0-9]+) (?:to ([0-9]+)|or more)");
  for (std::sregex_iterator it(text.begin(), text.end(), range), end; it != end; ++it) {
    EXPECT_EQ(std::to_string(GetParam().lowest), (*it)[1].str()) << text;
    if ((*it)[2].matched) {
      EXPECT_EQ(std::to_string(GetParam().highest), (*it)[2].str()) << text;
    }
  }
  const std::regex bytes("at most ([0-9]+) bytes");
  std::smatch most;
  if (std::regex_search(text, most, bytes)) {
    EXPECT_EQ(std::to_string(GetParam().highest), most[1].str()) << text;
  }
}

TEST_P(KeyOfTheSample, HasTheUnitThatItsCommentTells) {
  const std::string unit = GetParam().unit;
  const std::string text = comment();
  EXPECT_EQ(unit.starts_with("seconds"), text.find("Seconds") != std::string::npos) << text;
  EXPECT_EQ(unit.ends_with("(ratio)"), text.find("(ratio)") != std::string::npos) << text;
}

class KeyShownByTheSample : public KeyOfTheSample {};
INSTANTIATE_TEST_SUITE_P(Table, KeyShownByTheSample, ::testing::ValuesIn(keys_of(true)),
                         name_of_key);

TEST_P(KeyShownByTheSample, StandsInTheExampleOfAComment) {
  const std::string path = GetParam().path;
  const std::string element = "<" + path.substr(path.rfind('/') + 1) + ">";
  EXPECT_NE(std::string::npos, testing::read_file(sample_path(section_of(path))).find(element));
}

TEST(SampleOfTheCluster, TellsTheLimitsOfTheTable) {
  const std::string text =
      std::regex_replace(testing::read_file(sample_path("cluster")), std::regex("\\s+"), " ");
  for (const std::string& limit : {"at most " + std::to_string(kServersMax) + " servers",
                                   "1 to " + std::to_string(kServerNameMax) + " letters",
                                   "at most " + std::to_string(kAddressesMax) + "."}) {
    EXPECT_NE(std::string::npos, text.find(limit)) << limit;
  }
}

// ---- the manual ---------------------------------------------------------------------------------

configuration_test::Result print_keys(const std::string& arguments) {
  FILE* const program =
      popen((std::string(QEL_PRINT_KEYS) + " " + arguments + " 2>&1").c_str(), "r");
  configuration_test::Result result = {-1, ""};
  if (program == nullptr) return result;
  char piece[4096];
  for (size_t size = 1; size > 0;) {
    size = fread(piece, 1, sizeof piece, program);
    result.output.append(piece, size);
  }
  const int status = pclose(program);
  result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 1000;
  return result;
}

TEST(PrintedKeys, HoldEveryKeyOfTheSectionAndNoOther) {
  for (const std::string_view section : kSections) {
    const configuration_test::Result printed = print_keys(std::string(section));
    EXPECT_EQ(0, printed.exit_code);
    for (const Key& key : kKeys) {
      const std::string entry = "\n.B " + std::string(key.path).substr(strlen("/root/")) + "\n";
      EXPECT_EQ(section_of(key.path) == section, printed.output.find(entry) != std::string::npos)
          << key.path;
    }
  }
}

TEST(PrintedKeys, TellHelpRangeAndDefaultInRoff) {
  const std::string printed = print_keys("webalert").output;
  for (const char* entry :
       {"\n.TP\n.B webalert/daemon/retries\nPeriods of \"resend\" after which a message is given "
        "up.\nWhole number, 2 to 1000. Default 3.\n",
        ".B webalert/daemon/timeout\nTime\\-out of the daemon; read and not used.\n"
        "Seconds. Required, normally 60.\n",
        "\nSeconds (ratio), 1 to 86400. Default 2.\n", "\nBytes, 1 or more. Required, normally ",
        "\nOne of 0, 1, 2, 4, 8, 16, 32. Required, normally 4.\n",
        "\nAbsolute path of at most 107 bytes. Default /run/qelalert/qelalertd.sock.\n",
        "\nNumeric address and port, an IPv6 address in brackets. Default 127.0.0.1:29080.\n",
        "\nAbsolute path of at most 1023 bytes. Default none.\n",
        "\nHost names without ports, separated by blanks, at most 1023 bytes. Default none.\n",
        "\nPath below all/path of at most 1023 bytes. Required, normally "}) {
    EXPECT_NE(std::string::npos, printed.find(entry)) << entry;
  }
  const std::string servers = print_keys("cluster").output;
  EXPECT_NE(std::string::npos, servers.find("\nAt most 8 times.\n"));
  EXPECT_NE(std::string::npos, servers.find("\nText of at most 64 bytes. Required.\n"));
}

// A dash alone would be a hyphen, and a line that begins with a dot a command.
TEST(PrintedKeys, HoldNothingThatRoffTakesForAnotherThing) {
  for (const std::string_view section : kSections) {
    const std::string printed = "\n" + print_keys(std::string(section)).output;
    const std::regex wrong("[^\\\\]-|\n['.](?!TP\n|B )|\\\\[^-\\[&]");
    std::smatch found;
    EXPECT_FALSE(std::regex_search(printed, found, wrong)) << found.str() << found.suffix();
  }
}

TEST(PrintedKeys, WrongSectionIsRefused) {
  EXPECT_EQ(2, print_keys("webalerts").exit_code);
  EXPECT_EQ(2, print_keys("").exit_code);
}

}  // namespace
}  // namespace qel::configuration
