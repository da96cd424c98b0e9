// SPDX-License-Identifier: Apache-2.0
// Markup, piece by piece: everything that is not a literal of this program is escaped.
//
// Names of a log go through `name`, which keeps them from turning the text around them (<bdi>) and
// shows what cannot be seen, control characters and marks of direction, as escapes.
// page/src/names.ts does the same for what the script draws.

#ifndef RYX_EXPORTS_HTML_MARKUP_H
#define RYX_EXPORTS_HTML_MARKUP_H

#include <string>
#include <string_view>

namespace ryx::profiling {

/// The name with control characters as \xNN and marks of direction as \uNNNN; a pair of quotes for
/// one without characters. `text` is UTF-8.
[[nodiscard]] std::string shownName(std::string_view text);

class Markup {
 public:
  /// Tags and texts of this program, as they are.
  Markup& raw(std::string_view markup) {
    out_ += markup;
    return *this;
  }

  /// Any text, escaped for an element's content or a quoted attribute.
  Markup& text(std::string_view text);

  /// A name of the log as an element of its own.
  Markup& name(std::string_view text, std::string_view classes = {});

  [[nodiscard]] const std::string& str() const { return out_; }

 private:
  std::string out_;
};

}  // namespace ryx::profiling

#endif
