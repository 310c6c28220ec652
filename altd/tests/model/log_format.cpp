#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "model/formats.h"

namespace alt_model {
namespace {

constexpr size_t kHeaderMax = 1024;
constexpr std::array<size_t, 8> kColumnWidths = {10, 24, 24, 65, 32, 8, 8, 512};

// Offset and size of the texts in a record image.
struct ImageField {
  std::string Record::*text;
  size_t offset;
  size_t size;
};
constexpr ImageField kImageFields[] = {
    {&Record::event, 4, 8},       {&Record::level, 12, 8},        {&Record::server, 20, 65},
    {&Record::module, 85, 32},    {&Record::write_time, 117, 24}, {&Record::server_time, 141, 24},
    {&Record::message, 165, 512},
};

std::string upto_nul(const std::string& bytes) { return bytes.substr(0, bytes.find('\0')); }

std::string left_aligned(const std::string& text, size_t width) {
  std::string column = text;
  column.resize(width, ' ');
  return column;
}

}  // namespace

Record record_of_image(const std::string& image) {
  Record record;
  std::memcpy(&record.id, image.data(), sizeof(record.id));
  for (const ImageField& field : kImageFields) {
    record.*field.text = upto_nul(image.substr(field.offset, field.size));
    if ((record.*field.text).size() == field.size) throw Undefined("field without its NUL");
  }
  return record;
}

std::string image_of_record(const Record& record) {
  std::string image(kRecordImage, '\0');
  std::memcpy(image.data(), &record.id, sizeof(record.id));
  for (const ImageField& field : kImageFields) {
    const std::string& text = record.*field.text;
    if (text.size() >= field.size) throw Undefined("field without its NUL");
    image.replace(field.offset, text.size(), text);
  }
  return image;
}

std::string describe(const Record& record) {
  return "id " + std::to_string(record.id) + " server '" + record.server + "' module '" +
         record.module + "' event '" + record.event + "' level '" + record.level + "' raised '" +
         record.server_time + "' written '" + record.write_time + "' message '" +
         record.message.substr(0, 20) + "' (" + std::to_string(record.message.size()) + ")";
}

const std::string& key_of(const Record& record, int index) {
  switch (index) {
    case kTimeIndex:
      return record.server_time;
    case 2:
      return record.module;
    case kEventIndex:
      return record.event;
    case 4:
      return record.level;
    default:
      return record.server;
  }
}

std::string header_lines(const LogHeader& header) {
  char text[kHeaderMax];
  std::snprintf(text, sizeof(text),
                "Max count:%8d\nCurrent count:%8d\nCurrent to write:%8d\nMax record size:%8d\n"
                "Is changed:%8d\nCurrent alert Id:%8d\n",
                static_cast<int>(header.max_count), static_cast<int>(header.count),
                static_cast<int>(header.to_write), static_cast<int>(header.record_size),
                header.changed, static_cast<int>(header.current_id));
  return text;
}

std::string header_text(const LogHeader& header) {
  char titles[kHeaderMax];
  std::snprintf(titles, sizeof(titles), "%-10s%-24s%-24s%-65s%-32s%-8s%-8s%-20s\n", "AlertID",
                "Write Time", "Date & Time", "Server", "Module", "EventId", "Level",
                "Alert Message");
  return header_lines(header) + titles + "\n";
}

std::optional<LogHeader> parse_header(const File& log) {
  const std::string text = upto_nul(read_bytes(log, 0, kHeaderMax));
  std::array<long, 6> numbers{};
  size_t begin = 0;
  for (long& number : numbers) {
    const size_t end = text.find('\n', begin);
    if (end == std::string::npos) return std::nullopt;
    const std::string line = text.substr(begin, end - begin);
    const size_t colon = line.find(':');
    if (colon == std::string::npos) return std::nullopt;
    number = std::strtol(line.c_str() + colon + 1, nullptr, 10);
    begin = end + 1;
  }
  return LogHeader{static_cast<uint32_t>(numbers[0]), static_cast<uint32_t>(numbers[1]),
                   static_cast<uint32_t>(numbers[2]), static_cast<uint32_t>(numbers[3]),
                   static_cast<int>(numbers[4]),      static_cast<uint32_t>(numbers[5])};
}

// Just behind the first empty line. Without one the walk ends behind the last byte read.
size_t header_length(const File& log) {
  const std::string text = log->substr(0, kHeaderMax);
  if (!text.empty() && text[0] == '\n') return 1;
  const size_t empty_line = text.find("\n\n");
  return empty_line == std::string::npos ? text.size() + 1 : empty_line + 2;
}

std::string record_line(const Record& record) {
  char id[16];
  std::snprintf(id, sizeof(id), "%u", record.id);
  const std::array<std::string, 8> columns = {
      id,           record.write_time, record.server_time, record.server, record.module,
      record.event, record.level,      record.message};
  std::string line;
  for (size_t i = 0; i < columns.size(); ++i) line += left_aligned(columns[i], kColumnWidths[i]);
  return line + "\n";
}

std::optional<Record> read_record(const File& log, uint32_t line) {
  const std::string text =
      read_bytes(log, header_length(log) + static_cast<size_t>(line) * kRecordLine, kRecordLine);
  std::array<std::string, 8> columns;
  size_t begin = 0;
  for (size_t i = 0; i < columns.size(); ++i) {
    const size_t width = kColumnWidths[i];
    const size_t last = text.find_last_not_of(' ', begin + width - 1);
    const size_t end = last == std::string::npos ? 0 : last + 1;
    // The walk over the blanks has no other end than the first character that is none.
    if (end < begin) return std::nullopt;
    columns[i] = upto_nul(text.substr(begin, end - begin));
    // Column 0 is a number; every other full column leaves its field no room for a NUL.
    if (i > 0 && columns[i].size() >= width) throw Undefined("column as wide as its field");
    begin += width;
  }
  Record record;
  record.id = static_cast<uint32_t>(std::strtol(columns[0].c_str(), nullptr, 10));
  record.write_time = columns[1];
  record.server_time = columns[2];
  record.server = columns[3];
  record.module = columns[4];
  record.event = columns[5];
  record.level = columns[6];
  record.message = columns[7];
  return record;
}

}  // namespace alt_model
