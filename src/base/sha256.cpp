// SPDX-License-Identifier: Apache-2.0
// Written out here because it is short, and a library for it would be one more thing to install. It
// takes the whole text at once and is not made for speed, nor to keep secrets: it names things.

#include "base/sha256.h"

#include <cstddef>
#include <string>

namespace ryx {
namespace {

constexpr size_t kBlockBytes = 64;
constexpr size_t kLengthBytes = 8;

constexpr uint32_t kRoundConstants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

using State = std::array<uint32_t, 8>;

uint32_t rotated(uint32_t word, int bits) { return word >> bits | word << (32 - bits); }

void takeBlock(State& state, std::string_view block) {
  uint32_t words[64];
  for (size_t i = 0; i < 16; ++i) {
    words[i] = 0;
    for (size_t byte = 0; byte < 4; ++byte)
      words[i] = words[i] << 8 | static_cast<uint8_t>(block[4 * i + byte]);
  }
  for (size_t i = 16; i < 64; ++i) {
    const uint32_t near = words[i - 15];
    const uint32_t last = words[i - 2];
    words[i] = words[i - 16] + words[i - 7] + (rotated(near, 7) ^ rotated(near, 18) ^ near >> 3) +
               (rotated(last, 17) ^ rotated(last, 19) ^ last >> 10);
  }
  // Named as in FIPS 180-4.
  auto [a, b, c, d, e, f, g, h] = state;
  for (size_t i = 0; i < 64; ++i) {
    const uint32_t one = h + (rotated(e, 6) ^ rotated(e, 11) ^ rotated(e, 25)) +
                         ((e & f) ^ (~e & g)) + kRoundConstants[i] + words[i];
    const uint32_t two =
        (rotated(a, 2) ^ rotated(a, 13) ^ rotated(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
    h = g;
    g = f;
    f = e;
    e = d + one;
    d = c;
    c = b;
    b = a;
    a = one + two;
  }
  const State added = {a, b, c, d, e, f, g, h};
  for (size_t i = 0; i < state.size(); ++i) state[i] += added[i];
}

}  // namespace

std::array<uint8_t, 32> sha256(std::string_view bytes) {
  State state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
  const uint64_t bits = uint64_t{bytes.size()} * 8;
  for (; bytes.size() >= kBlockBytes; bytes.remove_prefix(kBlockBytes))
    takeBlock(state, bytes.substr(0, kBlockBytes));

  // What is left is followed by a 1 bit and by 0 bits, so that the length in bits ends a block.
  std::string tail(bytes);
  tail += '\x80';
  while (tail.size() % kBlockBytes != kBlockBytes - kLengthBytes) tail += '\0';
  for (int shift = 56; shift >= 0; shift -= 8) tail += static_cast<char>(bits >> shift);
  for (size_t at = 0; at < tail.size(); at += kBlockBytes)
    takeBlock(state, std::string_view(tail).substr(at, kBlockBytes));

  std::array<uint8_t, 32> digest{};
  for (size_t i = 0; i < digest.size(); ++i)
    digest[i] = static_cast<uint8_t>(state[i / 4] >> (24 - 8 * (i % 4)));
  return digest;
}

}  // namespace ryx
