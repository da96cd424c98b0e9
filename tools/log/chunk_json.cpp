#include "log/chunk_json.h"

#include <cassert>
#include <cstdio>

#include "profile_log_schema.h"
#include "stream/chunk_verifier.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

// The parser's builder aborts at 2 GiB. No JSON gives a chunk three times its own size: the
// shortest way to make a table is "{}," for 8 bytes.
constexpr size_t kMaxDocumentBytes = kMaxChunkBytes / 3;

flatbuffers::IDLOptions makeOptions() {
  flatbuffers::IDLOptions options;
  options.allow_non_utf8 = true;
  // Present and empty is not the same as absent.
  options.set_empty_strings_to_null = false;
  options.set_empty_vectors_to_null = false;
  return options;
}

/// Takes the parser's "LINE: COLUMN: error: TEXT" apart.
DocumentError readParserError(const std::string& message) {
  DocumentError error;
  int textStart = 0;
  if (std::sscanf(message.c_str(), "%zu: %zu: error: %n", &error.line, &error.column, &textStart) <
          2 ||
      textStart == 0)
    return {0, 0, message};
  error.text = message.substr(static_cast<size_t>(textStart));
  return error;
}

}  // namespace

ChunkJson::ChunkJson() : parser_(makeOptions()) {
  [[maybe_unused]] const bool schemaIsGood = parser_.Parse(kProfileLogSchema);
  assert(schemaIsGood);
}

std::string ChunkJson::print(const uint8_t* chunk) {
  std::string text;
  parser_.opts.strict_json = true;
  flatbuffers::GenerateText(parser_, chunk, &text);
  return text;
}

std::string_view ChunkJson::parse(std::string_view document, DocumentError& error) {
  if (document.size() > kMaxDocumentBytes) {
    error = {0, 0, "the document is too large for a chunk"};
    return {};
  }
  if (document.find('\0') != std::string_view::npos) {
    error = {0, 0, "the document holds a zero byte"};  // the parser would take it for the end
    return {};
  }
  parser_.opts.strict_json = false;  // hand-written documents may leave quotes away
  if (!parser_.ParseJson(std::string(document).c_str())) {
    error = readParserError(parser_.error_);
    return {};
  }
  const flatbuffers::FlatBufferBuilder& builder = parser_.builder_;
  if (!verifyChunk(builder.GetBufferPointer(), builder.GetSize())) {
    error = {0, 0, "the chunk would not verify"};
    return {};
  }
  return {reinterpret_cast<const char*>(builder.GetBufferPointer()), builder.GetSize()};
}

}  // namespace ryx::profiling
