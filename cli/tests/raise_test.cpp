// qelalert raise: the line that it leaves in the intake file, and everything that it refuses.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "alerts/time_text.h"
#include "common/unique_fd.h"
#include "intake_line.h"
#include "support.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

constexpr size_t kIntakeLimit = 4194304;

// A column that holds a real time with milliseconds.
void expect_full_time(const std::string& column) {
  const std::string time = column.substr(0, 23);
  EXPECT_EQ(time, parse_time(time).value_or("no time"));
  EXPECT_EQ(' ', column[23]);
}

class Raise : public CliTest {
 protected:
  std::string intake() const {
    return alt_test::read_file(cluster_.store_path("alerttmp.alt")).value_or("");
  }

  // Whatever is wrong with the call, no file of the store may change.
  void expect_unchanged_after(const std::vector<std::string>& arguments, int exit_code,
                              const std::vector<std::string>& parts,
                              const RunOptions& options = {}) const {
    const auto before = cluster_.store_files();
    expect_refused(qelalert(arguments, options), exit_code, parts);
    EXPECT_EQ("", alt_test::first_difference(cluster_.store_files(), before));
  }
};

TEST_F(Raise, AllOptionsGiveOneLineWithTheirTexts) {
  const Result result = qelalert({"raise", "-i", "1001", "-p", "2", "-m", "disk", "-s", "node7",
                                  "--time", "2024/01/31 23:59:59.123", "disk 3 failed"});
  EXPECT_EQ(0, result.exit_code) << result.err;
  EXPECT_EQ("", result.out);
  EXPECT_EQ("", result.err);
  const std::string bytes = intake();
  ASSERT_EQ(kLineSize, bytes.size());
  const IntakeLine line(bytes);
  EXPECT_EQ(padded("0", 10), line.id);
  expect_full_time(line.written);
  EXPECT_EQ("2024/01/31 23:59:59.123 ", line.raised);
  EXPECT_EQ(padded("node7", 65), line.server);
  EXPECT_EQ(padded("disk", 32), line.module);
  EXPECT_EQ(padded("1001", 8), line.event);
  EXPECT_EQ(padded("2", 8), line.level);
  EXPECT_EQ(padded("disk 3 failed", 512), line.message);
  EXPECT_EQ("\n", line.end);
}

TEST_F(Raise, DefaultsAreLevel3ThisServerAndNow) {
  char host[256] = {};
  ASSERT_EQ(0, gethostname(host, sizeof host - 1));
  const std::string full_name = host;
  ASSERT_EQ(0, qelalert({"raise", "-i", "1", "-m", "m", "text"}).exit_code);
  const std::string bytes = intake();
  ASSERT_EQ(kLineSize, bytes.size());
  const IntakeLine line(bytes);
  EXPECT_EQ(padded("3", 8), line.level);
  EXPECT_EQ(padded(full_name.substr(0, full_name.find('.')), 65), line.server);
  expect_full_time(line.raised);
}

TEST_F(Raise, LongestTextsAreKeptWhole) {
  const std::string event(7, 'e');
  const std::string module(31, 'm');
  const std::string server(64, 's');
  const std::string text(511, 't');
  ASSERT_EQ(0, qelalert({"raise", "-i", event, "-m", module, "-s", server, text}).exit_code);
  const std::string bytes = intake();
  ASSERT_EQ(kLineSize, bytes.size());
  const IntakeLine line(bytes);
  EXPECT_EQ(event + " ", line.event);
  EXPECT_EQ(module + " ", line.module);
  EXPECT_EQ(server + " ", line.server);
  EXPECT_EQ(text + " ", line.message);
}

TEST_F(Raise, EachCallAppendsALine) {
  for (const char* text : {"first", "second", "third"}) {
    ASSERT_EQ(0, qelalert({"raise", "-i", "1", "-m", "m", text}).exit_code);
  }
  const std::string bytes = intake();
  ASSERT_EQ(3 * kLineSize, bytes.size());
  EXPECT_EQ(padded("second", 512), IntakeLine(bytes.substr(kLineSize, kLineSize)).message);
}

TEST_F(Raise, MessageInUtf8IsKeptByteForByte) {
  ASSERT_EQ(0, qelalert({"raise", "-i", "1", "-m", "m", "T\u00fcr \u8b66"}).exit_code);
  EXPECT_EQ(padded("T\u00fcr \u8b66", 512), IntakeLine(intake()).message);
}

TEST_F(Raise, MessageThatLooksLikeAnOptionIsTakenBehindTwoDashes) {
  ASSERT_EQ(0, qelalert({"raise", "-i", "1", "-m", "m", "--", "--help"}).exit_code);
  EXPECT_EQ(padded("--help", 512), IntakeLine(intake()).message);
}

TEST_F(Raise, DashReadsOneLineOfStandardInput) {
  ASSERT_EQ(0,
            qelalert({"raise", "-i", "1", "-m", "m", "-"}, {.input = "from a pipe\n"}).exit_code);
  EXPECT_EQ(padded("from a pipe", 512), IntakeLine(intake()).message);
}

