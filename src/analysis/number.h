// SPDX-License-Identifier: Apache-2.0
// Numbers as logs hold them: whole ones exact, in 128 bits, and doubles.
//
// A sum of whole numbers stays whole, so that nanoseconds of a year or bytes of a fleet lose
// nothing; from its first double on it is one. 2^64 values of 64 bits fit into 128, so nothing here
// can wrap.

#ifndef RYX_ANALYSIS_NUMBER_H
#define RYX_ANALYSIS_NUMBER_H

#include <cmath>
#include <cstdint>

namespace ryx::profiling {

__extension__ typedef __int128 Int128;

class Number {
 public:
  /// 0.
  constexpr Number() = default;
  constexpr Number(Int128 whole) : whole_(whole) {}
  constexpr Number(int64_t whole) : whole_(whole) {}
  constexpr Number(uint64_t whole) : whole_(whole) {}
  constexpr Number(int32_t whole) : whole_(whole) {}
  constexpr Number(double real) : real_(real), isWhole_(false) {}

  [[nodiscard]] constexpr bool isWhole() const { return isWhole_; }
  /// Of a whole number.
  [[nodiscard]] constexpr Int128 whole() const { return whole_; }
  /// The nearest double.
  [[nodiscard]] constexpr double real() const {
    return isWhole_ ? static_cast<double>(whole_) : real_;
  }
  [[nodiscard]] bool isFinite() const { return isWhole_ || std::isfinite(real_); }

  /// Whole if both are, else the sum or difference of the nearest doubles.
  Number& operator+=(const Number& other) {
    if (isWhole_ && other.isWhole_)
      whole_ += other.whole_;
    else
      *this = Number(real() + other.real());
    return *this;
  }
  Number& operator-=(const Number& other) {
    if (isWhole_ && other.isWhole_)
      whole_ -= other.whole_;
    else
      *this = Number(real() - other.real());
    return *this;
  }
  [[nodiscard]] Number operator+(const Number& other) const { return Number(*this) += other; }
  [[nodiscard]] Number operator-(const Number& other) const { return Number(*this) -= other; }

 private:
  Int128 whole_ = 0;
  double real_ = 0;
  bool isWhole_ = true;
};

/// Below, equal or above 0 as `a` is less than, equal to or more than `b`: by their exact values.
/// Neither may be NaN.
[[nodiscard]] int compare(const Number& a, const Number& b);

inline bool operator<(const Number& a, const Number& b) { return compare(a, b) < 0; }
inline bool operator>(const Number& a, const Number& b) { return compare(a, b) > 0; }
inline bool operator<=(const Number& a, const Number& b) { return compare(a, b) <= 0; }
inline bool operator>=(const Number& a, const Number& b) { return compare(a, b) >= 0; }
inline bool operator==(const Number& a, const Number& b) { return compare(a, b) == 0; }
inline bool operator!=(const Number& a, const Number& b) { return compare(a, b) != 0; }

}  // namespace ryx::profiling

#endif
