/* A configuration directory of its own and the started library. */
#ifndef QELXML_XML_FIXTURE_H
#define QELXML_XML_FIXTURE_H

#include "qelxml.h"
#include "testing/test_support.h"

class XmlFixture : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(xmllib_init("tester"), 0); }
  ~XmlFixture() override { (void)xmllib_term(); }

  std::string file(const std::string& name) const { return directory_ / name; }
  void write(const std::string& name, const std::string& content) {
    qel::testing::write_file(file(name), content);
  }
  void load_policy(const char* section, const std::string& content) {
    write(std::string(section) + ".xml", content);
    ASSERT_EQ(xmllib_load_policy(section), 0) << xmllib_last_error();
  }

  static std::string last_error() { return xmllib_last_error(); }

  const qel::testing::ScratchDirectory directory_;
  const qel::testing::ScopedVariable variable_{"QEL_CONFIG_DIR", directory_.path().c_str()};
};

#endif
