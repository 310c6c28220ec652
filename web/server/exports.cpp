#include "exports.h"

#include <algorithm>
#include <utility>

#include "alert_forms.h"
#include "alerts/visible_text.h"

namespace qel::web {
namespace {

constexpr size_t kPieceSize = 65536;  // about

std::string line_of(const ALERT_RECORD_INFO& alert, AlertForm form) {
  return form == AlertForm::kCsv ? csv_line(alert) : json_text(alert_json(alert)) + "\n";
}

std::string head_of(AlertForm form) { return form == AlertForm::kCsv ? csv_head() : ""; }

Response file_response(AlertForm form) {
  const bool csv = form == AlertForm::kCsv;
  Response response;
  response.type = csv ? "text/csv; charset=utf-8; header=present" : "application/x-ndjson";
  response.headers.emplace_back(
      "Content-Disposition",
      csv ? "attachment; filename=\"alerts.csv\"" : "attachment; filename=\"alerts.jsonl\"");
  return response;
}

// Goes through the matches from the newest to the oldest.
class Pieces {
 public:
  Pieces(std::shared_ptr<const Snapshot> snapshot, const Query& query, AlertForm form,
         std::shared_ptr<const char> share)
      : share_(std::move(share)),
        snapshot_(std::move(snapshot)),
        matches_(snapshot_->matching(query)),
        left_(matches_.size()),
        form_(form),
        head_(head_of(form)) {}

  std::string operator()() {
    std::string piece = std::exchange(head_, "");
    while (left_ > 0 && piece.size() < kPieceSize) piece += line_of(*matches_[--left_], form_);
    return piece;
  }

 private:
  std::shared_ptr<const char> share_;
  std::shared_ptr<const Snapshot> snapshot_;  // owns what the matches point to
  AlertList matches_;
  size_t left_;
  AlertForm form_;
  std::string head_;
};

struct NamedForm {
  std::string_view name;
  std::string_view type;
  AlertForm form;
};

constexpr NamedForm kForms[] = {{"json", "application/json", AlertForm::kJson},
                                {"jsonl", "application/x-ndjson", AlertForm::kJsonLines},
                                {"csv", "text/csv", AlertForm::kCsv}};

}  // namespace

AlertForm form_wanted(const Request& request, const Parameters& parameters) {
  constexpr size_t kNameMax = 32;
  const auto name = parameters.text("format", kNameMax);
  if (name.has_value()) {
    for (const NamedForm& form : kForms) {
      if (form.name == *name) return form.form;
    }
    throw BadParameter(BadParameter::Kind::kBad, "format",
                       in_quotes(*name) + " is not one of json, jsonl and csv");
  }
  const std::string_view accepted = request.header("Accept");
  const auto* const first = std::min_element(std::begin(kForms), std::end(kForms),
                                             [accepted](const NamedForm& a, const NamedForm& b) {
                                               return accepted.find(a.type) < accepted.find(b.type);
                                             });
  return first->form;
}

Response export_all(std::shared_ptr<const Snapshot> snapshot, const Query& query, AlertForm form,
                    std::shared_ptr<const char> share) {
  Response response = file_response(form);
  response.pieces = Pieces(std::move(snapshot), query, form, std::move(share));
  return response;
}

Response export_page(const std::vector<ALERT_RECORD_INFO>& alerts, AlertForm form) {
  Response response = file_response(form);
  response.body = head_of(form);
  for (const ALERT_RECORD_INFO& alert : alerts) response.body += line_of(alert, form);
  return response;
}

}  // namespace qel::web
