#include "qelxml.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xml_file.h"

namespace {

using qel::XmlFile;
using qel::XmlValue;

constexpr const char* kClusterFile = "cluster.xml";
constexpr size_t kProgramNameMax = 64;
constexpr size_t kSectionNameMax = 64;
constexpr int kShownValueMax = 40; /* of a wrong value in an error */

struct Section {
  std::string name;
  XmlFile file;
};

struct Configuration {
  std::string program;
  std::string directory;
  std::optional<XmlFile> cluster;
  std::vector<Section> sections; /* in the order of loading */
};

std::unique_ptr<Configuration> g_configuration;

/* A fixed place: telling a failure must not fail itself. */
char g_last_error[1024];

__attribute__((format(printf, 1, 2))) int fail(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  (void)std::vsnprintf(g_last_error, sizeof g_last_error, format, arguments);
  va_end(arguments);
  return -1;
}

/* Runs the body of a call; what it throws becomes a failure. */
template <typename Body>
int guarded(Body body) {
  try {
    return body();
  } catch (const std::exception& failure) {
    return fail("%s", failure.what());
  }
}

template <typename Body>
int with_configuration(Body body) {
  return guarded([&] {
    return g_configuration ? body(*g_configuration) : fail("the XML library is not started");
  });
}

bool is_section_name(const char* name) {
  static constexpr const char* kAllowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-";
  const size_t length = name != nullptr ? std::strlen(name) : 0;
  return length >= 1 && length <= kSectionNameMax && std::strspn(name, kAllowed) == length;
}

bool drop_section(Configuration& configuration, std::string_view name) {
  return std::erase_if(configuration.sections,
                       [&](const Section& section) { return section.name == name; }) > 0;
}

int load_policy(Configuration& configuration, const char* name) {
  if (!is_section_name(name)) {
    return fail("%s: \"%.*s\" is not the name of a policy section", configuration.program.c_str(),
                kShownValueMax, name != nullptr ? name : "");
  }
  drop_section(configuration, name);
  Section section{name, {}};
  std::string error;
  if (!section.file.load(configuration.directory + "/" + name + ".xml", &error)) {
    return fail("%s", error.c_str());
  }
  configuration.sections.push_back(std::move(section));
  return 0;
}

struct FoundValue {
  const XmlFile* file;
  XmlValue value;
};

std::optional<FoundValue> find_value(const Configuration& configuration, const char* key) {
  std::vector<const XmlFile*> files;
  for (const Section& section : configuration.sections) {
    files.insert(files.begin(), &section.file);
  }
  if (configuration.cluster) {
    files.push_back(&*configuration.cluster);
  }
  for (const XmlFile* file : files) {
    if (auto value = file->find(key)) {
      return FoundValue{file, std::move(*value)};
    }
  }
  return std::nullopt;
}

int fail_missing(const Configuration& configuration, const char* key) {
  std::string files = configuration.cluster ? kClusterFile : "";
  for (const Section& section : configuration.sections) {
    files += (files.empty() ? "" : ", ") + section.name + ".xml";
  }
  return fail("%s: %s: no such key in %s", configuration.program.c_str(), key,
              files.empty() ? "any file: none is loaded" : files.c_str());
}

int fail_at(const FoundValue& found, const char* key, const std::string& reason) {
  return fail("%s:%d: %s: %s", found.file->path().c_str(), found.value.line, key, reason.c_str());
}

std::string quoted(const std::string& text) {
  const bool whole = text.size() <= static_cast<size_t>(kShownValueMax);
  return "\"" + (whole ? text : text.substr(0, kShownValueMax) + "...") + "\"";
}

int copy_text(const FoundValue& found, const char* key, char* buffer, int* size) {
  const std::string& text = found.value.text;
  if (*size < 0 || text.size() >= static_cast<size_t>(*size)) {
    return fail_at(found, key,
                   "the text of " + std::to_string(text.size()) +
                       " bytes does not fit into a buffer of " + std::to_string(*size));
  }
  std::memcpy(buffer, text.c_str(), text.size() + 1);
  *size = static_cast<int>(text.size());
  return 0;
}

int copy_number(const FoundValue& found, const char* key, void* buffer, const int* size) {
  if (*size < static_cast<int>(sizeof(int))) {
    return fail_at(found, key,
                   "a number does not fit into a buffer of " + std::to_string(*size) + " bytes");
  }
  int number = 0;
  const std::string fault = qel::int_fault(found.value.text, &number);
  if (!fault.empty()) {
    return fail_at(found, key, quoted(found.value.text) + " " + fault);
  }
  std::memcpy(buffer, &number, sizeof number);
  return 0;
}

int get_value(const Configuration& configuration, const char* key, int type, void* buffer,
              int* size) {
  const char* program = configuration.program.c_str();
  if (key == nullptr || buffer == nullptr || size == nullptr) {
    return fail("%s: %s: null argument", program, key != nullptr ? key : "no key");
  }
  if (type != XMLLIB_TEXT && type != XMLLIB_INT) {
    return fail("%s: %s: %d is not a type", program, key, type);
  }
  const auto found = find_value(configuration, key);
  if (!found) {
    return fail_missing(configuration, key);
  }
  return type == XMLLIB_TEXT ? copy_text(*found, key, static_cast<char*>(buffer), size)
                             : copy_number(*found, key, buffer, size);
}

}  // namespace

int xmllib_init(const char* name) {
  return guarded([&] {
    const size_t length = name != nullptr ? std::strlen(name) : 0;
    if (length < 1 || length > kProgramNameMax) {
      return fail("a program name has 1 to %zu characters, not %zu", kProgramNameMax, length);
    }
    auto fresh = std::make_unique<Configuration>();
    fresh->program = name;
    fresh->directory = qel::configuration_directory();
    g_configuration = std::move(fresh);
    g_last_error[0] = '\0';
    return 0;
  });
}

int xmllib_load_config() {
  return with_configuration([](Configuration& configuration) {
    std::string error;
    configuration.cluster.emplace();
    if (!configuration.cluster->load(configuration.directory + "/" + kClusterFile, &error)) {
      configuration.cluster.reset();
      return fail("%s", error.c_str());
    }
    return 0;
  });
}

int xmllib_load_policy(const char* section) {
  return with_configuration(
      [&](Configuration& configuration) { return load_policy(configuration, section); });
}

int xmllib_unload_policy(const char* section) {
  return with_configuration([&](Configuration& configuration) {
    if (!drop_section(configuration, section != nullptr ? section : "")) {
      return fail("%s: the policy section \"%.*s\" is not loaded", configuration.program.c_str(),
                  kShownValueMax, section != nullptr ? section : "");
    }
    return 0;
  });
}

int xmllib_get_value(const char* key, int type, void* buffer, int* size) {
  return with_configuration([&](const Configuration& configuration) {
    return get_value(configuration, key, type, buffer, size);
  });
}

int xmllib_unload_config() {
  return with_configuration([](Configuration& configuration) {
    if (!configuration.cluster) {
      return fail("%s: %s is not loaded", configuration.program.c_str(), kClusterFile);
    }
    configuration.cluster.reset();
    configuration.sections.clear();
    return 0;
  });
}

int xmllib_term() {
  return with_configuration([](Configuration&) {
    g_configuration.reset();
    return 0;
  });
}

clock_t xmllib_times(struct tms* t) { return ::times(t); }

const char* xmllib_last_error() { return g_last_error; }
