// "qelalert config check": each mistake, told at its place.
#include <gtest/gtest.h>

#include "configuration_files.h"
#include "mistakes.h"

namespace qel::configuration_test {
namespace {

std::string name_of_row(const ::testing::TestParamInfo<Mistake>& info) { return info.param.name; }

class OneMistake : public ::testing::TestWithParam<Mistake> {
 protected:
  OneMistake() { files_.replace(GetParam().file, GetParam().from, GetParam().to); }

  const ConfigurationFiles files_;
};
INSTANTIATE_TEST_SUITE_P(OfValues, OneMistake, ::testing::ValuesIn(value_mistakes()), name_of_row);
INSTANTIATE_TEST_SUITE_P(OfElements, OneMistake, ::testing::ValuesIn(element_mistakes()),
                         name_of_row);
INSTANTIATE_TEST_SUITE_P(OfTheFrontEnd, OneMistake, ::testing::ValuesIn(front_end_mistakes()),
                         name_of_row);
INSTANTIATE_TEST_SUITE_P(OfServers, OneMistake, ::testing::ValuesIn(server_mistakes()),
                         name_of_row);

TEST_P(OneMistake, IsToldAtItsPlaceAndOnlyAnErrorFails) {
  const bool is_error = std::string(GetParam().found).find(" error: ") != std::string::npos;
  const Result result = files_.check("@DIR@");
  EXPECT_EQ(is_error ? 1 : 0, result.exit_code);
  EXPECT_EQ(files_.at_home(GetParam().found) +
                (is_error ? "" : files_.filled_in("configuration @DIR@ is valid\n")),
            result.output);
}

class Check : public ::testing::Test {
 protected:
  void expect_found(const std::string& lines) const {
    const Result result = files_.check("-q");
    EXPECT_EQ(files_.at_home(lines), result.output);
    EXPECT_EQ(lines.find(" error: ") == std::string::npos ? 0 : 1, result.exit_code);
  }
  // cluster.xml with this server and `others`.
  void write_servers(const std::string& others) const {
    files_.write("cluster.xml",
                 "<root><cluster>\n<server><name>@LOCAL@</name><address><ip>192.0.2.1</ip>"
                 "<interconnect>0</interconnect></address></server>\n" +
                     others + "</cluster></root>\n");
  }
  // Servers with the numbers `first` to `last`, a line each.
  static std::string servers(int first, int last) {
    std::string lines;
    for (int i = first; i <= last; ++i) {
      const std::string number = std::to_string(i);
      lines += "<server><name>n" + std::to_string(1000 + i) + "</name><address><ip>198.51.100." +
               number + "</ip><interconnect>0</interconnect></address></server>\n";
    }
    return lines;
  }