TEST_F(Raise, StandardInputWithoutLineEndIsALineToo) {
  ASSERT_EQ(0, qelalert({"raise", "-i", "1", "-m", "m", "-"}, {.input = "no end"}).exit_code);
  EXPECT_EQ(padded("no end", 512), IntakeLine(intake()).message);
}

TEST_F(Raise, LongestLineOfStandardInputIsKeptWhole) {
  const RunOptions options{.input = std::string(511, 'x') + "\n"};
  ASSERT_EQ(0, qelalert({"raise", "-i", "1", "-m", "m", "-"}, options).exit_code);
  EXPECT_EQ(std::string(511, 'x') + " ", IntakeLine(intake()).message);
}

TEST_F(Raise, BadStandardInputIsRefused) {
  const std::vector<std::string> call = {"raise", "-i", "1", "-m", "m", "-"};
  const std::string nul("a\0b", 3);
  expect_unchanged_after(call, 2, {"MESSAGE", "\"\"", "empty", "511"});
  expect_unchanged_after(call, 2, {"MESSAGE", "empty", "511"}, {.input = "\n"});
  expect_unchanged_after(call, 2, {"MESSAGE", "blank", "511"}, {.input = "   \n"});
  expect_unchanged_after(call, 2, {"MESSAGE", "\"a\\x0ab\"", "control"}, {.input = "a\nb\n"});
  expect_unchanged_after(call, 2, {"MESSAGE", "\"a\\x00b\"", "control"}, {.input = nul});
  expect_unchanged_after(call, 2, {"MESSAGE", "xxx", "too long", "511"},
                         {.input = std::string(512, 'x')});
  expect_unchanged_after(call, 2, {"MESSAGE", "xxx", "too long", "511"},
                         {.input = std::string(100000, 'x') + "\n"});
}

// Options with a text, each with a good value; `option` gets another one.
std::vector<std::string> call_with(const std::string& option, const std::string& value) {
  std::map<std::string, std::string> texts = {
      {"--event", "1001"}, {"--module", "disk"}, {"--server", "node1"}, {"MESSAGE", "text"}};
  texts[option] = value;
  std::vector<std::string> call = {"raise", texts["MESSAGE"]};
  texts.erase("MESSAGE");
  for (const auto& [name, text] : texts) call.insert(call.end(), {name, text});
  return call;
}

struct TextLimit {
  const char* option;
  size_t limit;
};

class RaiseText : public Raise, public ::testing::WithParamInterface<TextLimit> {};

TEST_P(RaiseText, UnfitTextIsRefusedByNameValueAndLimit) {
  const std::string option = GetParam().option;
  const std::string limit = "1 to " + std::to_string(GetParam().limit) + " bytes";
  const std::string too_long(GetParam().limit + 1, 'x');
  const std::string shown = too_long.substr(0, std::min<size_t>(too_long.size(), 57));
  ASSERT_EQ(0, qelalert(call_with(option, too_long.substr(1))).exit_code);
  expect_unchanged_after(call_with(option, too_long), 2, {option, "\"" + shown, "too long", limit});
  expect_unchanged_after(call_with(option, ""), 2, {option, "\"\"", "empty", limit});
  expect_unchanged_after(call_with(option, "  "), 2, {option, "\"  \"", "blank", limit});
  expect_unchanged_after(call_with(option, "a\nb"), 2, {option, "\"a\\x0ab\"", "control", limit});
  expect_unchanged_after(call_with(option, "a\r"), 2, {option, "\"a\\x0d\"", "control", limit});
  expect_unchanged_after(call_with(option, "\x1b[m"), 2, {option, "\"\\x1b[m\"", "control", limit});
  expect_unchanged_after(call_with(option, "\x7f"), 2, {option, "\"\\x7f\"", "control", limit});
}

INSTANTIATE_TEST_SUITE_P(Options, RaiseText,
                         ::testing::Values(TextLimit{"--event", 7}, TextLimit{"--module", 31},
                                           TextLimit{"--server", 64}, TextLimit{"MESSAGE", 511}),
                         [](const auto& test) {
                           const std::string name = test.param.option;
                           return name.starts_with("--") ? name.substr(2) : name;
                         });

TEST_F(Raise, LevelOtherThan1To3IsRefused) {
  for (const char* level : {"0", "4", "", "high", "01", "1 "}) {
    expect_unchanged_after({"raise", "-i", "1", "-m", "m", "-p", level, "text"}, 2,
                           {"--level", "\"" + std::string(level) + "\"", "1|2|3"});
  }
}

TEST_F(Raise, TextThatIsNoTimeIsRefused) {
  for (const char* time : {"2024/02/30 10:00:00", "2024/01/31", "yesterday", "-1h", "now", ""}) {
    expect_unchanged_after({"raise", "-i", "1", "-m", "m", "--time", time, "text"}, 2,
                           {"--time", "\"" + std::string(time) + "\"", "YYYY/MM/DD"});
  }
}

TEST_F(Raise, TimeoutThatIsNoNumberFrom1IsRefused) {
  for (const char* seconds : {"0", "-1", "1.5", "soon"}) {
    expect_unchanged_after({"raise", "-i", "1", "-m", "m", "--wait", "--timeout", seconds, "text"},
                           2, {"--timeout", "\"" + std::string(seconds) + "\"", "from 1"});
  }
}

