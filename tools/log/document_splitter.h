// A text of several JSON documents, one behind the other, cut into documents.

#ifndef RYX_LOG_DOCUMENT_SPLITTER_H
#define RYX_LOG_DOCUMENT_SPLITTER_H

#include <cstddef>
#include <optional>
#include <string_view>

namespace ryx::profiling {

struct Document {
  std::string_view text;  ///< from its opening to its closing brace
  size_t line = 0;        ///< on which it starts, from 1
};

/// Blanks and comments may stand between the documents. A document that does not open with a brace,
/// or that never closes, is handed out with all that follows it, for the parser to complain about.
class DocumentSplitter {
 public:
  /// `text` must outlive the splitter and its documents.
  explicit DocumentSplitter(std::string_view text);

  /// Empty at the end of the text.
  [[nodiscard]] std::optional<Document> next();

 private:
  [[nodiscard]] size_t documentEnd() const;

  std::string_view text_;
  size_t position_ = 0;
  size_t line_ = 1;
};

}  // namespace ryx::profiling

#endif