  const ConfigurationFiles files_;
};

TEST_F(Check, NothingIsFoundWhereNothingIsWrong) { expect_found(""); }

TEST_F(Check, MistakesOfAllFilesAreToldInTheOrderOfFilesAndLines) {
  files_.replace("webalert.xml", ">100<", ">0<");
  files_.replace("webalert.xml", "<use>1</use>", "");
  files_.replace("webalert.xml", "<timeout>", "<time>1</time><timeout>");
  files_.replace("cluster.xml", ">beta<", "><");
  files_.replace("all.xml", "</all>", "</al>");
  files_.remove("alert.xml");
  expect_found(
      "all.xml:5:5: error: not well-formed XML: Start-end tags mismatch\n"
      "alert.xml:1:1: error: cannot be opened: No such file or directory\n"
      "webalert.xml:2:3: error: /root/webalert/use: missing\n"
      "webalert.xml:7:9: error: /root/webalert/main/alertlog/maxrecordcount: 0 is not within 1 to "
      "99999999\n"
      "webalert.xml:13:7: warning: /root/webalert/daemon/time: unknown element\n"
      "cluster.xml:9:7: error: /root/cluster/server[2]/name: \"\" is not a short host name of 1 to "
      "64 letters, digits, \"-\" and \"_\"\n");
}

TEST_F(Check, EachMissingFileIsTold) {
  for (const char* file : {"all.xml", "alert.xml", "webalert.xml", "cluster.xml"}) {
    const std::string content = files_.content(file);
    files_.remove(file);
    expect_found(std::string(file) + ":1:1: error: cannot be opened: No such file or directory\n");
    files_.write(file, content);
  }
}

TEST_F(Check, EmptyFileIsTold) {
  files_.write("all.xml", "");
  expect_found("all.xml:1:1: error: not well-formed XML: No document element found\n");
}

TEST_F(Check, MissingClusterIsTold) {
  files_.write("cluster.xml", "<root>\n</root>\n");
  expect_found("cluster.xml:1:1: error: /root/cluster: missing\n");
}

TEST_F(Check, EmptyClusterIsThisServerAlone) {
  files_.write("cluster.xml", "<root><cluster/></root>\n");
  expect_found("");
}

TEST_F(Check, KeyThatItsFileLeavesOutIsTakenFromTheClustersFile) {
  files_.replace("webalert.xml", "<resend>2</resend>", "");
  files_.replace("webalert.xml", "<timeout>60</timeout>", "");
  files_.replace("cluster.xml", "</root>",
                 "<webalert><daemon><timeout>60</timeout>\n<resend>0</resend></daemon></webalert>"
                 "</root>");
  expect_found(
      "cluster.xml:14:1: error: /root/webalert/daemon/resend: 0 is not within 1 to 86400\n");
}

TEST_F(Check, KeyInItsOwnFileHidesTheOneInTheClustersFile) {
  files_.replace("cluster.xml", "</root>",
                 "<webalert><daemon><resend>0</resend></daemon></webalert></root>");
  expect_found("");
}

// ---- limits -------------------------------------------------------------------------------------

TEST_F(Check, BordersOfTheRangesAreTaken) {
  files_.replace("webalert.xml", ">29003<", ">65535<");
  files_.replace("webalert.xml", ">100<", ">99999999<");
  files_.replace("webalert.xml", "<retries>3<", "<retries>2<");
  files_.replace("webalert.xml", ">64<", ">+6000<");
  files_.replace("webalert.xml", ">600<", ">6<");
  files_.replace("webalert.xml", "<level>4<", "<level>32<");
  files_.replace("alert.xml", "<level>4<", "<level>0<");
  files_.replace("alert.xml", ">4194304<", ">1<");
  files_.replace("all.xml", "<core>0<", "<core>-2147483648<");
  files_.replace("webalert.xml", "@DIR@/run/qelalertd.sock", "/" + std::string(106, 's'));
  const Result result = files_.check("@DIR@");  // the socket's directory is not looked at
  EXPECT_EQ(files_.filled_in("configuration @DIR@ is valid\n"), result.output);
}

TEST_F(Check, FrontEndMayBeOpenToOthersWithAllThatThisNeeds) {
  const std::string content = files_.content("webalert.xml");
  for (const char* open : {"0.0.0.0:443", "[::]:0", "192.0.2.11:65535", "[2001:db8::11]:29080"}) {
    files_.write("webalert.xml", content);
    files_.replace("webalert.xml", "127.0.0.1:29080", open);
    expect_found("");
  }
}

TEST_F(Check, FrontEndForThisHostAloneNeedsNothingBeside) {
  files_.replace("webalert.xml", "<certificate>@DIR@/web.pem</certificate>", "");
  files_.replace("webalert.xml", "<key>@DIR@/web.key</key>", "");
  files_.replace("webalert.xml", "<users>@DIR@/users</users>", "");
  const std::string content = files_.content("webalert.xml");
  for (const char* closed : {"127.0.0.1:0", "127.255.255.254:80", "[::1]:65535"}) {
    files_.write("webalert.xml", content);
    files_.replace("webalert.xml", "127.0.0.1:29080", closed);
    expect_found("");
  }
}

TEST_F(Check, HostsOfEveryFormAreTaken) {
  files_.replace("webalert.xml", ">alerts alerts.example<",
                 ">A-1_b.example\n 192.0.2.11\t[2001:db8::11]<");
  expect_found("");
}

TEST_F(Check, MoreServersThanOneMessageNamesAreAWarning) {
  write_servers(servers(2, 63));
  expect_found("");
  write_servers(servers(2, 64));
  expect_found(
      "cluster.xml:1:7: warning: /root/cluster: with more than 63 servers, a server that holds "
      "alerts of all of them cannot tell their names: no other one catches up with it\n");
}

TEST_F(Check, MoreThan100ServersAreAnError) {
  write_servers(servers(2, 102));
  expect_found("cluster.xml:102:1: error: /root/cluster/server[101]: more than 100 servers\n");
}

TEST_F(Check, MoreThanEightAddressesAreAnError) {
  std::string addresses;
  for (int i = 1; i <= 10; ++i) {
    addresses += "<address><ip>198.51.100." + std::to_string(i) + "</ip><interconnect>" +
                 std::to_string(i) + "</interconnect></address>\n";
  }
  write_servers("<server><name>beta</name>\n" + addresses + "</server>\n");
  expect_found(
      "cluster.xml:12:1: error: /root/cluster/server[2]/address[9]: server \"beta\" has more than "
      "8 addresses\n");
}

TEST_F(Check, WrongFileIsNotToldInFull) {
  std::string elements;
  for (int i = 1; i <= 1500; ++i) elements += "<other/>\n";
  files_.replace("all.xml", "<core>", elements + "<core>");
  const std::string output = files_.check("-q").output;
  EXPECT_EQ(1001, std::count(output.begin(), output.end(), '\n'));
  const std::string last =
      files_.at_home("all.xml:1004:1: warning: more is wrong than is told here\n");
  EXPECT_TRUE(output.ends_with(last)) << output.substr(output.size() - last.size());
}

// The elements are many, and each would have its place looked for in the whole file.
TEST_F(Check, FileOfTheLargestSizeIsChecked) {
  std::string servers = "<root><cluster>";
  while (servers.size() < (4 << 20) - 100) servers += "<server/>\n";
  files_.write("cluster.xml", servers + "</cluster></root>");
  const Result result = files_.check("-q");
  EXPECT_EQ(1, result.exit_code);
  EXPECT_NE(std::string::npos, result.output.find("more than 100 servers"));
}

TEST_F(Check, DeepNestingIsChecked) {
  std::string open;
  std::string close;
  for (int i = 0; i < 100000; ++i) {
    open += "<a>";
    close += "</a>";
  }
  files_.replace("all.xml", "<core>", open + close + "<core>");
  expect_found("all.xml:4:5: warning: /root/all/a: unknown element\n");
}

}  // namespace
}  // namespace qel::configuration_test
