#include "random_series.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <numeric>

#include "alert_config.h"
#include "alert_index.h"
#include "alert_msg.h"
#include "support/files.h"

namespace alt_test {
namespace {

constexpr size_t kHistory = 12;
constexpr size_t kDumpedMessages = 30;
constexpr int kCapturedLevels = 1 | 2 | 4;
const std::vector<std::string>& cluster_names() {
  static const std::vector<std::string> names = {kLocalServer, "beta", "gamma"};
  return names;
}

// The state of the process that the store changes, in words.
std::string state_words(int id_wanted, int waiting, int may_write, const int* created,
                        const std::vector<std::string>& new_servers) {
  std::string words = "local id wanted " + std::to_string(id_wanted) + ", waiting for ids " +
                      std::to_string(waiting) + ", may write " + std::to_string(may_write) +
                      ", indexes created";
  for (int i = 0; i < ALERT_INDEX_COUNT; ++i) words += " " + std::to_string(created[i]);
  words += ", new servers";
  for (const std::string& name : new_servers) words += " " + name;
  return words;
}

std::string library_state() {
  std::vector<std::string> names;
  for (const ty_svrlist* node = new_server_list; node != nullptr; node = node->next) {
    names.emplace_back(node->svr_name);
  }
  return state_words(get_maxalertid_localserver_now, start_count_time_for_maxalertid_localserver,
                     start_write_local_logfile, index_create, names);
}

std::string model_state(const alt_model::Process& process) {
  return state_words(process.local_id_wanted, process.waiting_for_ids, process.may_write_local,
                     process.index_created.data(), process.new_servers);
}

bool is_time_stamp(const std::string& text) {
  static const std::string form = "dddd/dd/dd dd:dd:dd.ddd";
  if (text.size() != form.size()) return false;
  for (size_t i = 0; i < form.size(); ++i) {
    const bool digit = std::isdigit(static_cast<unsigned char>(text[i])) != 0;
    if (form[i] == 'd' ? !digit : text[i] != form[i]) return false;
  }
  return true;
}

}  // namespace

Cluster::Cluster(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    std::string text = name;
    ty_svrlist server{};
    server.svr_name = text.data();
    add_to_server_list(&server_list_head, &server);
    if (local_ == nullptr) add_to_server_list(&local_, &server);
  }
}

Cluster::~Cluster() {
  local_svr = nullptr;
  release_svrlist(&local_);
  release_svrlist(&server_list_head);
  release_svrlist(&new_server_list);
}

void Cluster::act_as_daemon(bool daemon) { local_svr = daemon ? local_ : nullptr; }

Series::Series(uint64_t seed, const SeriesStyle& style)
    : seed_(seed),
      style_(style),
      random_(seed),
      directory_(style.capacity),
      cluster_(cluster_names()),
      workload_(&random_, style.workload) {
  log_.clear();
  log_.set_levels(kCapturedLevels);
  alt_log_handle = log_.handle();
  get_maxalertid_localserver_now = 0;
  start_count_time_for_maxalertid_localserver = 0;
  start_write_local_logfile = 0;
  std::fill(index_create, index_create + ALERT_INDEX_COUNT, 0);
  model_.process.max_count = style.capacity;
  model_.process.local_server = kLocalServer;
  model_.process.cluster = cluster_names();
}

Series::~Series() {
  alt_log_handle = nullptr;
  log_.set_levels(~0);
}

bool Series::run(int count) {
  start_over();
  for (int i = 0; i < count && !apart_; ++i) perform_one();
  return !apart_;
}

// A search that finds nothing forgets the result that an earlier series left in this process.
void Series::start_over() { search_with({}, 1, 0); }

void Series::perform_one() {
  model_.process.daemon = random_.chance(80);
  const auto& all = operations();
  const int total = std::accumulate(all.begin(), all.end(), 0, [&](int sum, const Operation& one) {
    return sum + (one.damages && !style_.damage ? 0 : one.weight);
  });
  int at = random_.between(0, total - 1);
  for (const Operation& operation : all) {
    if (operation.damages && !style_.damage) continue;
    at -= operation.weight;
    if (at >= 0) continue;
    const int skipped_before = skipped_;
    (this->*operation.perform)();
    if (skipped_ == skipped_before) ++performed_[operation.name];
    return;
  }
}

void Series::step(const std::string& words, const InModel& in_model, const InLibrary& in_library) {
  ++number_;
  note(std::to_string(number_) + (model_.process.daemon ? " daemon: " : " client: ") + words);
  alt_model::StoreModel next = model_.clone();
  std::string expected;
  try {
    expected = in_model(next);
  } catch (const alt_model::Undefined&) {
    ++skipped_;
    history_.back() += " (left out)";
    return;
  }
  model_ = std::move(next);
  log_.clear();
  cluster_.act_as_daemon(model_.process.daemon);
  alt_max_count = model_.process.max_count;
  const std::string actual = in_library();
  settle_write_time();
  compare(actual, expected);
}

void Series::note(const std::string& words) {
  history_.push_back(words);
  if (history_.size() > kHistory) history_.pop_front();
}

// The write time is the library's own; its form is what can be tested.
void Series::settle_write_time() {
  const auto offset = model_.stamped_at();
  if (!offset) return;
  const std::string stamp = std::string(alt_model::StoreModel::kStamp);
  const auto content = read_file(directory_.path(alt_model::kLogName));
  if (!content || content->size() < *offset + stamp.size()) return;
  const std::string written = content->substr(*offset, stamp.size());
  if (is_time_stamp(written)) model_.set_stamp(written);
}

void Series::compare(const std::string& actual, const std::string& expected) {
  if (actual != expected) {
    fail("result differs\n  actual:   " + printable(actual) +
         "\n  expected: " + printable(expected) + "\n");
    return;
  }
  const std::string state = library_state();
  const std::string expected_state = model_state(model_.process);
  if (state != expected_state) {
    fail("state differs\n  actual:   " + state + "\n  expected: " + expected_state + "\n");
    return;
  }
  const std::string difference =
      first_difference(read_directory(directory_.directory()), model_.disk.contents());
  if (!difference.empty()) fail(difference);
}

void Series::fail(const std::string& difference) {
  apart_ = true;
  std::string story;
  for (const std::string& words : history_) story += "  " + words + "\n";
  ADD_FAILURE() << "library and model differ, seed " << seed_ << ", operation " << number_
                << ", capacity " << model_.process.max_count
                << "\nrepeat: " << repeat_command(seed_) << "\nlast operations:\n"
                << story << difference << "messages of the library:\n"
                << log_.dump(kDumpedMessages);
}

void Series::put_file(const std::string& name, const std::string& content) {
  write_file(directory_.path(name), content);
  *model_.disk.create(name) = content;
}

}  // namespace alt_test
