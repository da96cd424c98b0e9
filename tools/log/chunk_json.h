// Chunks as JSON documents and back, by FlatBuffers' own parser and printer.

#ifndef RYX_LOG_CHUNK_JSON_H
#define RYX_LOG_CHUNK_JSON_H

#include <flatbuffers/idl.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ryx::profiling {

/// What is wrong in a document, and where: lines and columns count from 1, line 0 means nowhere in
/// particular.
struct DocumentError {
  size_t line = 0;
  size_t column = 0;
  std::string text;
};

class ChunkJson {
 public:
  ChunkJson();

  /// The JSON document of a chunk, which needs to have been verified. Floating-point numbers keep 6
  /// (float) or 12 (double) digits behind the point.
  [[nodiscard]] std::string print(const uint8_t* chunk);

  /// The chunk that `document` describes; points into this object until its next use. Empty, with
  /// `error` set, when the document is not one or its chunk would not verify.
  [[nodiscard]] std::string_view parse(std::string_view document, DocumentError& error);

 private:
  flatbuffers::Parser parser_;
};

}  // namespace ryx::profiling

#endif
