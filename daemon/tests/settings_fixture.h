// A configuration of the daemon in a directory of its own.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "alert_config.h"
#include "settings.h"
#include "support/files.h"
#include "testing/test_support.h"

namespace qel::daemon_test {

inline constexpr char kSections[][9] = {"cluster", "all", "alert", "webalert"};

// The sample configuration, its paths turned to a directory of the test.
class SettingsTest : public ::testing::Test {
 protected:
  SettingsTest() {
    std::filesystem::create_directory(directory_ / "etc");
    for (const char* section : kSections) {
      alt_test::write_file(file(section), *alt_test::read_file(std::string(QEL_SAMPLE_CONFIG) +
                                                               "/" + section + ".xml"));
    }
    set("all", "path", directory_.path());
  }
  ~SettingsTest() override {
    daemon::close_log();
    init_global_var();
    alt_path_only[0] = alt_name_only[0] = '\0';
  }

  std::string file(const std::string& section) const {
    return directory_ / ("etc/" + section + ".xml");
  }

  void replace(const std::string& section, const std::string& from, const std::string& to) const {
    std::string content = *alt_test::read_file(file(section));
    const size_t at = content.find(from);
    ASSERT_NE(std::string::npos, at) << from;
    alt_test::write_file(file(section), content.replace(at, from.size(), to));
  }
  // The whole element, its text replaced.
  void set(const std::string& section, const std::string& element, const std::string& text) const {
    replace(section, element_of(section, element),
            "<" + element + ">" + text + "</" + element + ">");
  }
  void drop(const std::string& element) const {
    replace("webalert", element_of("webalert", element), "");
  }
  std::string element_of(const std::string& section, const std::string& element) const {
    const std::string content = *alt_test::read_file(file(section));
    const size_t begin = content.find("<" + element + ">");
    const std::string end = "</" + element + ">";
    return content.substr(begin, content.find(end, begin) + end.size() - begin);
  }

  // A reading that fails for a reason with all these parts.
  void expect_refused(const std::vector<std::string>& parts) {
    std::string error;
    ASSERT_FALSE(daemon::load_configuration(&settings_, &error));
    for (const std::string& part : parts) {
      EXPECT_NE(std::string::npos, error.find(part)) << "missing: " << part << "\nin: " << error;
    }
  }
  void load() {
    std::string error;
    ASSERT_TRUE(daemon::load_configuration(&settings_, &error)) << error;
  }

  testing::ScratchDirectory directory_;
  testing::ScopedVariable config_{"QEL_CONFIG_DIR", (directory_ / "etc").c_str()};
  testing::ScopedVariable log_{"QEL_LOG_DIR", (directory_ / "log").c_str()};
  daemon::Settings settings_;
};

}  // namespace qel::daemon_test
