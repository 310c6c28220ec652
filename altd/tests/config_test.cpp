// Settings: defaults, real configuration files in both modes, paths, start and end.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/times.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>

#include "alert_log.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/log_capture.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

// What the XML library was asked for, in order, and the call that is to fail.
Texts g_xml_calls;
std::string g_failing_call;

int xml_call(const std::string& call, const std::function<int()>& real) {
  g_xml_calls.push_back(call);
  return call == g_failing_call ? -1 : real();
}

template <typename Function>
Function hidden(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace
}  // namespace alt_test

using alt_test::hidden;
using alt_test::xml_call;

// The real library does the work of each.
extern "C" {
int xmllib_init(const char* name) {
  return xml_call(std::string("init ") + name,
                  [&] { return hidden<int (*)(const char*)>("xmllib_init")(name); });
}
int xmllib_load_config(void) {
  return xml_call("load config", [] { return hidden<int (*)()>("xmllib_load_config")(); });
}
int xmllib_load_policy(const char* section) {
  return xml_call(std::string("load ") + section,
                  [&] { return hidden<int (*)(const char*)>("xmllib_load_policy")(section); });
}
int xmllib_unload_policy(const char* section) {
  return xml_call(std::string("unload ") + section,
                  [&] { return hidden<int (*)(const char*)>("xmllib_unload_policy")(section); });
}
int xmllib_get_value(const char* key, int type, void* buffer, int* size) {
  return xml_call(key, [&] {
    return hidden<int (*)(const char*, int, void*, int*)>("xmllib_get_value")(key, type, buffer,
                                                                              size);
  });
}
int xmllib_unload_config(void) {
  return xml_call("unload config", [] { return hidden<int (*)()>("xmllib_unload_config")(); });
}
int xmllib_term(void) {
  return xml_call("term", [] { return hidden<int (*)()>("xmllib_term")(); });
}
}

namespace alt_test {
namespace {

// A directory of configuration files, which the real library reads.
class Config : public ::testing::Test {
 protected:
  Config() {
    std::string name = (std::filesystem::temp_directory_path() / "alt_test.XXXXXX").string();
    root_ = mkdtemp(name.data());
    setenv("QEL_CONFIG_DIR", root_.c_str(), 1);
    setenv("QEL_LOG_DIR", root_.c_str(), 1);
    LogCapture::instance().clear();
    g_xml_calls.clear();
    g_failing_call.clear();
    alt_log_handle = nullptr;
  }
  ~Config() override {
    if (term_ && alt_log_handle != nullptr) alert_log_lib_term();
    alt_log_handle = nullptr;
    unsetenv("QEL_CONFIG_DIR");
    unsetenv("QEL_LOG_DIR");
    remove_tree(root_);
  }

  // Starts the library; what it printed stands in printed_.
  int run(void* handle) {
    ::testing::internal::CaptureStdout();
    const int result = alert_log_lib_init(handle);
    fflush(stdout);
    printed_ = ::testing::internal::GetCapturedStdout();
    keep_strings();
    term_ = handle == nullptr && alt_log_handle != nullptr;
    return result;
  }
  int run_client() { return run(nullptr); }
  int run_daemon() { return run(&daemon_log_); }

  // Settings are never freed; the next start would lose the only pointers to them.
  static void keep_strings() {
    static auto* const kept = new std::vector<char*>;  // outlives the search for leaks
    for (char* setting : {sys_root_path, alt_alert_name, alt_cmd_path}) kept->push_back(setting);
  }

  std::string root_;
  std::string printed_;
  int daemon_log_ = 0;
  bool term_ = false;
};

class FullConfig : public Config {
 protected:
  FullConfig() {
    put("cluster", "");
    put("all", "<all><path>/opt/x</path><core>7</core></all>");
    put("alert",
        "<alert><path>alert/bin/</path><log><size>1000000</size><level>8</level></log></alert>");
    put("webalert", webalert());
  }
  std::string webalert() const {
    return "<webalert><use>" + use_ +
           "</use><daemon><udpport>29111</udpport><timeout>77</timeout>"
           "<sync><resynctimeinterval>600</resynctimeinterval></sync></daemon><main><alertlog>"
           "<name>" +
           name_ +
           "</name><maxrecordcount>123</maxrecordcount></alertlog>"
           "<log><size>2000000</size><level>16</level></log></main></webalert>" +
           dummy_;
  }
  void put(const std::string& file, const std::string& content) const {
    write_file(root_ + "/" + file + ".xml", "<root>" + content + "</root>");
  }
  // Takes an element out of a file, wherever it stands.
  void drop(const std::string& file, const std::string& name) const {
    std::string text = read_file(root_ + "/" + file + ".xml").value();
    const size_t begin = text.find("<" + name + ">");
    const std::string close = "</" + name + ">";
    text.erase(begin, text.find(close, begin) + close.size() - begin);
    write_file(root_ + "/" + file + ".xml", text);
  }

