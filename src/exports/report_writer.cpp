// SPDX-License-Identifier: Apache-2.0
// The same report is shown in two places that differ in what hurts: a terminal has a width, and
// obeys control characters; Markdown has neither, but gives half of ASCII a meaning. Names come
// from logs of anybody, so each writer makes them harmless in its own way, and lengths are measured
// in columns of the terminal, not in bytes.
//
// Where a table is too wide, only names give way, the last column of them first, and never below a
// width at which they can still be told apart. Numbers are never cut.

#include "exports/report_writer.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

#include "exports/shown_name.h"

namespace ryx::profiling {

namespace {

constexpr size_t kIndent = 2;
constexpr size_t kGap = 2;
constexpr size_t kMinNameWidth = 12;
constexpr size_t kMinPrefix = 4;

bool isName(const ReportTable& table, size_t column) {
  return table.columns[column].kind == ReportTable::Kind::Name;
}

class TerminalWriter : public ReportWriter {
 public:
  TerminalWriter(TextSink sink, const Terminal& terminal)
      : sink_(std::move(sink)), width_(terminal.width), hasColor_(terminal.hasColor) {}

  std::string name(std::string_view name) const override { return terminalName(name); }

  void heading(const std::string& text) override {
    sink_((last_ == Element::None ? "" : "\n") + text + "\n");
    last_ = Element::Heading;
  }

  void paragraph(const std::string& text) override {
    sink_(std::string(kIndent, ' ') + wrapped(text, kIndent) + "\n");
    last_ = Element::Text;
  }

  void fields(const std::vector<ReportField>& fields) override {
    size_t labelWidth = 0;
    for (const ReportField& field : fields)
      labelWidth = std::max(labelWidth, displayWidth(field.label));
    for (const ReportField& field : fields) {
      const std::string padding(labelWidth - displayWidth(field.label) + kGap, ' ');
      sink_(std::string(kIndent, ' ') + field.label + padding +
            wrapped(field.text, kIndent + labelWidth + kGap) + "\n");
    }
    last_ = Element::Text;
  }

  void table(const ReportTable& table) override {
    Rows rows = headerOf(table);
    const size_t headers = rows.size();
    rows.insert(rows.end(), table.rows.begin(), table.rows.end());
    for (size_t row = headers; row < rows.size(); ++row)
      for (size_t i = 0; i < table.columns.size(); ++i)
        if (isName(table, i)) rows[row][i] = terminalName(rows[row][i]);
    const Layout layout = layOut(table, rows);
    for (size_t i = 0; i < table.columns.size(); ++i)
      if (isName(table, i)) shortenNames(rows, headers, i, layout.widths[i]);
    std::string text = last_ == Element::Text || last_ == Element::Table ? "\n" : "";
    for (size_t row = 0; row < rows.size(); ++row) {
      const bool isToned = hasColor_ && row >= headers && !table.tones.empty();
      const char* color = isToned ? colorOf(table.tones[row - headers]) : "";
      text += color;
      appendRow(table, rows[row], layout, text);
      text += *color != '\0' ? "\x1b[0m\n" : "\n";
    }
    sink_(text);
    last_ = Element::Table;
  }

 private:
  using Rows = std::vector<std::vector<std::string>>;

  /// The text with line breaks in place of blanks, where the terminal ends. The first line begins
  /// at column `indent`, and those after it are indented to there.
  [[nodiscard]] std::string wrapped(const std::string& text, size_t indent) const {
    if (!width_ || *width_ < indent + kMinNameWidth) return text;
    std::string result;
    size_t column = indent;
    for (size_t begin = 0; begin < text.size();) {
      const size_t end = std::min(text.find(' ', begin + 1), text.size());
      const std::string word = text.substr(begin, end - begin);  // with the blank before it
      const size_t wordWidth = displayWidth(word);
      if (column + wordWidth > *width_ && column > indent) {
        result += '\n' + std::string(indent, ' ') + word.substr(word.find_first_not_of(' '));
        column = indent + wordWidth - 1;
      } else {
        result += word;
        column += wordWidth;
      }
      begin = end;
    }
    return result;
  }

  /// The names of the columns, and below them their units where they have any.
  static Rows headerOf(const ReportTable& table) {
    Rows rows(2);
    bool hasUnits = false;
    for (const auto& column : table.columns) {
      rows[0].push_back(column.header);
      rows[1].push_back(column.unit);
      hasUnits = hasUnits || !column.unit.empty();
    }
    if (!hasUnits) rows.pop_back();
    return rows;
  }

  struct Layout {
    std::vector<size_t> widths;
    size_t gap = kGap;
  };

