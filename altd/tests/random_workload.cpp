#include "random_workload.h"

#include <algorithm>
#include <cstdio>

namespace alt_test {
namespace {

using alt_model::Criteria;
using alt_model::Record;

using Words = std::vector<std::string>;

const Words& servers() {
  static const Words pool = {kLocalServer, kLocalServer, "beta",  "beta",
                             "gamma",      "alp",        "beta ", std::string(64, 'n')};
  return pool;
}
const Words& modules() {
  static const Words pool = {"disk", "net", "Net", "power supply", " fan", "net ", "\xc3\xa9tat"};
  return pool;
}
const Words& events() {
  static const Words pool = {"9", "10", "abc", "007", "7", "-3", "0", "1234567", "9x", " 10"};
  return pool;
}
const Words& levels() {
  static const Words pool = {"1", "2", "3", "3", "3", "critic."};
  return pool;
}

std::string clock_text(int tick) {
  char text[32];
  std::snprintf(text, sizeof(text), "2024/03/%02d %02d:%02d:%02d.%03d", 1 + tick / 86400 % 28,
                tick / 3600 % 24, tick / 60 % 60, tick % 60, tick % 7 * 100);
  return text;
}

}  // namespace

uint32_t Workload::alert_id() {
  static const std::vector<uint32_t> wide = {99999999,   100000000,  999999999,  0x7FFFFFFF,
                                             0x80000000, 0x80000005, 0xFFFFFFFE, 0xFFFFFFFF};
  if (style_.wide_ids && random_.chance(15)) return random_.pick(wide);
  if (random_.chance(3)) return 0;
  if (random_.chance(25)) return 1 + static_cast<uint32_t>(random_.below(next_id_));
  return next_id_++;
}

std::string Workload::old_time() {
  static const Words odd = {"x", "2024/03/01 00:00", "0", "2023/12/31 23:59:59.999"};
  if (random_.chance(5)) return random_.pick(odd);
  return clock_text(static_cast<int>(random_.below(static_cast<uint64_t>(clock_) + 2)));
}

std::string Workload::time() {
  if (!style_.rising_times) {
    clock_ = 12;
    return old_time();
  }
  if (random_.chance(15)) return old_time();
  clock_ += random_.between(0, 2);
  return clock_text(clock_);
}

Record Workload::record() {
  Record record;
  record.id = alert_id();
  record.event = random_.pick(events());
  record.level = random_.pick(levels());
  record.server = random_.pick(servers());
  record.module = random_.pick(modules());
  record.write_time = random_.chance(1) ? "" : clock_text(random_.between(0, 99));
  record.server_time = time();
  const char letter = static_cast<char>('a' + random_.below(26));
  const int length = random_.chance(5) ? 511 : random_.between(1, 40);
  record.message = std::string(static_cast<size_t>(length), letter);
  if (random_.chance(10)) record.message += random_.chance(50) ? "   " : "\n";
  record.message.resize(std::min<size_t>(record.message.size(), 511));
  return record;
}

Record Workload::unstorable_record() {
  static constexpr std::string Record::*kChecked[] = {&Record::event,       &Record::level,
                                                      &Record::server,      &Record::module,
                                                      &Record::server_time, &Record::message};
  Record broken = record();
  broken.*kChecked[random_.below(std::size(kChecked))] = random_.chance(50) ? "" : "  ";
  return broken;
}

Criteria Workload::criteria() {
  Criteria criteria;
  if (random_.chance(40)) criteria.start = old_time();
  if (random_.chance(40)) criteria.stop = old_time();
  if (random_.chance(35)) criteria.server = random_.chance(95) ? random_.pick(servers()) : "zeta";
  if (random_.chance(25)) criteria.module = random_.chance(95) ? random_.pick(modules()) : "none";
  if (random_.chance(25)) criteria.event = random_.chance(95) ? random_.pick(events()) : "5555";
  if (random_.chance(25)) criteria.level = random_.pick(levels());
  if (random_.chance(10)) criteria.sort = "1";
  return criteria;
}

}  // namespace alt_test