  std::string use_ = "1";
  std::string name_ = "log/alertlog.alt";
  std::string dummy_;
};

// ---- defaults -----------------------------------------------------------------------------------

TEST_F(Config, DefaultsAreTheDocumentedOnes) {
  alt_max_count = alt_timeout = alt_udp_port = 1;
  set_text(alt_path_only, "x");
  set_text(alt_name_only, "x");
  init_global_var();
  EXPECT_STREQ(alt_mod_type, "webalert");
  EXPECT_STREQ(alt_comment, "alert log message");
  EXPECT_STREQ(alt_cmd_path, "/alert/bin/");
  EXPECT_STREQ(alt_alert_name, "/alert/log/alertlog.alt");
  EXPECT_STREQ(alt_name_temp, "alerttmp.alt");
  EXPECT_EQ(alt_max_count, 10000);
  EXPECT_EQ(alt_timeout, 60);
  EXPECT_EQ(alt_udp_port, 29003);
  EXPECT_EQ(alt_udp_method, 0);
  EXPECT_EQ(alt_log_path, nullptr);
  EXPECT_EQ(alt_log_size, 4194304);
  EXPECT_EQ(alt_log_level, 4);
  EXPECT_EQ(sys_root_path, nullptr);
  EXPECT_EQ(alt_rlimit_core, 0);
  EXPECT_EQ(g_webalert_use, 0);
  EXPECT_EQ(g_resync_time_interval, 0);
  EXPECT_STREQ(alt_path_only, "");
  EXPECT_STREQ(alt_name_only, "");
  EXPECT_EQ(eid, 0);
}

TEST_F(Config, DaemonsSettingsAreZeroUntilSet) {
  EXPECT_EQ(tckconf, 0);
  EXPECT_EQ(is_service, 0);
  EXPECT_EQ(alert_pid_file_name, nullptr);
  for (const int setting :
       {g_tmpfile_maxsize, g_tmpfile_read_count, g_tmpfile_read_interval, g_resend_timeout,
        g_alert_retry_count, g_sendtonewsvr_interval, g_get_altid_timeout,
        g_alert_getradio_interval, g_alert_chksrvlist_interval, g_alert_cheknewsvr_interval,
        g_hb_timeout, g_get_srvname_timeout}) {
    EXPECT_EQ(setting, 0);
  }
}

// ---- both modes ---------------------------------------------------------------------------------

TEST_F(FullConfig, ClientReadsItsKeys) {
  EXPECT_EQ(run_client(), 0);
  EXPECT_STREQ(sys_root_path, "/opt/x");
  EXPECT_EQ(alt_rlimit_core, 7);
  EXPECT_EQ(g_webalert_use, 1);
  EXPECT_EQ(alt_udp_port, 29111);
  EXPECT_STREQ(alt_alert_name, "/opt/x/log/alertlog.alt");
  EXPECT_STREQ(alt_path_only, "/opt/x/log/");
  EXPECT_STREQ(alt_name_only, "alertlog.alt");
  EXPECT_EQ(alt_max_count, 123);
  EXPECT_EQ(alt_timeout, 77);
  EXPECT_STREQ(alt_cmd_path, "/opt/x/alert/");
  EXPECT_EQ(alt_log_size, 1000000);
  EXPECT_EQ(alt_log_level, 8);
  EXPECT_EQ(g_resync_time_interval, 0);
  EXPECT_NE(alt_log_handle, nullptr);
  EXPECT_TRUE(file_exists(root_ + "/alert.log"));
  EXPECT_EQ(printed_, "");
}

TEST_F(FullConfig, ClientReadsInItsOrder) {
  run_client();
  EXPECT_EQ(g_xml_calls, (Texts{"init alert",
                                "load config",
                                "load all",
                                "/root/all/path",
                                "/root/all/core",
                                "unload all",
                                "load webalert",
                                "/root/webalert/use",
                                "/root/webalert/daemon/udpport",
                                "/root/webalert/main/alertlog/name",
                                "/root/webalert/main/alertlog/maxrecordcount",
                                "/root/webalert/daemon/timeout",
                                "unload webalert",
                                "load alert",
                                "/root/alert/path",
                                "/root/alert/log/size",
                                "/root/alert/log/level",
                                "unload alert",
                                "unload config",
                                "term"}));
}

TEST_F(FullConfig, DaemonReadsItsKeys) {
  tckconf = 100;
  EXPECT_EQ(run_daemon(), 0);
  EXPECT_STREQ(sys_root_path, "/opt/x");
  EXPECT_EQ(g_webalert_use, 0);
  EXPECT_STREQ(alt_alert_name, "/opt/x/log/alertlog.alt");
  EXPECT_STREQ(alt_cmd_path, "/opt/x/alert/");
  EXPECT_EQ(alt_log_size, 2000000);
  EXPECT_EQ(alt_log_level, 16);
  EXPECT_EQ(g_resync_time_interval, 60000);
  EXPECT_EQ(alt_log_handle, &daemon_log_);
  EXPECT_FALSE(file_exists(root_ + "/alert.log"));
  tckconf = 0;
}

TEST_F(FullConfig, DaemonReadsInItsOrder) {
  run_daemon();
  EXPECT_EQ(g_xml_calls, (Texts{"init webalert",
                                "load config",
                                "load all",
                                "/root/all/path",
                                "/root/all/core",
                                "unload all",
                                "load alert",
                                "/root/alert/path",
                                "unload alert",
                                "load webalert",
                                "/root/webalert/main/alertlog/name",
                                "/root/webalert/main/alertlog/maxrecordcount",
                                "/root/webalert/main/log/size",
                                "/root/webalert/main/log/level",
                                "/root/webalert/daemon/timeout",
                                "/root/webalert/daemon/udpport",
                                "/root/webalert/daemon/sync/resynctimeinterval",
                                "/root/dummyconf",
                                "unload webalert",
                                "unload config",
                                "term"}));
}

TEST_F(FullConfig, ResynchronisationIntervalIsTakenIn64Bits) {
  tckconf = 10000000;
  EXPECT_EQ(run_daemon(), 0);
  EXPECT_EQ(g_resync_time_interval, 6000000000);
  tckconf = 0;
}

TEST_F(FullConfig, DaemonsHandleReplacesAnEarlierOne) {
  int other = 0;
  alt_log_handle = &other;
  EXPECT_EQ(run_daemon(), 0);
  EXPECT_EQ(alt_log_handle, &daemon_log_);
}

struct Dummy {
  const char* element;
  int result;
};
void PrintTo(const Dummy& row, std::ostream* out) { *out << row.element; }
class DummySwitch : public FullConfig, public ::testing::WithParamInterface<Dummy> {};
INSTANTIATE_TEST_SUITE_P(Config, DummySwitch,
                         ::testing::Values(Dummy{"<dummyconf>1</dummyconf>", 1},
                                           Dummy{"<dummyconf>0</dummyconf>", 0},
                                           Dummy{"<dummyconf>2</dummyconf>", 0},
                                           Dummy{"<dummyconf>yes</dummyconf>", 0}, Dummy{"", 0}));

TEST_P(DummySwitch, EndsTheDaemonsConfigurationEarlyOnlyWhen1) {
  dummy_ = GetParam().element;
  put("webalert", webalert());
  EXPECT_EQ(run_daemon(), GetParam().result);
  EXPECT_EQ(alt_log_handle, &daemon_log_);
  EXPECT_EQ(g_xml_calls.back(), GetParam().result == 1 ? "/root/dummyconf" : "term");
  EXPECT_EQ(printed_, "");
}

TEST_F(FullConfig, DummySwitchMeansNothingToAClient) {
  dummy_ = "<dummyconf>1</dummyconf>";
  put("webalert", webalert());
  EXPECT_EQ(run_client(), 0);
}

TEST_F(FullConfig, ClientOfADisabledLogGetsMinus2AndAnOpenLog) {
  use_ = "0";
  put("webalert", webalert());
  EXPECT_EQ(run_client(), -2);
  EXPECT_NE(alt_log_handle, nullptr);
  EXPECT_TRUE(LogCapture::instance().has(kNotable, "webalert is set to can not be used.<use = 0>"));
}

TEST_F(FullConfig, OnlyUse1Enables) {
  use_ = "2";
  put("webalert", webalert());
  EXPECT_EQ(run_client(), -2);
  EXPECT_TRUE(LogCapture::instance().has(kNotable, "webalert is set to can not be used.<use = 2>"));
}

TEST_F(FullConfig, SecondStartReadsEverythingAgain) {
  ASSERT_EQ(run_client(), 0);
  alert_log_lib_term();
  name_ = "log2/other.alt";
  put("webalert", webalert());
  alt_udp_method = 9;
  ASSERT_EQ(run_client(), 0);
  EXPECT_STREQ(alt_alert_name, "/opt/x/log2/other.alt");
  EXPECT_EQ(alt_udp_method, 0);
}

// ---- failures -----------------------------------------------------------------------------------

struct MissingKey {
  const char* file;
  const char* element;
  bool client;
  bool daemon;
  const char* printed;
};
void PrintTo(const MissingKey& row, std::ostream* out) { *out << row.file << " " << row.element; }
class MissingKeys : public FullConfig, public ::testing::WithParamInterface<MissingKey> {};
INSTANTIATE_TEST_SUITE_P(
    Config, MissingKeys,
    ::testing::Values(MissingKey{"all", "path", true, true, "read [/root/all/path] failed.\n"},
                      MissingKey{"all", "core", true, true, ""},
                      MissingKey{"webalert", "use", true, false, ""},
                      MissingKey{"webalert", "udpport", true, true, ""},
                      MissingKey{"webalert", "name", true, true,
                                 "read [/root/webalert/main/alertlog/name] failed.\n"},
                      MissingKey{"webalert", "maxrecordcount", true, true, ""},
                      MissingKey{"webalert", "timeout", true, true, ""},
                      MissingKey{"webalert", "size", false, true, ""},
                      MissingKey{"webalert", "level", false, true, ""},
                      MissingKey{"webalert", "resynctimeinterval", false, true, ""},
                      MissingKey{"alert", "path", true, true, "read [/root/alert/path] failed.\n"},
                      MissingKey{"alert", "size", true, false, ""},
                      MissingKey{"alert", "level", true, false, ""}));

TEST_P(MissingKeys, FailTheStartOfThoseWhoReadThem) {
  drop(GetParam().file, GetParam().element);
  EXPECT_EQ(run_client(), GetParam().client ? -1 : 0);
  EXPECT_EQ(printed_, GetParam().client ? GetParam().printed : "");
  if (term_) alert_log_lib_term();
  term_ = false;
  alt_log_handle = nullptr;
  EXPECT_EQ(run_daemon(), GetParam().daemon ? -1 : 0);
  EXPECT_EQ(printed_, GetParam().daemon ? GetParam().printed : "");
}

TEST_F(FullConfig, FailedReadLeavesTheXmlLibraryAsItStands) {
  drop("all", "core");
  ASSERT_EQ(run_client(), -1);
  EXPECT_EQ(g_xml_calls.back(), "/root/all/core");
}

TEST_F(FullConfig, SettingsReadBeforeAFailureKeepTheirValues) {
  drop("webalert", "timeout");
  ASSERT_EQ(run_client(), -1);
  EXPECT_EQ(alt_max_count, 123);
  EXPECT_EQ(alt_timeout, 60);
  EXPECT_STREQ(alt_cmd_path, "/alert/bin/");
}

struct FailingCall {
  const char* client;
  const char* daemon;
  const char* printed;
};
void PrintTo(const FailingCall& row, std::ostream* out) { *out << row.client; }
class FailingCalls : public FullConfig, public ::testing::WithParamInterface<FailingCall> {};
INSTANTIATE_TEST_SUITE_P(
    Config, FailingCalls,
    ::testing::Values(FailingCall{"init alert", "init webalert",
                                  "Can not initialize xml library.\n"},
                      FailingCall{"load config", "load config", "Can not load config file.\n"},
                      FailingCall{"load all", "load all", "Can not load policy file.\n"},
                      FailingCall{"load webalert", "load webalert", "Can not load policy file.\n"},
                      FailingCall{"load alert", "load alert", "Can not load policy file.\n"},
                      FailingCall{"unload config", "unload config", "Unload config file failed.\n"},
                      FailingCall{"term", "term", "Terminate xml library failed.\n"}));

TEST_P(FailingCalls, FailTheStartAndAreTheLast) {
  g_failing_call = GetParam().client;
  EXPECT_EQ(run_client(), -1);
  EXPECT_EQ(printed_, GetParam().printed);
  EXPECT_EQ(g_xml_calls.back(), GetParam().client);
  EXPECT_EQ(alt_log_handle, nullptr);
  g_failing_call = GetParam().daemon;
  EXPECT_EQ(run_daemon(), -1);
  EXPECT_EQ(printed_, GetParam().printed);
}

class IgnoredCalls : public FullConfig, public ::testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(Config, IgnoredCalls, ::testing::Values("unload all"));

TEST_P(IgnoredCalls, DoNotFailTheStart) {
  g_failing_call = GetParam();
  EXPECT_EQ(run_client(), 0);
  EXPECT_EQ(printed_, "");
}

class MissingFiles : public FullConfig, public ::testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(Config, MissingFiles, ::testing::Values("all", "alert", "webalert"));

TEST_P(MissingFiles, OfASectionFailTheStart) {
  remove_file(root_ + "/" + GetParam() + ".xml");
  EXPECT_EQ(run_client(), -1);
  EXPECT_EQ(printed_, "Can not load policy file.\n");
}

TEST_F(FullConfig, MissingClusterFileFailsTheStart) {
  remove_file(root_ + "/cluster.xml");
  EXPECT_EQ(run_client(), -1);
  EXPECT_EQ(printed_, "Can not load config file.\n");
}

TEST_F(FullConfig, LogThatCannotBeOpenedFailsTheClient) {
  write_file(root_ + "/plain", "");
  setenv("QEL_LOG_DIR", (root_ + "/plain/log").c_str(), 1);
  EXPECT_EQ(run_client(), -1);
  EXPECT_EQ(printed_, "Log initialize failed: errcode = 2.\n");
}

TEST_F(FullConfig, StringWithoutMemoryFailsTheStart) {
  const Fault fault(Site::kCopyText, ENOMEM);
  EXPECT_EQ(run_client(), -1);
  EXPECT_EQ(printed_, "not enough memory.\n");
}

TEST_F(FullConfig, PathWithoutMemoryFailsTheStart) {
  const Fault fault(Site::kCopyText, ENOMEM, 1);
  EXPECT_EQ(run_client(), -1);
  EXPECT_EQ(printed_, "call strdup failed");
}

TEST_F(FullConfig, TermWithoutALogDoesNothing) {
  alt_log_handle = nullptr;
  alert_log_lib_term();
  EXPECT_EQ(alt_log_handle, nullptr);
}

TEST_F(FullConfig, TermDoesNotClearTheHandle) {
  ASSERT_EQ(run_client(), 0);
  alert_log_lib_term();
  EXPECT_NE(alt_log_handle, nullptr);
  alt_log_handle = nullptr;
}

// ---- single values ------------------------------------------------------------------------------

class Values : public FullConfig {
 protected:
  void load(const std::string& value) {
    put("webalert", "<v>" + value + "</v>");
    ASSERT_EQ(xmllib_init("test"), 0);
    ASSERT_EQ(xmllib_load_policy("webalert"), 0);
  }
  ~Values() override { xmllib_term(); }
};

TEST_F(Values, StringOf1023CharactersFits) {
  load(std::string(1023, 's'));
  char* text = nullptr;
  ASSERT_EQ(config_string("/root/v", &text), 0);
  EXPECT_EQ(std::string(text), std::string(1023, 's'));
  free(text);
}

TEST_F(Values, LongerStringIsAFailure) {
  load(std::string(1024, 's'));
  char* text = nullptr;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(config_string("/root/v", &text), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "read [/root/v] failed.\n");
  EXPECT_EQ(text, nullptr);
}

TEST_F(Values, IntIsReadAndAnythingElseIsASilentFailure) {
  load("-5");
  int number = 1;
  EXPECT_EQ(config_int("/root/v", &number), 0);
  EXPECT_EQ(number, -5);
  load("five");
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(config_int("/root/v", &number), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

struct PathCase {
  const char* root;
  const char* value;
  int isfile;
  const char* path;
};
void PrintTo(const PathCase& row, std::ostream* out) {
  *out << (row.root != nullptr ? row.root : "null") << " " << row.value << " " << row.isfile;
}
class Paths : public Values, public ::testing::WithParamInterface<PathCase> {};
INSTANTIATE_TEST_SUITE_P(Config, Paths,
                         ::testing::Values(PathCase{"/opt/x", "log/a.alt", 1, "/opt/x/log/a.alt"},
                                           PathCase{"/opt/x/", "/log/a.alt", 1, "/opt/x/log/a.alt"},
                                           PathCase{"/opt/x/", "log/a.alt", 1, "/opt/x/log/a.alt"},
                                           PathCase{"/opt/x", "/log/a.alt", 1, "/opt/x/log/a.alt"},
                                           PathCase{nullptr, "log/a.alt", 1, "/log/a.alt"},
                                           PathCase{nullptr, "/log/a.alt", 1, "/log/a.alt"},
                                           PathCase{"/", "a", 1, "/a"},
                                           PathCase{"/", "/a", 1, "/a"},
                                           PathCase{"/opt/x", "log/a/", 1, "/opt/x/log/a/"},
                                           PathCase{"/opt/x", "log", 0, "/opt/x/log/"},
                                           PathCase{"/opt/x", "log/", 0, "/opt/x/log/"},
                                           PathCase{nullptr, "log", 0, "/log/"},
                                           PathCase{"/opt/x", "alert/bin/", 2, "/opt/x/alert/"},
                                           PathCase{"/opt/x", "alert/bin", 2, "/opt/x/alert/"},
                                           PathCase{"/opt/x", "bin", 2, "/opt/x/"},
                                           PathCase{nullptr, "bin", 2, "/"},
                                           PathCase{nullptr, "a/b/c/", 2, "/a/b/"}));

TEST_P(Paths, AreMadeAbsoluteAndShaped) {
  load(GetParam().value);
  char* path = nullptr;
  ASSERT_EQ(config_path("/root/v", &path, GetParam().root, GetParam().isfile), 0);
  EXPECT_STREQ(path, GetParam().path);
  free(path);
}

TEST_F(Values, MissingPathIsPrinted) {
  load("x");
  char* path = nullptr;
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(config_path("/root/missing", &path, nullptr, 0), -1);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "read [/root/missing] failed.\n");
}

struct Split {
  const char* path;
  const char* directory;
  const char* name;
};
void PrintTo(const Split& row, std::ostream* out) { *out << row.path; }
class Splits : public ::testing::TestWithParam<Split> {};
INSTANTIATE_TEST_SUITE_P(Config, Splits,
                         ::testing::Values(Split{"/opt/x/log/a.alt", "/opt/x/log/", "a.alt"},
                                           Split{"/a.alt", "/", "a.alt"},
                                           Split{"/opt/log/", "/opt/", "log"},
                                           Split{"/opt/log///", "/opt/", "log"},
                                           Split{"/opt//a", "/opt//", "a"}));

TEST_P(Splits, GiveDirectoryAndLastComponent) {
  char directory[ALT_PATH_SIZE];
  char name[ALT_NAME_SIZE];
  alert_name_path(GetParam().path, directory, name);
  EXPECT_STREQ(directory, GetParam().directory);
  EXPECT_STREQ(name, GetParam().name);
}

TEST(TickClock, RunsWithThatOfTheSystem) {
  struct tms times_of_process;
  const clock_t before = times(nullptr);
  const clock_t ticks = QEL_TIMES(&times_of_process);
  EXPECT_GE(ticks, before);
  EXPECT_LE(ticks, times(nullptr));
  EXPECT_GE(QEL_TIMES(nullptr), ticks);
}

}  // namespace
}  // namespace alt_test
