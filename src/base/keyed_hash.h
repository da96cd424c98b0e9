// SPDX-License-Identifier: Apache-2.0
// A hash of texts that nobody can foresee, for tables of names that come from a log.
//
// std::hash has no key: whoever writes a log can choose names that all meet in one place of every
// table, where 8 MB of them take 19 s to read. Here a text is a polynomial, of which each 7 bytes
// are a coefficient, and its hash is the polynomial's value modulo 2^61 - 1 at a point that is
// drawn at random when the process starts. Two texts of n bytes, whatever they are, have the same
// value at no more than n / 7 + 2 points of 2^60. SipHash would do as well, at several times the
// price: names are short, and the tables ask for millions of them.
//
// The point is a secret: nothing may be shown that depends on a hash, such as the order of a table.

#ifndef RYX_BASE_KEYED_HASH_H
#define RYX_BASE_KEYED_HASH_H

#include <cstddef>
#include <string_view>

namespace ryx {

/// For the standard containers, as in std::unordered_map<std::string, size_t, KeyedHash>.
struct KeyedHash {
  [[nodiscard]] size_t operator()(std::string_view text) const;
};

}  // namespace ryx

#endif
