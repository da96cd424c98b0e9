// SPDX-License-Identifier: Apache-2.0
// gzip streams put together from pieces that were compressed one by one, so that the size of each
// is known before it is decided which go in.
//
// A piece is deflated on its own and ends at a byte, as a part of a stream that goes on; pieces one
// after the other, a header before and a trailer after them, are one gzip stream. Its time is 0 and
// its bytes depend on the input alone.

#ifndef RYX_EXPORTS_HTML_DEFLATE_H
#define RYX_EXPORTS_HTML_DEFLATE_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ryx::profiling {

struct DeflatedPiece {
  std::string bytes;
  uint64_t size = 0;   ///< inflated
  uint32_t check = 0;  ///< CRC-32 of the inflated bytes
};

class Deflater {
 public:
  Deflater();
  ~Deflater();

  [[nodiscard]] DeflatedPiece deflate(std::string_view bytes);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// The gzip stream of those pieces.
[[nodiscard]] std::string gzipOf(const std::vector<DeflatedPiece>& pieces);

/// How many bytes beyond its pieces a gzip stream has.
constexpr size_t kGzipFrameBytes = 20;

void appendBase64(std::string& out, std::string_view bytes);
[[nodiscard]] constexpr uint64_t base64Size(uint64_t bytes) { return (bytes + 2) / 3 * 4; }

}  // namespace ryx::profiling

#endif
