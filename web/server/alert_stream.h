// The live stream of new alerts: server-sent events.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "alerts/query.h"
#include "http/message.h"
#include "log_view.h"

namespace qel::web {

// Alerts of the log that match a query, and what happens to the log. It begins with "hello"; a
// stream that resumes goes on behind its last event, or gets "gone" when that is not known any
// more. It reads the events of the view and keeps none, so a slow reader costs nothing: one that is
// left behind by more than the view keeps gets "gone" as well.
class AlertStream : public StreamSource {
 public:
  // `resume`: the id of the last event that the reader has; empty when it begins.
  AlertStream(const LogView& view, Query query, const std::string& resume);

  std::string take(size_t size) override;

 private:
  std::optional<uint64_t> number_of(const std::string& id) const;
  std::string id_of(uint64_t number) const;
  void add(uint64_t number, const char* event, const std::string& data);
  void add_hello();
  void add_next_event();

  const LogView& view_;
  const Query query_;
  uint64_t next_;        // the event to look at next
  std::string waiting_;  // made and not yet taken
};

}  // namespace qel::web
