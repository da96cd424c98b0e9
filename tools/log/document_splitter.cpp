#include "log/document_splitter.h"

#include <algorithm>

namespace ryx::profiling {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

size_t orEnd(std::string_view text, size_t position) { return std::min(position, text.size()); }

bool startsWith(std::string_view text, size_t position, std::string_view start) {
  return text.compare(position, start.size(), start) == 0;
}

/// Behind the comment at `position`; `position` where there is none.
size_t skipComment(std::string_view text, size_t position) {
  if (startsWith(text, position, "//")) return orEnd(text, text.find('\n', position));
  if (!startsWith(text, position, "/*")) return position;
  const size_t end = text.find("*/", position + 2);
  return end == std::string_view::npos ? text.size() : end + 2;
}

/// Behind the string whose quote stands at `position`.
size_t skipString(std::string_view text, size_t position) {
  const char quote = text[position];
  for (++position; position < text.size() && text[position] != quote; ++position)
    if (text[position] == '\\') ++position;
  return orEnd(text, position + 1);
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

DocumentSplitter::DocumentSplitter(std::string_view text) : text_(text) {
  if (startsWith(text_, 0, kByteOrderMark)) position_ = kByteOrderMark.size();
}

std::optional<Document> DocumentSplitter::next() {
  const auto countLines = [this](size_t from, size_t to) {
    const auto begin = text_.begin();
    line_ += static_cast<size_t>(std::count(begin + static_cast<std::ptrdiff_t>(from),
                                            begin + static_cast<std::ptrdiff_t>(to), '\n'));
  };
  size_t start = position_;
  while (start < text_.size()) {
    const size_t behindComment = skipComment(text_, start);
    if (behindComment == start && !isBlank(text_[start])) break;
    start = std::max(behindComment, start + 1);
  }
  countLines(position_, start);
  position_ = start;
  if (position_ == text_.size()) return std::nullopt;

  const size_t end = documentEnd();
  const Document document{text_.substr(position_, end - position_), line_};
  countLines(position_, end);
  position_ = end;
  return document;
}

size_t DocumentSplitter::documentEnd() const {
  size_t position = position_;
  size_t depth = 0;
  do {
    const char c = text_[position];
    if (c == '{') ++depth;
    if (c == '}') --depth;
    if (c == '"' || c == '\'') {
      position = skipString(text_, position);
    } else {
      position = std::max(skipComment(text_, position), position + 1);
    }
  } while (depth > 0 && position < text_.size());
  return text_[position_] == '{' ? position : text_.size();
}

}  // namespace ryx::profiling
