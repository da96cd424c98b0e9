// SPDX-License-Identifier: Apache-2.0
// A log's first four bytes are the size of its first chunk, the next four an offset within it. Most
// other files begin with bytes that name what they are; text has, in its first page, none of the
// many zeros that a chunk is full of.

#include "stream/foreign_content.h"

#include "base/printable_text.h"

namespace ryx::profiling {
namespace {

using namespace std::string_view_literals;

constexpr struct {
  std::string_view firstBytes;
  const char* content;
} kSignatures[] = {
    {"\x1f\x8b\x08"sv, "gzip data"},
    {"\x28\xb5\x2f\xfd"sv, "zstd data"},
    {"\xfd"
     "7zXZ\0"sv,
     "xz data"},
    {"BZh"sv, "bzip2 data"},
    {"\x04\x22\x4d\x18"sv, "lz4 data"},
    {"PK\x03\x04"sv, "a zip archive"},
    {"\x7f"
     "ELF"sv,
     "a program or library"},
    {"\x89PNG"sv, "an image"},
    {"%PDF"sv, "a PDF document"},
    {"SQLite format 3\0"sv, "a SQLite database"},
    {"ARROW1"sv, "Arrow data"},
    {"PAR1"sv, "Parquet data"},
};

/// A character that the end of `bytes` cuts off does not count.
bool isText(std::string_view bytes) {
  std::string plain(bytes);
  for (char& c : plain)
    if (c == '\r' || c == '\f' || c == '\x1b') c = ' ';
  std::string shown;
  const size_t taken = appendPrintable(shown, plain, false);
  return taken > 0 && shown.size() == taken;  // nothing had to be escaped
}

}  // namespace

std::string foreignContent(std::string_view firstBytes) {
  const std::string_view bytes = firstBytes.substr(0, kTellingBytes);
  for (const auto& [signature, content] : kSignatures)
    if (bytes.substr(0, signature.size()) == signature) return content;
  constexpr size_t kTarMagicAt = 257;
  if (bytes.size() > kTarMagicAt && bytes.substr(kTarMagicAt, 5) == "ustar") return "a tar archive";
  if (!isText(bytes)) return {};
  const size_t begin = bytes.find_first_not_of(" \t\r\n\xef\xbb\xbf");
  const char first = begin == std::string_view::npos ? ' ' : bytes[begin];
  if (first == '{' || first == '[') return "JSON text";
  return first == '<' ? "HTML or XML text" : "text";
}

}  // namespace ryx::profiling
