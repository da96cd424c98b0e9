// SPDX-License-Identifier: Apache-2.0
// Texts and numbers of a log in JSON documents that every JSON reader takes, and that give the same
// bytes again.
//
// A log's text may hold any bytes, JSON's may not. A byte that is not UTF-8 is written as the four
// characters \xNN, so that a text that holds these characters itself needs another form: the
// backslashes before an "x", or before such a byte, are doubled.
//
//     the log's text       the document's text     as JSON
//     C:\temp              C:\temp                 "C:\\temp"
//     the byte 0x80        \x80                    "\\x80"
//     C:\x80               C:\\x80                 "C:\\\\x80"
//
// Numbers that JSON has not are the texts "nan", "-nan", "inf" and "-inf"; a NaN other than these
// two is "nan(0xBITS)".

#ifndef RYX_LOG_JSON_TEXT_H
#define RYX_LOG_JSON_TEXT_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ryx::profiling {

/// Appends the log's text as a JSON string, in ASCII.
void appendJsonString(std::string& out, std::string_view text);

/// The log's text that a document's text stands for.
[[nodiscard]] std::string textFromDocument(std::string_view text);

/// Appends the number of 32 or 64 bits: the shortest that reads back as the same, or the text for
/// what is none.
void appendFloat32(std::string& out, uint64_t bits);
void appendFloat64(std::string& out, uint64_t bits);

/// The bits of the number that `text` is, whether it is one of JSON's or one of the texts above.
/// Nothing where it is none, or out of range.
[[nodiscard]] std::optional<uint64_t> readFloat32(std::string_view text);
[[nodiscard]] std::optional<uint64_t> readFloat64(std::string_view text);

}  // namespace ryx::profiling

#endif
