// The servers of the cluster as the configuration tells them: what is taken, and what is refused
// with which reason.
#include "cluster/server_file.h"

#include <gtest/gtest.h>
#include <qelxml.h>

#include <filesystem>

#include "alert_udp.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "testing/test_support.h"

namespace qel::daemon_test {
namespace {

using daemon::read_servers;
using daemon::server_warnings;
using daemon::ServerEntry;
using Texts = std::vector<std::string>;

std::string local_name() {
  char name[256] = "";
  EXPECT_EQ(0, get_local_server(name));
  return name;
}

std::string address(const std::string& ip, const std::string& interconnect) {
  return "<address><ip>" + ip + "</ip><interconnect>" + interconnect + "</interconnect></address>";
}

std::string server(const std::string& name, const std::string& addresses) {
  return "<server><name>" + name + "</name>" + addresses + "</server>\n";
}

// "10.<number>.0.1" on interconnect 0, for servers that only have to be there.
std::string numbered_server(int number) {
  return server("node" + std::to_string(number),
                address("10." + std::to_string(number) + ".0.1", "0"));
}

class ServerFile : public ::testing::Test {
 protected:
  std::string path() const { return directory_ / "cluster.xml"; }
  void write(const std::string& content) const { alt_test::write_file(path(), content); }
  void write_cluster(const std::string& servers) const {
    write("<root><cluster>\n" + servers + "</cluster></root>");
  }
  // This server with the addresses, and then the others.
  void write_local_and(const std::string& addresses, const std::string& others = "") const {
    write_cluster(server(local_name(), addresses) + others);
  }

  std::vector<ServerEntry> read() const {
    std::vector<ServerEntry> servers;
    std::string error;
    EXPECT_TRUE(read_servers(&servers, &error)) << error;
    return servers;
  }
  // The reason of a reading that fails and leaves the list as it was.
  static std::string fault() {
    std::vector<ServerEntry> servers = {{"before", {}}};
    std::string error;
    EXPECT_FALSE(read_servers(&servers, &error));
    EXPECT_EQ((std::vector<ServerEntry>{{"before", {}}}), servers);
    return error;
  }
  std::string fault_of(const std::string& servers) const {
    write_cluster(servers);
    return fault();
  }

