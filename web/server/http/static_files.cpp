#include "static_files.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "digest.h"
#include "file_content.h"
#include "text.h"

namespace qel::web {

namespace {

namespace fs = std::filesystem;

struct Kind {
  const char* extension;
  const char* type;
};
constexpr Kind kKinds[] = {{".html", "text/html; charset=utf-8"},
                           {".js", "text/javascript; charset=utf-8"},
                           {".css", "text/css; charset=utf-8"},
                           {".svg", "image/svg+xml"},
                           {".png", "image/png"},
                           {".ico", "image/x-icon"},
                           {".woff2", "font/woff2"},
                           {".json", "application/json"},
                           {".txt", "text/plain; charset=utf-8"}};
constexpr const char* kPacked = ".gz";

// Null when no page has files of that kind.
const char* type_of(const fs::path& name) {
  for (const Kind& kind : kKinds) {
    if (name.extension() == kind.extension) return kind.type;
  }
  return nullptr;
}

// The names of what lies in assets/ carry a digest of the content, the others stay.
const char* cache_control_of(const std::string& path) {
  return path.starts_with("/assets/") ? "public, max-age=31536000, immutable" : "no-cache";
}

std::string tag_of(const std::string& content) {
  return '"' + hexadecimal(digest(content)).substr(0, 32) + '"';
}

// A weight of 0 says no, in whatever form it is written.
bool refuses(std::string_view weight) {
  weight = trim(weight);
  return same_but_for_case(weight.substr(0, 2), "q=") &&
         strtod(std::string(weight.substr(2)).c_str(), nullptr) <= 0;
}

bool takes_gzip(std::string_view accepted) {
  const auto choices = split(accepted, ',');
  return std::any_of(choices.begin(), choices.end(), [](std::string_view choice) {
    const auto parts = split(choice, ';');
    return same_but_for_case(trim(parts[0]), "gzip") && (parts.size() == 1 || !refuses(parts[1]));
  });
}

// Whether the client's If-None-Match says that it has this form already.
bool has_already(std::string_view held_tags, const std::string& tag) {
  const auto tags = split(held_tags, ',');
  return std::any_of(tags.begin(), tags.end(), [&tag](std::string_view held) {
    held = trim(held);
    if (held.starts_with("W/")) held.remove_prefix(2);
    return held == "*" || held == tag;
  });
}

}  // namespace

std::optional<StaticFiles> StaticFiles::load(const std::string& directory, std::string* error) {
  StaticFiles files;
  std::error_code code;
  for (fs::recursive_directory_iterator entry(directory, code), end; !code && entry != end;
       entry.increment(code)) {
    const std::string name = fs::relative(entry->path(), directory).string();
    const bool is_served = entry->is_regular_file() && !name.ends_with(kPacked);
    if (is_served && !files.add(directory, name, error)) return {};
  }
  if (code) {
    *error = "the directory " + directory + " cannot be read: " + code.message();
    return {};
  }
  if (files.files_.contains("/index.html")) return files;
  *error = "the directory " + directory + " has no index.html";
  return {};
}

bool StaticFiles::add(const std::string& directory, const std::string& name, std::string* error) {
  const fs::path file = fs::path(directory) / name;
  const char* type = type_of(file);
  if (type == nullptr) {
    *error = "the file " + file.string() + " is of a kind that is not served";
    return false;
  }
  auto content = file_content(file, error);
  if (!content) return false;
  const std::string path = "/" + name;
  File& held = files_[path];
  held.type = type;
  held.cache_control = cache_control_of(path);
  held.plain.tag = tag_of(*content);
  held.plain.content = std::move(*content);

  const std::string packed_file = file.string() + kPacked;
  if (!fs::exists(packed_file)) return true;
  auto packed = file_content(packed_file, error);
  if (!packed) return false;
  const std::string tag = tag_of(*packed);
  held.packed = Form{std::move(*packed), tag};
  return true;
}

std::optional<Response> StaticFiles::serve(const Request& request) const {
  const auto found = files_.find(request.path == "/" ? "/index.html" : request.path);
  if (found == files_.end()) return {};
  const File& file = found->second;
  const bool packed = file.packed && takes_gzip(request.header("Accept-Encoding"));
  const Form& form = packed ? *file.packed : file.plain;

  Response response{.type = file.type};
  response.headers = {{"Cache-Control", file.cache_control}, {"ETag", form.tag}};
  if (file.packed) response.headers.emplace_back("Vary", "Accept-Encoding");
  if (has_already(request.header("If-None-Match"), form.tag)) {
    response.status = 304;
    return response;
  }
  if (packed) response.headers.emplace_back("Content-Encoding", "gzip");
  response.body = form.content;
  return response;
}

}  // namespace qel::web
