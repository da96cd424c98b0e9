#include <string>

#include "log/chunk_json.h"
#include "log/commands.h"
#include "log/document_splitter.h"
#include "log/whole_file.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

/// The error in the terms of the whole file, in the form that editors and compilers share.
std::string describe(const std::string& casePath, const Document& document, size_t number,
                     const DocumentError& error) {
  std::string place = casePath + ":";
  if (error.line > 0) {
    place += std::to_string(document.line + error.line - 1) + ":" + std::to_string(error.column);
  } else {
    place += std::to_string(document.line);
  }
  return place + ": document " + std::to_string(number) + ": " + error.text;
}

void appendChunk(std::string_view chunk, std::string& log) {
  uint8_t prefix[kSizePrefixBytes];
  encodeSizePrefix(static_cast<uint32_t>(chunk.size()), prefix);
  log.append(reinterpret_cast<const char*>(prefix), sizeof prefix);
  log += chunk;
}

}  // namespace

bool makeLog(const std::string& casePath, const std::string& logPath) {
  std::string text;
  if (const auto error = readWholeFile(casePath, text))
    return reportError("cannot read " + casePath + ": " + error.message());

  ChunkJson json;
  std::string log;
  DocumentSplitter documents(text);
  size_t number = 0;
  while (const auto document = documents.next()) {
    DocumentError error;
    const std::string_view chunk = json.parse(document->text, error);
    if (chunk.empty()) return reportError(describe(casePath, *document, number + 1, error));
    appendChunk(chunk, log);
    ++number;
  }

  if (const auto error = writeWholeFile(logPath, log))
    return reportError("cannot write " + logPath + ": " + error.message());
  return true;
}

}  // namespace ryx::profiling