TEST_F(Raise, MissingOptionsAreNamed) {
  expect_unchanged_after({"raise", "-m", "m", "text"}, 2, {"--event", "required"});
  expect_unchanged_after({"raise", "-i", "1", "text"}, 2, {"--module", "required"});
  expect_unchanged_after({"raise", "-i", "1", "-m", "m"}, 2, {"MESSAGE", "required"});
  expect_unchanged_after({"raise", "text", "-m", "m", "-i"}, 2, {"--event"});
}

TEST_F(Raise, SecondMessageIsRefused) {
  expect_unchanged_after({"raise", "-i", "1", "-m", "m", "disk", "failed"}, 2, {"failed"});
}

TEST_F(Raise, FullIntakeFileIsTheReasonGiven) {
  alt_test::write_file(cluster_.store_path("alerttmp.alt"), std::string(kIntakeLimit + 1, ' '));
  expect_unchanged_after(
      {"raise", "-i", "1", "-m", "m", "text"}, 1,
      {"not accepted", "temporary file's size is too large,alert can not be wrote",
       cluster_.store_path("alerttmp.alt"), "4194305", "4194304", cluster_.diagnostic_log()});
}

TEST_F(Raise, IntakeFileAtItsLimitTakesOneMoreLine) {
  alt_test::write_file(cluster_.store_path("alerttmp.alt"), std::string(kIntakeLimit, ' '));
  EXPECT_EQ(0, qelalert({"raise", "-i", "1", "-m", "m", "text"}).exit_code);
  EXPECT_EQ(kIntakeLimit + kLineSize, intake().size());
}

TEST_F(Raise, IntakeFileWithoutWriteAccessIsTheReasonGiven) {
  const std::string path = cluster_.store_path("alerttmp.alt");
  alt_test::write_file(path, "");
  ASSERT_EQ(0, chmod(path.c_str(), 0444));
  expect_unchanged_after({"raise", "-i", "1", "-m", "m", "text"}, 1,
                         {"cannot open " + path, "Permission denied", cluster_.diagnostic_log()},
                         {.prepare = obey_file_rights});
}

TEST_F(Raise, DirectoryInPlaceOfTheIntakeFileIsTheReasonGiven) {
  const std::string path = cluster_.store_path("alerttmp.alt");
  ASSERT_EQ(0, mkdir(path.c_str(), 0755));
  const Result result = qelalert({"raise", "-i", "1", "-m", "m", "text"});
  expect_refused(result, 1, {"cannot open " + path, "Is a directory", cluster_.diagnostic_log()});
}

TEST_F(Raise, StoreDirectoryWithoutWriteAccessIsTheReasonGiven) {
  const std::string directory = cluster_.store_path("");
  ASSERT_EQ(0, chmod(directory.c_str(), 0555));
  expect_unchanged_after({"raise", "-i", "1", "-m", "m", "text"}, 1,
                         {"cannot create " + cluster_.store_path("alerttmp.alt"),
                          "Permission denied", cluster_.diagnostic_log()},
                         {.prepare = obey_file_rights});
}

TEST_F(Raise, FileSizeLimitIsTheReasonGiven) {
  alt_test::write_file(cluster_.store_path("alerttmp.alt"), std::string(100 * kLineSize, ' '));
  const auto limit_files = [] {
    const rlimit limit{100 * kLineSize + 100, 100 * kLineSize + 100};
    (void)setrlimit(RLIMIT_FSIZE, &limit);
  };
  expect_unchanged_after({"raise", "-i", "1", "-m", "m", "text"}, 1,
                         {"cannot write " + cluster_.store_path("alerttmp.alt"), "File too large"},
                         {.prepare = limit_files});
}

// A prepare function's exit code for what this system does not allow.
constexpr int kNotPossible = 77;

// Puts a file system of one page, with no room left in it, in place of the directory. The program
// alone sees it.
void fill_disk_at(const std::string& directory) {
  const bool alone = unshare(CLONE_NEWNS) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
  if (!alone || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", directory.c_str(), "tmpfs", 0, "size=4k,mode=0755") != 0) {
    _exit(kNotPossible);
  }
  const UniqueFd file(open((directory + "/filler").c_str(), O_WRONLY | O_CREAT, 0644));
  const std::string page(4096, 'x');
  if (write(file.get(), page.data(), page.size()) != 4096) _exit(kNotPossible);
}

TEST_F(Raise, FullDiskIsTheReasonGiven) {
  const std::string directory = cluster_.store_path("");
  const Result result = qelalert({"raise", "-i", "1", "-m", "m", "text"},
                                 {.prepare = [&] { fill_disk_at(directory); }});
  if (result.exit_code == kNotPossible) GTEST_SKIP() << "no right to mount a file system";
  expect_refused(result, 1,
                 {"cannot write " + directory + "alerttmp.alt", "No space left on device",
                  cluster_.diagnostic_log()});
}

}  // namespace
}  // namespace qel::cli::testing
