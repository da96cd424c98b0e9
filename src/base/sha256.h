// SPDX-License-Identifier: Apache-2.0
// SHA-256 (FIPS 180-4), for short digests of names that anybody can check with sha256sum.

#ifndef RYX_BASE_SHA256_H
#define RYX_BASE_SHA256_H

#include <array>
#include <cstdint>
#include <string_view>

namespace ryx {

[[nodiscard]] std::array<uint8_t, 32> sha256(std::string_view bytes);

}  // namespace ryx

#endif