  testing::ScratchDirectory directory_;
  testing::ScopedVariable variable_{"QEL_CONFIG_DIR", directory_.path().c_str()};
};

// ---- what is taken ------------------------------------------------------------------------------

TEST_F(ServerFile, ServersAreGivenInTheOrderOfTheFileWithAllTheirAddresses) {
  write_cluster(server("zulu", address("10.0.0.9", "7") + address("2001:db8::9", "0")) +
                server(local_name(), address(" 10.0.0.1 ", "7")) +
                server("Alpha-2_b", address("10.0.0.2", "2147483647")));
  EXPECT_EQ((std::vector<ServerEntry>{{"zulu", {{"10.0.0.9", 7}, {"2001:db8::9", 0}}},
                                      {local_name(), {{"10.0.0.1", 7}}},
                                      {"Alpha-2_b", {{"10.0.0.2", 2147483647}}}}),
            read());
}

TEST_F(ServerFile, EmptyClusterIsThisServerAlone) {
  for (const char* content : {"<root><cluster/></root>", "<root><cluster>\n </cluster></root>",
                              "<root><cluster><!-- <server/> --></cluster></root>"}) {
    write(content);
    EXPECT_EQ((std::vector<ServerEntry>{{local_name(), {}}}), read());
  }
}

TEST_F(ServerFile, SampleIsThisServerAlone) {
  std::filesystem::copy_file(std::string(QEL_SAMPLE_CONFIG) + "/cluster.xml", path());
  EXPECT_EQ((std::vector<ServerEntry>{{local_name(), {}}}), read());
}

// The example is there to be uncommented.
TEST_F(ServerFile, ExampleOfTheSampleIsAccepted) {
  std::string sample = *alt_test::read_file(std::string(QEL_SAMPLE_CONFIG) + "/cluster.xml");
  const size_t begin = sample.find("<server>");
  const size_t end = sample.rfind("</server>");
  ASSERT_NE(std::string::npos, begin);
  std::string example = sample.substr(begin, end - begin) + "</server>";
  const size_t name = example.find("alpha");
  ASSERT_NE(std::string::npos, name);
  write_cluster(example.replace(name, strlen("alpha"), local_name()));
  const std::vector<ServerEntry> servers = read();
  ASSERT_EQ(2U, servers.size());
  EXPECT_EQ(local_name(), servers[0].name);
  EXPECT_EQ("beta", servers[1].name);
  EXPECT_EQ(2U, servers[0].addresses.size());
  EXPECT_EQ(2U, servers[1].addresses.size());
}

TEST_F(ServerFile, OnlyServerNeedsNoAddress) {
  write_local_and("");
  EXPECT_EQ((std::vector<ServerEntry>{{local_name(), {}}}), read());
}

TEST_F(ServerFile, NumbersOfServersAndAddressesMayReachTheirLimits) {
  std::string servers = server(local_name(), address("10.200.0.1", "0"));
  for (int i = 1; i < 100; ++i) servers += numbered_server(i);
  write_cluster(servers);
  EXPECT_EQ(100U, read().size());
  std::string addresses;
  for (int i = 0; i < 8; ++i)
    addresses += address("10.0.0." + std::to_string(i), std::to_string(i));
  write_local_and(addresses);
  EXPECT_EQ(8U, read()[0].addresses.size());
}

TEST_F(ServerFile, NameMayHave64Characters) {
  const std::string name(64, 'n');
  write_local_and(address("10.0.0.1", "0"), server(name, address("10.0.0.2", "0")));
  EXPECT_EQ(name, read()[1].name);
}

struct Canonical {
  const char* written;
  const char* taken;
};
void PrintTo(const Canonical& row, std::ostream* out) { *out << row.written; }
class CanonicalAddress : public ServerFile, public ::testing::WithParamInterface<Canonical> {};
INSTANTIATE_TEST_SUITE_P(
    ServerFile, CanonicalAddress,
    ::testing::Values(Canonical{"192.168.1.5", "192.168.1.5"}, Canonical{"127.0.0.1", "127.0.0.1"},
                      Canonical{"2001:DB8:0:0::1", "2001:db8::1"},
                      Canonical{"2001:0db8:0000:0000:0000:0000:0000:0001", "2001:db8::1"},
                      Canonical{"::1", "::1"}, Canonical{"fd00::A", "fd00::a"},
                      Canonical{"::ffff:10.0.0.1", "10.0.0.1"},
                      Canonical{"::FFFF:0a00:0001", "10.0.0.1"}));

TEST_P(CanonicalAddress, IsTheTextOfADatagramsSender) {
  write_local_and(address(GetParam().written, "0"));
  EXPECT_EQ(GetParam().taken, read()[0].addresses[0].ip);
}

// ---- what is refused ----------------------------------------------------------------------------

TEST_F(ServerFile, MissingFileIsTold) {
  EXPECT_EQ(path() + ": cannot be opened: No such file or directory", fault());
}

TEST_F(ServerFile, BrokenXmlIsToldWithItsLine) {
  write("<root>\n<cluster>\n</root>");
  EXPECT_EQ(0U, fault().find(path() + ":3: not well-formed XML"));
}

TEST_F(ServerFile, MissingClusterElementIsRefused) {
  write("<root><clusters/></root>");
  EXPECT_EQ("cluster.xml: /root/cluster: missing", fault());
}

TEST_F(ServerFile, MissingNameIsRefused) {
  EXPECT_EQ("cluster.xml: /root/cluster/server[2]/name: missing",
            fault_of(server(local_name(), address("10.0.0.1", "0")) + "<server>" +
                     address("10.0.0.2", "0") + "</server>"));
}

class WrongName : public ServerFile, public ::testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(ServerFile, WrongName,
                         ::testing::Values("", "alpha.example.org", "al pha", "al/pha", "al\npha",
                                           "alph\xc3\xa4", "10.0.0.1", "a:b", "*"));

TEST_P(WrongName, IsRefusedWithTheRule) {
  EXPECT_EQ(std::string("cluster.xml: /root/cluster/server[1]/name: \"") + GetParam() +
                "\" is not a short host name of 1 to 64 letters, digits, \"-\" and \"_\"",
            fault_of(server(GetParam(), address("10.0.0.1", "0"))));
}

TEST_F(ServerFile, NameOf65CharactersIsRefusedAndShownCut) {
  EXPECT_EQ("cluster.xml: /root/cluster/server[1]/name: \"" + std::string(64, 'n') +
                "...\" is not a short host name of 1 to 64 letters, digits, \"-\" and \"_\"",
            fault_of(server(std::string(65, 'n'), address("10.0.0.1", "0"))));
}

TEST_F(ServerFile, NameOfAnyLengthIsRefused) {
  EXPECT_NE(std::string::npos,
            fault_of(server(std::string(2 << 20, 'n'), address("10.0.0.1", "0"))).find("name"));
}

TEST_F(ServerFile, NameThatIsThereTwiceIsRefused) {
  EXPECT_EQ("cluster.xml: /root/cluster/server[3]/name: \"beta\" is also the name of server 2",
            fault_of(server(local_name(), address("10.0.0.1", "0")) +
                     server("beta", address("10.0.0.2", "0")) +
                     server("beta", address("10.0.0.3", "0"))));
}

TEST_F(ServerFile, ClusterWithoutThisServerIsRefusedWithItsName) {
  EXPECT_EQ(
      "cluster.xml: /root/cluster: this server, \"" + local_name() + "\", is not among its servers",
      fault_of(server("x" + local_name(), address("10.0.0.1", "0"))));
}

TEST_F(ServerFile, TooManyServersAreRefused) {
  std::string servers;
  for (int i = 1; i <= 101; ++i) servers += numbered_server(i);
  EXPECT_EQ("cluster.xml: /root/cluster/server[101]: more than 100 servers", fault_of(servers));
}

TEST_F(ServerFile, TooManyAddressesAreRefused) {
  std::string addresses;
  for (int i = 0; i < 9; ++i)
    addresses += address("10.0.0." + std::to_string(i), std::to_string(i));
  EXPECT_EQ(
      "cluster.xml: /root/cluster/server[1]/address[9]: server \"beta\" has more than 8 addresses",
      fault_of(server("beta", addresses)));
}

TEST_F(ServerFile, ServerOfSeveralWithoutAnAddressIsRefused) {
  EXPECT_EQ("cluster.xml: /root/cluster/server[2]/address[1]: missing at server \"beta\"",
            fault_of(server(local_name(), address("10.0.0.1", "0")) + server("beta", "")));
}

TEST_F(ServerFile, AddressWithoutItsPartsIsRefused) {
  const std::string key = "cluster.xml: /root/cluster/server[1]/address[1]/";
  EXPECT_EQ(key + "ip: missing at server \"beta\"", fault_of(server("beta", "<address/>")));
  EXPECT_EQ(key + "ip: missing at server \"beta\"",
            fault_of(server("beta", "<address>10.0.0.1</address>")));
  EXPECT_EQ(key + "interconnect: missing at server \"beta\"",
            fault_of(server("beta", "<address><ip>10.0.0.1</ip></address>")));
}

struct WrongText {
  const char* text;
  const char* reason;
};
void PrintTo(const WrongText& row, std::ostream* out) { *out << row.text; }
constexpr char kNotNumeric[] = "is not a numeric IPv4 or IPv6 address";
constexpr char kWildcard[] = "is a wildcard address";
constexpr char kMulticast[] = "is a multicast address";
constexpr char kLinkLocal[] = "is a link-local address, which needs a scope";

class WrongAddress : public ServerFile, public ::testing::WithParamInterface<WrongText> {};
INSTANTIATE_TEST_SUITE_P(
    ServerFile, WrongAddress,
    ::testing::Values(WrongText{"", kNotNumeric}, WrongText{"beta", kNotNumeric},
                      WrongText{"10.0.0.256", kNotNumeric}, WrongText{"10.0.0", kNotNumeric},
                      WrongText{"010.0.0.1", kNotNumeric}, WrongText{"10.0.0.1:29003", kNotNumeric},
                      WrongText{"10.0.0.1/24", kNotNumeric}, WrongText{"[::1]", kNotNumeric},
                      WrongText{"1::2::3", kNotNumeric}, WrongText{"fe80::1%eth0", kNotNumeric},
                      WrongText{"0.0.0.0", kWildcard}, WrongText{"::", kWildcard},
                      WrongText{"::ffff:0.0.0.0", kWildcard}, WrongText{"224.0.0.1", kMulticast},
                      WrongText{"239.255.255.255", kMulticast},
                      WrongText{"::ffff:224.0.0.1", kMulticast}, WrongText{"ff02::1", kMulticast},
                      WrongText{"255.255.255.255", "is a broadcast address"},
                      WrongText{"fe80::1", kLinkLocal}, WrongText{"FEBF::1", kLinkLocal}));

TEST_P(WrongAddress, IsRefusedWithServerKeyAndValue) {
  EXPECT_EQ("cluster.xml: /root/cluster/server[1]/address[2]/ip: \"" +
                std::string(GetParam().text) + "\" of server \"beta\" " + GetParam().reason,
            fault_of(server("beta", address("10.0.0.1", "0") + address(GetParam().text, "1"))));
}

class WrongInterconnect : public ServerFile, public ::testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(ServerFile, WrongInterconnect,
                         ::testing::Values("", "-1", "one", "1.5", "1 2", "2147483648",
                                           "99999999999", "0x1"));

TEST_P(WrongInterconnect, IsRefusedWithServerKeyAndValue) {
  EXPECT_EQ("cluster.xml: /root/cluster/server[1]/address[1]/interconnect: \"" +
                std::string(GetParam()) +
                "\" of server \"beta\" is not a whole number from 0 to 2147483647",
            fault_of(server("beta", address("10.0.0.1", GetParam()))));
}

TEST_F(ServerFile, AddressOfTwoServersIsRefusedInWhateverForm) {
  EXPECT_EQ(
      "cluster.xml: /root/cluster/server[2]/address[2]/ip: \"10.0.0.1\" of server \"beta\" "
      "is also an address of server \"" +
          local_name() + "\"",
      fault_of(server(local_name(), address("10.0.0.1", "0")) +
               server("beta", address("10.0.0.2", "0") + address("::ffff:10.0.0.1", "1"))));
  EXPECT_EQ(
      "cluster.xml: /root/cluster/server[1]/address[2]/ip: \"fd00::1\" of server \"beta\" "
      "is also an address of server \"beta\"",
      fault_of(server("beta", address("fd00::1", "0") + address("FD00:0::1", "1"))));
}

TEST_F(ServerFile, ServerThatIsTwiceOnAnInterconnectIsRefused) {
  EXPECT_EQ(
      "cluster.xml: /root/cluster/server[1]/address[3]/interconnect: \"4\" of server \"beta\" "
      "is also the interconnect of its address 10.0.0.1",
      fault_of(server(
          "beta", address("10.0.0.1", "4") + address("10.0.0.2", "5") + address("10.0.0.3", "4"))));
}

TEST_F(ServerFile, UnknownHostNameIsTheReasonGiven) {
  write_cluster("");
  const alt_test::Fault no_name(alt_test::Site::kHostName, ENAMETOOLONG);
  EXPECT_EQ("the host name \"\" is no server name of 1 to 64 characters", fault());
}

TEST_F(ServerFile, ReadingEndsTheXmlLibraryAlsoAfterAFault) {
  char text[8];
  int size = sizeof text;
  write_cluster("");
  read();
  EXPECT_EQ(-1, xmllib_get_value("/root/cluster", XMLLIB_TEXT, text, &size));
  fault_of("<server/>");
  EXPECT_EQ(-1, xmllib_get_value("/root/cluster", XMLLIB_TEXT, text, &size));
}

// ---- warnings -----------------------------------------------------------------------------------

std::vector<ServerEntry> on_one_network(const Texts& names) {
  std::vector<ServerEntry> servers;
  for (const std::string& name : names) {
    servers.push_back({name, {{"10.0.0." + std::to_string(servers.size()), 0}}});
  }
  return servers;
}

TEST(ServerWarnings, OrdinaryClusterHasNone) {
  EXPECT_EQ(Texts{}, server_warnings(on_one_network({"alpha", "beta", "gamma", "Alph"}), "beta"));
  EXPECT_EQ(Texts{}, server_warnings({{"alpha", {}}}, "alpha"));
}

TEST(ServerWarnings, NameThatBeginsAnotherIsTold) {
  EXPECT_EQ(
      (Texts{"the name of server \"node1\" begins the name of server \"node10\", which may take "
             "alert ids of the first for its own",
             "the name of server \"node1\" begins the name of server \"node1-b\", which may take "
             "alert ids of the first for its own"}),
      server_warnings(on_one_network({"node10", "node1", "node1-b"}), "node1"));
}

TEST(ServerWarnings, ServerWithoutACommonInterconnectIsTold) {
  const std::vector<ServerEntry> servers = {{"alpha", {{"10.0.0.1", 0}, {"10.1.0.1", 1}}},
                                            {"beta", {{"10.1.0.2", 1}}},
                                            {"gamma", {{"10.2.0.3", 2}}}};
  EXPECT_EQ(Texts{"server \"gamma\" is on no interconnect of this server, \"alpha\": they exchange "
                  "no alerts"},
            server_warnings(servers, "alpha"));
  EXPECT_EQ(2U, server_warnings(servers, "gamma").size());
}

TEST(ServerWarnings, MoreServersThanOneMessageNamesAreTold) {
  Texts names;
  for (int i = 100; i < 163; ++i) names.push_back("node" + std::to_string(i));
  EXPECT_EQ(Texts{}, server_warnings(on_one_network(names), "node100"));
  names.emplace_back("node163");
  const Texts warnings = server_warnings(on_one_network(names), "node100");
  ASSERT_EQ(1U, warnings.size());
  EXPECT_NE(std::string::npos, warnings[0].find("more than 63 servers"));
}

}  // namespace
}  // namespace qel::daemon_test
