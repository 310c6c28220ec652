// Wrong options and values of the subcommands that read: refused by name and value.
#include "reading.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

struct BadOption {
  const char* name;
  std::vector<std::string> call;
  std::vector<std::string> parts;  // of the message
};

class ReadingOption : public ReadingTest, public ::testing::WithParamInterface<BadOption> {};

TEST_P(ReadingOption, BadValueIsRefusedByNameAndValue) {
  store_five();
  const auto before = cluster_.store_files();
  expect_refused(qelalert(GetParam().call), 2, GetParam().parts);
  EXPECT_EQ("", alt_test::first_difference(cluster_.store_files(), before));
}

std::string name_of(const ::testing::TestParamInfo<BadOption>& test) { return test.param.name; }

INSTANTIATE_TEST_SUITE_P(
    Period, ReadingOption,
    ::testing::Values(
        BadOption{"since", {"list", "-S", "31.1.2024"}, {"--since", "\"31.1.2024\"", "today"}},
        BadOption{"empty_since", {"list", "-S", ""}, {"--since", "\"\"", "today"}},
        BadOption{"since_zone",
                  {"list", "-S", "2024-01-31T10:00:00+25:00"},
                  {"--since", "\"2024-01-31T10:00:00+25:00\"", "RFC 3339"}},
        BadOption{"since_time_of_day", {"list", "-S", "24:00"}, {"--since", "\"24:00\"", "HH:MM"}},
        BadOption{"until", {"list", "-U", "-1y"}, {"--until", "\"-1y\"", "-1h"}},
        BadOption{"last", {"list", "--last", "2y"}, {"--last", "\"2y\"", "such as 2h"}},
        BadOption{"last_sign", {"list", "--last=-2h"}, {"--last", "\"-2h\"", "such as 2h"}},
        BadOption{"last_and_since",
                  {"list", "--last", "2h", "-S", "today"},
                  {"--last", "--since", "excludes"}},
        BadOption{"order",
                  {"list", "-S", "2024/02/01", "-U", "2024/01/31"},
                  {"--until", "2024/01/31 00:00:00.000", "before", "2024/02/01 00:00:00.000"}},
        BadOption{"order_count",
                  {"count", "-S", "2024/02/01", "-U", "2024/01/31"},
                  {"--until", "before", "count --help"}},
        BadOption{"order_stats",
                  {"stats", "--last", "1h", "-U", "2024/01/31"},
                  {"--until", "before", "stats --help"}},
        BadOption{"order_export",
                  {"export", "-S", "2024/02/01", "-U", "2024/01/31"},
                  {"--until", "before", "export --help"}},
        BadOption{"order_follow",
                  {"follow", "-S", "2024/02/01", "-U", "2024/01/31"},
                  {"--until", "before", "follow --help"}}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    Filter, ReadingOption,
    ::testing::Values(
        BadOption{"server", {"list", "-s", std::string(65, 's')}, {"--server", "sss", "1 to 64"}},
        BadOption{"refused_server",
                  {"list", "-s", "!" + std::string(65, 's')},
                  {"--server", "sss", "1 to 64"}},
        BadOption{"refused_nothing", {"list", "-s", "!"}, {"--server", "\"\"", "1 to 64"}},
        BadOption{"module", {"list", "-m", std::string(32, 'm')}, {"--module", "mmm", "1 to 31"}},
        BadOption{"event", {"list", "-i", "12345678"}, {"--event", "12345678", "1 to 7"}},
        BadOption{"blank_event", {"list", "-i", " "}, {"--event", "\" \"", "1 to 7"}},
        BadOption{"second_event", {"list", "-i", "1", "-i", " "}, {"--event", "\" \"", "1 to 7"}},
        BadOption{"level", {"list", "-p", "4"}, {"--level", "\"4\"", "1 to 3"}},
        BadOption{"level_turned", {"list", "-p", "3..1"}, {"--level", "\"3..1\"", "1..2"}},
        BadOption{"level_open", {"list", "-p", "1.."}, {"--level", "\"1..\"", "1..2"}},
        BadOption{"level_three", {"list", "-p", "1..2..3"}, {"--level", "\"1..2..3\"", "1..2"}},
        BadOption{"refused_level", {"list", "-p", "!0"}, {"--level", "\"0\"", "1 to 3"}},
        BadOption{"grep", {"list", "-g", "("}, {"--grep", "\"(\"", "regular expression"}},
        BadOption{"empty_grep", {"list", "-g", ""}, {"--grep", "empty"}},
        BadOption{"count_level", {"count", "-p", "0"}, {"--level", "\"0\"", "count --help"}},
        BadOption{"gaps_server", {"gaps", "-s", ""}, {"--server", "1 to 64", "gaps --help"}},
        BadOption{"gaps_module", {"gaps", "-m", "disk"}, {"\"-m\"", "gaps --help"}}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    Form, ReadingOption,
    ::testing::Values(
        BadOption{"lines", {"list", "-n", "0"}, {"--lines", "\"0\"", "from 1"}},
        BadOption{"lines_text", {"list", "-n", "ten"}, {"--lines", "\"ten\"", "from 1"}},
        BadOption{"lines_octal", {"list", "-n", "010"}, {"--lines", "\"010\"", "from 1"}},
        BadOption{"lines_huge", {"list", "-n", "2147483648"}, {"--lines", "2147483648"}},
        BadOption{"follow_lines", {"follow", "-n", "-1"}, {"--lines", "\"-1\"", "from 0"}},
        BadOption{"stats_lines", {"stats", "-n", "0"}, {"--lines", "\"0\"", "from 1"}},
        BadOption{"stats_by", {"stats", "--by", "day"}, {"--by", "\"day\"", "server|module"}},
        BadOption{"stats_output", {"stats", "-o", "csv"}, {"--output", "\"csv\"", "text|json"}},
        BadOption{"gaps_output", {"gaps", "-o", "table"}, {"--output", "\"table\"", "text|json"}},
        BadOption{"follow_reverse", {"list", "-f", "-r"}, {"--follow", "--reverse", "excludes"}},
        BadOption{"output", {"list", "-o", "xml"}, {"--output", "\"xml\"", "short|full|table"}},
        BadOption{"fields", {"list", "--fields", "id,nme"}, {"--fields", "\"nme\"", "alert, id"}},
        BadOption{"empty_field", {"list", "--fields", ""}, {"--fields", "alert, id"}},
        BadOption{"fields_of_short",
                  {"list", "-o", "short", "--fields", "id"},
                  {"--fields", "\"short\"", "table"}},
        BadOption{"color", {"list", "--color", "red"}, {"--color", "\"red\"", "auto|always|never"}},
        BadOption{"last_count", {"last", "0"}, {"N", "\"0\"", "from 1"}},
        BadOption{"last_text", {"last", "3x"}, {"N", "\"3x\"", "from 1"}},
        BadOption{"last_output", {"last", "-o", "yaml"}, {"--output", "\"yaml\"", "json"}},
        BadOption{"show_nothing", {"show"}, {"SERVER/ID", "required"}},
        BadOption{"show_no_id", {"show", "node1"}, {"\"node1\"", "node1/17"}},
        BadOption{"show_zero", {"show", "node1/0"}, {"\"node1/0\"", "node1/17"}},
        BadOption{"show_huge", {"show", "node1/4294967296"}, {"\"node1/4294967296\""}},
        BadOption{"show_rest", {"show", "node1/7x"}, {"\"node1/7x\"", "node1/17"}},
        BadOption{"show_no_server", {"show", "/7"}, {"\"/7\"", "node1/17"}},
        BadOption{"complete", {"complete", "message"}, {"FIELD", "\"message\"", "server|module"}},
        BadOption{"complete_nothing", {"complete"}, {"FIELD", "required"}},
        BadOption{"extra", {"list", "node1"}, {"node1", "list --help"}},
        BadOption{"unknown", {"list", "--sevrer", "node1"}, {"--sevrer", "list --help"}},
        BadOption{"gone", {"list", "--page", "2"}, {"--page", "list --help"}}),
    name_of);

}  // namespace
}  // namespace qel::cli::testing
