// Alerts in the forms that operators and scripts ask for.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "alert_types.h"
#include "alerts/alert_list.h"
#include "alerts/fields.h"

namespace qel::cli {

// "short"        a line: time, level, SERVER/ID, module[event]: message
// "full"         a block of lines for each alert, with an empty line between blocks
// "table"        a line of titles, then aligned lines, cut at the width of the terminal
// "json"         an object on a line of its own for each alert
// "json-pretty"  the same object spread over lines
// "csv"          comma-separated values (RFC 4180, lines end with LF) below a line of names
// "cat"          the message alone; with several fields their texts between blanks
std::vector<std::string> output_forms();

struct Presentation {
  std::string form = "short";
  Fields fields{};  // empty: those that the form has by itself
  Zone zone = Zone::kLocal;
  bool color = false;
  bool terminal = false;  // it goes to a terminal
  size_t width = 0;       // columns at which tables are cut; 0: they are not
};

// Prints alerts in batches. Texts for people show control characters as \xHH; "csv" and "cat" give
// them as they are, unless a terminal would get them.
class AlertPrinter {
 public:
  explicit AlertPrinter(const Presentation& presentation);
  ~AlertPrinter();
  AlertPrinter(const AlertPrinter&) = delete;
  AlertPrinter& operator=(const AlertPrinter&) = delete;

  // In the order given. A table is as wide as its batches so far ask for.
  void print_batch(std::span<const ALERT_RECORD_INFO* const> alerts);

  // What the form has before the first alert, also when there is none: the line of names of "csv".
  void print_head();

  // What one form does.
  class Form;

 private:
  std::unique_ptr<Form> form_;
  bool started_ = false;
};

}  // namespace qel::cli