  [[nodiscard]] Layout layOut(const ReportTable& table, const Rows& rows) const {
    Layout layout;
    std::vector<size_t>& widths = layout.widths;
    widths.resize(table.columns.size());
    for (const auto& row : rows)
      for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], displayWidth(row[i]));
    if (!width_) return layout;
    const size_t text = std::accumulate(widths.begin(), widths.end(), kIndent);
    // The gaps give way first.
    if (text + kGap * (widths.size() - 1) > *width_) layout.gap = 1;
    const size_t sum = text + layout.gap * (widths.size() - 1);
    size_t excess = sum > *width_ ? sum - *width_ : 0;
    for (size_t i = widths.size(); i-- > 0 && excess > 0;) {
      if (!isName(table, i) || widths[i] <= kMinNameWidth) continue;
      const size_t given = std::min(excess, widths[i] - kMinNameWidth);
      widths[i] -= given;
      excess -= given;
    }
    return layout;
  }

  /// Makes the names of a column fit. Words that all those begin with which are too long are the
  /// first to go: they tell nothing apart.
  static void shortenNames(Rows& rows, size_t firstRow, size_t column, size_t width) {
    std::optional<std::string> prefix;
    for (size_t row = firstRow; row < rows.size(); ++row) {
      const std::string& name = rows[row][column];
      if (displayWidth(name) > width) prefix = prefix ? commonPrefix(*prefix, name) : name;
    }
    for (size_t row = 0; row < firstRow; ++row)
      rows[row][column] = shortenedMiddle(rows[row][column], width);
    for (size_t row = firstRow; row < rows.size(); ++row) {
      std::string& name = rows[row][column];
      if (displayWidth(name) <= width) continue;
      const size_t cut = prefix->size() < name.size() ? prefix->size() : 0;
      name = cut < kMinPrefix ? shortenedMiddle(name, width)
                              : "…" + shortenedMiddle(name.substr(cut), width - 1);
    }
  }

  static std::string commonPrefix(const std::string& a, const std::string& b) {
    size_t size = 0;
    while (size < std::min(a.size(), b.size()) && a[size] == b[size]) ++size;
    // Only whole words, so that no character is cut in two either.
    while (size > 0 && std::isalnum(static_cast<unsigned char>(a[size - 1])) != 0) --size;
    while (size > 0 && static_cast<unsigned char>(a[size - 1]) >= 0x80) --size;
    return a.substr(0, size);
  }

  static void appendRow(const ReportTable& table, const std::vector<std::string>& row,
                        const Layout& layout, std::string& text) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const bool isLeft = table.columns[i].kind != ReportTable::Kind::Number;
      const size_t width = layout.widths[i];
      const std::string& cell = row[i];
      const std::string padding(width - displayWidth(cell), ' ');
      line += std::string(i == 0 ? kIndent : layout.gap, ' ');
      line += isLeft ? cell + padding : padding + cell;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line;
  }

  static const char* colorOf(ReportTable::Tone tone) {
    switch (tone) {
      case ReportTable::Tone::Plain: break;
      case ReportTable::Tone::Bad: return "\x1b[31m";
      case ReportTable::Tone::Good: return "\x1b[32m";
      case ReportTable::Tone::Doubtful: return "\x1b[33m";
    }
    return "";
  }

  enum class Element { None, Heading, Text, Table };

  TextSink sink_;
  std::optional<size_t> width_;
  bool hasColor_;
  Element last_ = Element::None;
};

class MarkdownWriter : public ReportWriter {
 public:
  explicit MarkdownWriter(TextSink sink) : sink_(std::move(sink)) {}

  std::string name(std::string_view name) const override { return markdownName(name); }

  void heading(const std::string& text) override { sink_("### " + text + "\n\n"); }

  void paragraph(const std::string& text) override { sink_(text + "\n\n"); }

  void fields(const std::vector<ReportField>& fields) override {
    for (const ReportField& field : fields) sink_("- " + field.label + ": " + field.text + "\n");
    if (!fields.empty()) sink_("\n");
  }

  void table(const ReportTable& table) override {
    std::string header = "|";
    std::string alignment = "|";
    for (const auto& column : table.columns) {
      header += " " + column.header + (column.unit.empty() ? "" : " " + column.unit) + " |";
      alignment += column.kind == ReportTable::Kind::Number ? " --: |" : " :-- |";
    }
    sink_(header + "\n" + alignment + "\n");
    for (const auto& row : table.rows) {
      std::string line = "|";
      for (size_t i = 0; i < row.size(); ++i)
        line += " " + (isName(table, i) ? markdownName(row[i]) : row[i]) + " |";
      sink_(line + "\n");
    }
    sink_("\n");
  }

 private:
  TextSink sink_;
};

}  // namespace

std::unique_ptr<ReportWriter> makeTerminalWriter(TextSink sink, const Terminal& terminal) {
  return std::make_unique<TerminalWriter>(std::move(sink), terminal);
}

std::unique_ptr<ReportWriter> makeMarkdownWriter(TextSink sink) {
  return std::make_unique<MarkdownWriter>(std::move(sink));
}

}  // namespace ryx::profiling
