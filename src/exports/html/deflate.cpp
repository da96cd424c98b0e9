// SPDX-License-Identifier: Apache-2.0
// A piece ends with a flush, which puts it at a byte's end without closing the stream: so pieces
// can be joined in any order and number, with one empty last block after them. Their checksums are
// combined by length, without reading the bytes again. Piece by piece costs some compression,
// and buys that a page can be filled up to a size that it must not exceed.

#include "exports/html/deflate.h"

#include <zlib.h>

#include <algorithm>
#include <limits>
#include <new>

namespace ryx::profiling {
namespace {

constexpr int kLevel = 6;
constexpr int kRawWindow = -13;  // 8 KiB, and no frame around the deflated bytes
constexpr int kMemoryLevel = 7;  // columns are small, and resetting more takes longer than they do

void appendLittleEndian(std::string& out, uint32_t number) {
  for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>(number >> shift & 0xFF);
}

}  // namespace

struct Deflater::State {
  z_stream stream{};
};

Deflater::Deflater() : state_(std::make_unique<State>()) {
  if (deflateInit2(&state_->stream, kLevel, Z_DEFLATED, kRawWindow, kMemoryLevel, Z_FILTERED) !=
      Z_OK)
    throw std::bad_alloc();
}

Deflater::~Deflater() { deflateEnd(&state_->stream); }

DeflatedPiece Deflater::deflate(std::string_view bytes) {
  z_stream& stream = state_->stream;
  deflateReset(&stream);
  DeflatedPiece piece;
  piece.size = bytes.size();
  piece.check = static_cast<uint32_t>(crc32(0, nullptr, 0));
  char buffer[1 << 14];
  do {
    const auto part =
        static_cast<uInt>(std::min<size_t>(bytes.size(), std::numeric_limits<uInt>::max()));
    const auto* data = reinterpret_cast<const Bytef*>(bytes.data());
    piece.check = static_cast<uint32_t>(crc32(piece.check, data, part));
    stream.next_in = const_cast<Bytef*>(data);
    stream.avail_in = part;
    bytes.remove_prefix(part);
    do {
      stream.next_out = reinterpret_cast<Bytef*>(buffer);
      stream.avail_out = sizeof buffer;
      // Cannot fail: there is room for output, and the state is good.
      ::deflate(&stream, bytes.empty() ? Z_SYNC_FLUSH : Z_NO_FLUSH);
      piece.bytes.append(buffer, sizeof buffer - stream.avail_out);
    } while (stream.avail_out == 0);
  } while (!bytes.empty());
  return piece;
}

std::string gzipOf(const std::vector<DeflatedPiece>& pieces) {
  // Deflated, no flags, time 0, no extra flags, made on Unix.
  std::string out("\x1F\x8B\x08\0\0\0\0\0\0\x03", 10);
  uint64_t size = 0;
  uLong check = crc32(0, nullptr, 0);
  for (const DeflatedPiece& piece : pieces) {
    out += piece.bytes;
    size += piece.size;
    check = crc32_combine(check, piece.check, static_cast<z_off_t>(piece.size));
  }
  out.append("\x03\0", 2);  // the last block, an empty one
  appendLittleEndian(out, static_cast<uint32_t>(check));
  appendLittleEndian(out, static_cast<uint32_t>(size));
  return out;
}

void appendBase64(std::string& out, std::string_view bytes) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  out.reserve(out.size() + base64Size(bytes.size()));
  for (size_t i = 0; i < bytes.size(); i += 3) {
    uint32_t three = 0;
    for (size_t k = 0; k < 3; ++k)
      three = three << 8 | (i + k < bytes.size() ? static_cast<uint8_t>(bytes[i + k]) : 0U);
    for (size_t k = 0; k < 4; ++k)
      out += i + k > bytes.size() ? '=' : kDigits[three >> (18 - 6 * k) & 0x3F];
  }
}

}  // namespace ryx::profiling
