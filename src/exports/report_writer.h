// SPDX-License-Identifier: Apache-2.0
// Reports for people: headings, lines and tables, written for a terminal or as Markdown.

#ifndef RYX_EXPORTS_REPORT_WRITER_H
#define RYX_EXPORTS_REPORT_WRITER_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "exports/text_sink.h"

namespace ryx::profiling {

struct ReportTable {
  enum class Kind {
    Number,  ///< to the right
    Label,   ///< to the left
    Name,    ///< of a log: to the left, escaped, and shortened where there is no room
  };
  struct Column {
    std::string header;
    Kind kind = Kind::Number;
    std::string unit = {};  ///< of its cells, as part of the header
  };
  enum class Tone { Plain, Bad, Good, Doubtful };

  std::vector<Column> columns;
  std::vector<std::vector<std::string>> rows;
  std::vector<Tone> tones;  ///< of each row; empty: all plain
};

struct ReportField {
  std::string label;
  std::string text;
};

class ReportWriter {
 public:
  virtual ~ReportWriter() = default;

  /// A name of a log as it may stand in a heading or line.
  [[nodiscard]] virtual std::string name(std::string_view name) const = 0;

  virtual void heading(const std::string& text) = 0;
  virtual void paragraph(const std::string& text) = 0;
  virtual void fields(const std::vector<ReportField>& fields) = 0;
  virtual void table(const ReportTable& table) = 0;
};

struct Terminal {
  std::optional<size_t> width;  ///< without one nothing is shortened
  bool hasColor = false;
};

[[nodiscard]] std::unique_ptr<ReportWriter> makeTerminalWriter(TextSink sink,
                                                               const Terminal& terminal);

[[nodiscard]] std::unique_ptr<ReportWriter> makeMarkdownWriter(TextSink sink);

}  // namespace ryx::profiling

#endif
