#include "support/protocol_test.h"

#include <fcntl.h>
#include <qelipc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <utility>

namespace alt_test {
namespace {

std::string state_name() { return "/alt_test." + std::to_string(getpid()); }

uint32_t number_at(const std::string& bytes, size_t offset) {
  uint32_t number = 0;
  for (size_t i = 0; i < 4; ++i)
    number = number << 8 | static_cast<unsigned char>(bytes.at(offset + i));
  return number;
}

}  // namespace

NewAlertEvent::NewAlertEvent() { setenv("QEL_IPC_NAME", state_name().c_str(), 1); }

NewAlertEvent::~NewAlertEvent() {
  shm_unlink(state_name().c_str());
  unsetenv("QEL_IPC_NAME");
}

bool NewAlertEvent::raised() { return semevt_wait_alert(&seen_, 0) == 1; }

// A stranger's address is received at as well: what goes there must not stay unseen.
ProtocolTest::ProtocolTest()
    : wire_({kOwn[0], kOwn[1], kNode2[0], kNode2[1], kNode3[0], kNode3[1], kStranger}) {
  alt_udp_port = wire_.port();
  make_log(TempStore::kDefaultCapacity);
  reset_protocol();
  initialize();
  local_svr = new_server("node1", {kOwn[0], kOwn[1]});
  add_server("node1", {kOwn[0], kOwn[1]});
  add_server("node2", {kNode2[0], kNode2[1]});
  add_server("node3", {kNode3[0], kNode3[1]});
  log_.clear();
}

ProtocolTest::~ProtocolTest() { reset_protocol(); }

void ProtocolTest::reset_protocol() {
  for (ty_svrlist** list : {&local_svr, &server_list_head, &new_server_list, &servers_not_reply}) {
    release_svrlist(list);
  }
  init_send_hist();
  sequencenum = 1;
  max_alertid_localserver = 0;
  g_sync_step = RESYN_END;
  g_last_resync_time = 0;
  current_ratio = 1;
  tckconf = 100;
  g_resend_timeout = 3;
  g_alert_retry_count = 2;
  g_get_altid_timeout = 7;
  g_get_srvname_timeout = 5;
  g_alert_cheknewsvr_interval = 11;
  check_newsvr_time = 30;
  for (int* flag :
       {&check_newsvr_flag, &sync_single_svrname_time, &sync_single_svrname_flag,
        &sync_single_altid_time, &sync_single_altid_flag, &check_newsvr_now,
        &sync_single_svrname_now, &sync_single_altid_now, &start_write_local_logfile,
        &start_count_time_for_maxalertid_localserver, &get_maxalertid_localserver_now}) {
    *flag = 0;
  }
}

ty_svrlist* ProtocolTest::server(const std::string& name) {
  for (ty_svrlist* node = server_list_head; node != nullptr; node = node->next) {
    if (node->svr_name == name) return node;
  }
  throw std::runtime_error("no such server: " + name);
}

void ProtocolTest::add_server(const std::string& name,
                              std::initializer_list<const char*> addresses) {
  ty_svrlist** end = &server_list_head;
  while (*end != nullptr) end = &(*end)->next;
  *end = new_server(name, addresses);
}

void ProtocolTest::keep_only_the_local_server() { release_svrlist(&server_list_head->next); }

void ProtocolTest::cut_off(ty_svrlist* node, int index) {
  node->ip_addr[index].device_id = kNoInterconnect;
}

void ProtocolTest::cut_off(ty_svrlist* node) {
  for (int i = 0; i < node->ip_num; ++i) cut_off(node, i);
}

void ProtocolTest::put(ty_svrlist** list, std::initializer_list<const char*> names) {
  for (const char* name : names) {
    if (add_to_server_list(list, server(name)) != 0) throw std::runtime_error("not added");
  }
}

// A process that is no daemon yet makes a log without asking the cluster.
void ProtocolTest::make_log(int capacity) {
  for (const char* name : kStoreFiles) remove_file(alt_path_only + std::string(name));
  ty_svrlist* const daemon = std::exchange(local_svr, nullptr);
  alt_max_count = capacity;
  const Opened log(open_file(alt_name_only, O_RDWR));
  local_svr = daemon;
}

void ProtocolTest::hold(const std::string& server, std::initializer_list<uint32_t> ids) {
  for (const uint32_t id : ids) {
    ALERT_RECORD_INFO record = make_record(id);
    set_text(record.szServer, server);
    store(record, 1);
  }
}

Texts ProtocolTest::held() const {
  const auto content = read_file(path("alertlog.alt"));
  if (!content) return {};
  const auto log = std::make_shared<std::string>(*content);
  Texts texts;
  const uint32_t count = alt_model::parse_header(log).value().count;
  for (uint32_t line = 0; line < count; ++line) {
    const auto record = alt_model::read_record(log, line).value();
    texts.push_back(record.server + ":" + std::to_string(record.id));
  }
  return texts;
}

void ProtocolTest::spoil(const char* file_name) const {
  remove_file(path(file_name));
  std::filesystem::create_directory(path(file_name));
}

void ProtocolTest::mend(const char* file_name) const { std::filesystem::remove(path(file_name)); }

Texts ProtocolTest::arrived() {
  Texts texts;
  for (const Datagram& datagram : wire_.take()) {
    char numbers[64];
    snprintf(numbers, sizeof(numbers), " 0x%x %u", number_at(datagram.bytes, 4),
             number_at(datagram.bytes, 8));
    texts.push_back(datagram.from + " > " + datagram.to + numbers);
  }
  return texts;
}

void ProtocolTest::expect_only(const std::string& from, const std::string& to,
                               const std::string& bytes) {
  const std::vector<Datagram> taken = wire_.take();
  ASSERT_EQ(taken.size(), 1U);
  EXPECT_EQ(taken[0].from, from);
  EXPECT_EQ(taken[0].to, to);
  EXPECT_EQ(first_difference(taken[0].bytes, bytes), "");
}

void ProtocolTest::expect_reply_to(uint32_t sequence) {
  al_msg* request = al_msg_new();
  request->msg_head->sequence = sequence;
  request->msg_head->reserve2 = 1;
  if (add_to_send_hist(request) != 0) throw std::runtime_error("not filed");
}

int ProtocolTest::requests_waiting() {
  int count = 0;
  for (const al_msg_send_hist* node = send_hist.next; node != nullptr; node = node->next) ++count;
  return count;
}

bool ProtocolTest::traced(const std::string& function) const {
  return log_.has(kTrace, "Enter function: " + function) &&
         log_.has(kTrace, "Leave function: " + function);
}

void put_names(char (*table)[ALERT_NAME_SIZE], const Texts& names) {
  for (size_t i = 0; i < names.size(); ++i) set_text(table[i], names[i]);
}

}  // namespace alt_test
