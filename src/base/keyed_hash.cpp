// SPDX-License-Identifier: Apache-2.0
// Horner's rule modulo 2^61 - 1, for which a product is reduced by a shift, a mask and an addition
// instead of a division. It is reduced only so far that the next product fits 128 bits: a hash has
// to be the same number for the same text, not the smallest.
//
// The point is drawn when the library's static objects are made. A static object of another file
// must not fill a table that uses this hash: it may come first, and its entries would never be
// found again.

#include "base/keyed_hash.h"

#include <sys/random.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>

namespace ryx {
namespace {

__extension__ using Product = unsigned __int128;

constexpr unsigned kPrimeBits = 61;
constexpr uint64_t kPrime = (uint64_t{1} << kPrimeBits) - 1;

/// Seven bytes are below the prime, whatever they hold.
constexpr size_t kPieceBytes = 7;

/// Below 2^60, so that a step halves what it is given, and values stay below 2^63 unreduced.
uint64_t drawPoint() {
  // Where the kernel has no random numbers yet, the address and the time have to do.
  uint64_t drawn = 0;
  drawn = static_cast<uint64_t>(std::time(nullptr)) ^ reinterpret_cast<uint64_t>(&drawn);
  (void)!::getrandom(&drawn, sizeof drawn, GRND_NONBLOCK);
  return drawn >> (64 - (kPrimeBits - 1));
}

const uint64_t g_point = drawPoint();

uint64_t step(uint64_t value, uint64_t coefficient) {
  const Product product = Product{value + coefficient} * g_point;
  return (static_cast<uint64_t>(product) & kPrime) + static_cast<uint64_t>(product >> kPrimeBits);
}

}  // namespace

size_t KeyedHash::operator()(std::string_view text) const {
  uint64_t value = 0;
  uint64_t piece = 0;
  const char* at = text.data();
  size_t left = text.size();
  for (; left >= sizeof piece; at += kPieceBytes, left -= kPieceBytes) {
    std::memcpy(&piece, at, sizeof piece);
    value = step(value, piece << 8 >> 8);
  }
  piece = 0;
  std::copy_n(at, left, reinterpret_cast<char*>(&piece));
  // The size tells texts apart that differ in how many NULs they begin or end with.
  return step(step(value, piece), text.size());
}

}  // namespace ryx
