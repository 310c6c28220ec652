#include "api.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <ctime>

#include "alert_log.h"
#include "alert_stream.h"
#include "alerts/record_text.h"
#include "alerts/visible_text.h"
#include "counts.h"
#include "criteria.h"
#include "exports.h"
#include "http/problem.h"
#include "search.h"
#include "status.h"

namespace qel::web {
namespace {

constexpr std::string_view kOneAlert = "/api/v1/alerts/";
constexpr int64_t kSizeMax = 1000;
constexpr int64_t kSizeUsual = 100;
constexpr int64_t kConsideredMax = 100000000;
constexpr size_t kCursorMax = 200;
constexpr long kExportsMax = 8;  // at a time: each keeps the log as it was
constexpr size_t kIdMax = 64;    // bytes of a revision or of the id of an event

// Ends a request with an answer that is no success.
struct Refusal {
  Problem kind;
  std::string detail;
};

Response too_many_exports() {
  constexpr unsigned kComeAgain_s = 5;
  return problem_for_now(Problem::kTooManyRequests, "too many exports are under way", kComeAgain_s);
}

Response json_response(const Json& document) {
  Response response;
  response.type = "application/json";
  response.body = json_text(document) + "\n";
  return response;
}

template <typename Alerts>
Json alerts_json(const Alerts& alerts) {
  Json list = Json::array();
  for (const ALERT_RECORD_INFO& alert : alerts) list.push_back(alert_json(alert));
  return list;
}

PageWanted page_wanted(const Parameters& parameters) {
  PageWanted wanted{.page = parameters.number("page", 0, INT_MAX, 0),
                    .size = parameters.number("size", 1, kSizeMax, kSizeUsual)};
  const auto cursor = parameters.text("cursor", kCursorMax);
  if (!cursor.has_value()) return wanted;
  if (parameters.has("page")) {
    throw BadParameter(BadParameter::Kind::kBad, "page", "it cannot be given with cursor");
  }
  wanted.behind = Position::of_cursor(*cursor);
  if (wanted.behind.has_value()) return wanted;
  throw BadParameter(BadParameter::Kind::kBad, "cursor", in_quotes(*cursor) + " is no cursor");
}

Json page_json(const FoundPage& found, const PageWanted& wanted, const LogView& view,
               const std::optional<std::string>& revision) {
  return {{"total", found.total},
          {"page", found.page},
          {"pages", found.pages},
          {"size", wanted.size},
          {"next", found.next.has_value() ? Json(found.next->cursor()) : Json()},
          {"moved_on", revision.has_value() && *revision != view.revision()},
          {"source", found.by_index ? "index" : "snapshot"},
          {"log", log_json(view)},
          {"alerts", alerts_json(found.alerts)}};
}

int64_t now_ms() {
  using namespace std::chrono;
  return floor<milliseconds>(system_clock::now().time_since_epoch()).count();
}

Json histogram_json(const Histogram& histogram, size_t total, const LogView& view) {
  const int64_t end =
      histogram.from_ms + histogram.bucket_ms * static_cast<int64_t>(histogram.buckets.size());
  const bool none = histogram.buckets.empty();
  return {{"total", total},
          {"log", log_json(view)},
          {"from", none ? Json() : Json(histogram.from_ms)},
          {"until", none ? Json() : Json(end)},
          {"bucket_ms", histogram.bucket_ms},
          {"levels", kHistogramLevels},
          {"counts", histogram.buckets}};
}

// As the library tells them, unless that is not what the log holds: its index may be damaged.
bool same_alerts(std::vector<ALERT_RECORD_INFO> told, const std::vector<ALERT_RECORD_INFO>& held) {
  std::sort(told.begin(), told.end(), [](const ALERT_RECORD_INFO& a, const ALERT_RECORD_INFO& b) {
    return is_earlier(b, a);
  });
  return std::equal(told.begin(), told.end(), held.begin(), held.end(),
                    [](const ALERT_RECORD_INFO& a, const ALERT_RECORD_INFO& b) {
                      return !is_earlier(a, b) && !is_earlier(b, a);
                    });
}

std::vector<ALERT_RECORD_INFO> newest(const LogView& view, int64_t count) {
  const AlertList& all = view.snapshot()->alerts();
  std::vector<ALERT_RECORD_INFO> held(std::min(static_cast<size_t>(count), all.size()));
  for (size_t i = 0; i < held.size(); ++i) held[i] = *all[all.size() - 1 - i];
  if (view.condition() != LogCondition::kOk || held.empty()) return held;
  std::vector<ALERT_RECORD_INFO> told(held.size());
  const int got = alert_get_last(told.data(), static_cast<int>(told.size()));
  told.resize(static_cast<size_t>(std::max(got, 0)));
  return same_alerts(told, held) ? told : held;
}

struct RecentPage {
  int considered = 0;
  int page = -1;
  std::vector<ALERT_RECORD_INFO> alerts{};
};

RecentPage recent_of_copy(const Snapshot& snapshot, int total, int size, int page) {
  const AlertList& all = snapshot.alerts();
  RecentPage found;
  found.considered = std::min(total, static_cast<int>(all.size()));
  if (found.considered == 0) return found;
  found.page = std::min(page, (found.considered - 1) / size);
  const int end = std::min(found.considered, (found.page + 1) * size);
  for (int i = found.page * size; i < end; ++i) {
    found.alerts.push_back(*all[all.size() - 1 - static_cast<size_t>(i)]);
  }
  return found;
}

RecentPage recent_page(const LogView& view, int total, int size, int page) {
  const RecentPage held = recent_of_copy(*view.snapshot(), total, size, page);
  if (view.condition() != LogCondition::kOk || held.considered == 0) return held;
  RecentPage told{.considered = 0, .page = page};
  told.alerts.resize(static_cast<size_t>(size));
  int got = size;
  told.considered = get_alert_by_count(total, &got, &told.page, told.alerts.data());
  told.alerts.resize(told.considered > 0 ? static_cast<size_t>(got) : 0);
  const bool same = told.considered == held.considered && told.page == held.page &&
                    same_alerts(told.alerts, held.alerts);
  return same ? told : held;
}

}  // namespace

const Api::Route Api::kRoutes[] = {{"/api/v1/alerts", &Api::alerts},
                                   {"/api/v1/alerts/latest", &Api::latest},
                                   {"/api/v1/alerts/recent", &Api::recent},
                                   {"/api/v1/facets", &Api::facets},
                                   {"/api/v1/histogram", &Api::histogram},
                                   {"/api/v1/stream", &Api::stream},
                                   {"/api/v1/status", &Api::status},
                                   {"/api/v1/openapi.json", &Api::openapi},
                                   {"/metrics", &Api::metrics},
                                   {"/-/healthy", &Api::healthy},
                                   {"/-/ready", &Api::ready}};

Response Api::answer(const Request& request) {
  Response response;
  try {
    response = route(request);
  } catch (const BadParameter& bad) {
    const bool unknown = bad.kind() == BadParameter::Kind::kUnknown;
    response = problem(unknown ? Problem::kUnknownParameter : Problem::kBadParameter,
                       unknown ? bad.what() : bad.name() + ": " + bad.what(), bad.name());
  } catch (const Refusal& refusal) {
    response = problem(refusal.kind, refusal.detail);
  }
  ++counters_.answers[response.status];
  return response;
}

Response Api::route(const Request& request) {
  for (const Route& route : kRoutes) {
    if (route.path == request.path) return (this->*route.method)(request);
  }
  if (request.path.starts_with(kOneAlert)) return one_alert(request);
  std::optional<Response> file = parts_.page->serve(request);
  if (file.has_value()) return std::move(*file);
  throw Refusal{Problem::kNotFound, "there is nothing at " + in_quotes(request.path)};
}

// Looks at the log; there is nothing to tell when it could never be read.
void Api::need_log() {
  LogView& view = *parts_.view;
  view.look();
  if (view.condition() == LogCondition::kOk || view.last_good().has_value()) return;
  const bool missing = view.condition() == LogCondition::kMissing;
  throw Refusal{missing ? Problem::kLogMissing : Problem::kLogUnreadable, view.cause()};
}

Response Api::alerts(const Request& request) {
  const Parameters parameters(request,
                              filters_and({"page", "size", "cursor", "revision", "format"}));
  const Criteria criteria(parameters);
  const PageWanted wanted = page_wanted(parameters);
  const auto revision = parameters.text("revision", kIdMax);
  const AlertForm form = form_wanted(request, parameters);
  need_log();
  LogView& view = *parts_.view;
  const bool paged = parameters.has("page") || parameters.has("size") || wanted.behind.has_value();
  if (form != AlertForm::kJson && !paged) {
    if (exports_.use_count() > kExportsMax) return too_many_exports();
    return export_all(view.snapshot(), criteria.query(), form, exports_);
  }
  const FoundPage found = search(&view, criteria, wanted);
  if (found.by_index) ++counters_.index_searches;
  if (form != AlertForm::kJson) return export_page(found.alerts, form);
  return json_response(page_json(found, wanted, view, revision));
}

Response Api::one_alert(const Request& request) {
  const Parameters none(request, {});
  const std::string_view name = std::string_view(request.path).substr(kOneAlert.size());
  const size_t slash = name.rfind('/');
  uint32_t id = 0;
  const char* const end = name.data() + name.size();
  const auto read = slash == std::string_view::npos
                        ? std::from_chars_result{end, std::errc::invalid_argument}
                        : std::from_chars(name.data() + slash + 1, end, id);
  if (read.ec != std::errc{} || read.ptr != end) {
    throw Refusal{Problem::kNotFound, in_quotes(name) + " is not SERVER/ID"};
  }
  need_log();
  const std::string_view server = name.substr(0, slash);
  const AlertList& all = parts_.view->snapshot()->alerts();
  // The newest: a server that has lost its ids may give one again.
  const auto found = std::find_if(all.rbegin(), all.rend(), [&](const ALERT_RECORD_INFO* alert) {
    return alert->alert_id == id && field_text(alert->szServer) == server;
  });
  if (found != all.rend()) {
    return json_response({{"log", log_json(*parts_.view)}, {"alert", alert_json(**found)}});
  }
  throw Refusal{Problem::kNotFound, "the log does not hold " + in_quotes(name)};
}

Response Api::latest(const Request& request) {
  const Parameters parameters(request, {"count"});
  const int64_t count = parameters.number("count", 1, kSizeMax, kSizeUsual);
  need_log();
  const auto alerts = newest(*parts_.view, count);
  return json_response({{"log", log_json(*parts_.view)}, {"alerts", alerts_json(alerts)}});
}

Response Api::recent(const Request& request) {
  const Parameters parameters(request, {"total", "page", "size"});
  const auto total = static_cast<int>(parameters.number("total", 1, kConsideredMax, 1000));
  const auto page = static_cast<int>(parameters.number("page", 0, INT_MAX, 0));
  const auto size = static_cast<int>(parameters.number("size", 1, kSizeMax, kSizeUsual));
  need_log();
  const RecentPage found = recent_page(*parts_.view, total, size, page);
  return json_response({{"considered", found.considered},
                        {"page", found.page},
                        {"pages", (found.considered + size - 1) / size},
                        {"size", size},
                        {"log", log_json(*parts_.view)},
                        {"alerts", alerts_json(found.alerts)}});
}

Response Api::facets(const Request& request) {
  const Criteria criteria(Parameters(request, filters_and({})));
  need_log();
  const auto snapshot = parts_.view->snapshot();
  Json document = {{"total", snapshot->matching(criteria.query()).size()},
                   {"log", log_json(*parts_.view)}};
  for (const std::string_view facet : kFacets) {
    Json list = Json::array();
    for (const ValueCount& one : count_values(snapshot->matching(criteria.without(facet)), facet)) {
      list.push_back({{"value", one.value}, {"count", one.count}});
    }
    document[std::string(facet)] = list;
  }
  return json_response(document);
}

Response Api::histogram(const Request& request) {
  const Parameters parameters(request, filters_and({"buckets"}));
  const Criteria criteria(parameters);
  const auto buckets = static_cast<size_t>(parameters.number("buckets", 1, 500, 60));
  need_log();
  const auto snapshot = parts_.view->snapshot();
  const AlertList found = snapshot->matching(criteria.query());
  return json_response(histogram_json(count_over_time(found, criteria.query(), buckets, now_ms()),
                                      found.size(), *parts_.view));
}

Response Api::stream(const Request& request) {
  const Parameters parameters(request, filters_and({"last_event_id"}));
  const Criteria criteria(parameters);
  const std::string given = parameters.text("last_event_id", kIdMax).value_or("");
  const std::string_view header = request.header("Last-Event-ID");
  Response response;
  response.type = "text/event-stream";
  response.stream = std::make_unique<AlertStream>(*parts_.view, criteria.query(),
                                                  header.empty() ? given : std::string(header));
  return response;
}

Response Api::status(const Request& request) {
  const Parameters none(request, {});
  parts_.view->look();
  parts_.daemon->ask();
  return json_response(status_json(*parts_.view, *parts_.daemon, parts_.stream_count()));
}

Response Api::openapi(const Request& request) {
  const Parameters none(request, {});
  Response response;
  response.type = "application/json";
  response.body = parts_.openapi;
  return response;
}

Response Api::metrics(const Request& request) {
  const Parameters none(request, {});
  parts_.view->look();
  parts_.daemon->ask();
  Response response;
  response.type = "text/plain; version=0.0.4; charset=utf-8";
  response.body = metrics_text(*parts_.view, *parts_.daemon, counters_, parts_.stream_count());
  return response;
}

Response Api::healthy(const Request& request) {
  const Parameters none(request, {});
  Response response;
  response.body = "healthy\n";
  return response;
}

Response Api::ready(const Request& request) {
  const Parameters none(request, {});
  parts_.view->look();
  const bool readable = parts_.view->condition() == LogCondition::kOk;
  Response response;
  response.status = readable ? 200 : 503;
  response.body = readable ? "ready\n" : parts_.view->cause() + "\n";
  return response;
}

}  // namespace qel::web
