// SPDX-License-Identifier: Apache-2.0
// Times are integers of microseconds from the text to the comparison: logged times may use all 64
// bits, which a double does not hold. So fractions are scaled as integers, and what does not fit is
// no time. Each form has a reader of its own that takes the whole text or nothing; no text is of
// two forms, so that their order does not matter.
//
// Dates are not left to strptime and timegm: to these, a 31st of February is a day in March.

#include "stream/log_time.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace ryx::profiling {

namespace {

constexpr uint64_t kSecond = 1'000'000;
constexpr uint64_t kMinute = 60 * kSecond;
constexpr uint64_t kHour = 60 * kMinute;
constexpr uint64_t kDay = 24 * kHour;

/// A text that is taken apart from its front.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  [[nodiscard]] bool isAtEnd() const { return text_.empty(); }
  [[nodiscard]] std::string_view rest() const { return text_; }

  bool skip(std::string_view token) {
    if (text_.substr(0, token.size()) != token) return false;
    text_.remove_prefix(token.size());
    return true;
  }

  bool skipAnyOf(std::string_view characters) {
    if (text_.empty() || characters.find(text_.front()) == std::string_view::npos) return false;
    text_.remove_prefix(1);
    return true;
  }

  /// All digits from here on, or where `count` is given, so many of them.
  std::string_view digits(size_t count = 0) {
    size_t size = 0;
    while (size < text_.size() && isDigit(text_[size]) && (count == 0 || size < count)) ++size;
    if (count != 0 && size != count) size = 0;
    const std::string_view taken = text_.substr(0, size);
    text_.remove_prefix(size);
    return taken;
  }

  /// A number of that many digits, between two bounds.
  std::optional<uint64_t> number(size_t digitCount, uint64_t low, uint64_t high);

 private:
  static bool isDigit(char c) { return c >= '0' && c <= '9'; }

  std::string_view text_;
};

std::optional<uint64_t> valueOf(std::string_view digits) {
  uint64_t value = 0;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return value;
}

std::optional<uint64_t> Scanner::number(size_t digitCount, uint64_t low, uint64_t high) {
  const auto value = valueOf(digits(digitCount));
  return value && *value >= low && *value <= high ? value : std::nullopt;
}

/// The fraction of a unit that the digits after a point are, rounded down.
uint64_t fractionOf(uint64_t unit, std::string_view digits) {
  constexpr size_t kDigitsThatMatter = 15;  // the rest of an hour is less than a microsecond
  __extension__ typedef unsigned __int128 Wide;
  Wide numerator = 0;
  Wide denominator = 1;
  for (const char digit : digits.substr(0, kDigitsThatMatter)) {
    numerator = 10 * numerator + static_cast<unsigned>(digit - '0');
    denominator *= 10;
  }
  return static_cast<uint64_t>(numerator * unit / denominator);
}

/// `count` units and a fraction; nothing where that is too much.
std::optional<uint64_t> multiplied(uint64_t count, uint64_t unit, uint64_t fraction) {
  uint64_t product = 0;
  if (__builtin_mul_overflow(count, unit, &product) ||
      __builtin_add_overflow(product, fraction, &product))
    return std::nullopt;
  return product;
}

// --- The forms -----------------------------------------------------------------------------------

std::optional<LogTime> readLogged(std::string_view text) {
  const auto value = valueOf(text);
  return value ? std::optional<LogTime>(*value) : std::nullopt;
}

std::optional<LogTime> readAfterFirst(std::string_view text) {
  constexpr std::pair<std::string_view, uint64_t> kUnits[] = {
      {"us", 1}, {"ms", 1000}, {"s", kSecond}, {"m", kMinute}, {"h", kHour}};
  Scanner scanner(text);
  if (!scanner.skip("+")) return std::nullopt;
  const auto count = valueOf(scanner.digits());
  const std::string_view fraction = scanner.skip(".") ? scanner.digits() : std::string_view();
  if (!count) return std::nullopt;
  for (const auto& [name, unit] : kUnits) {
    if (scanner.rest() != name) continue;
    const auto time = multiplied(*count, unit, fractionOf(unit, fraction));
    if (!time) return std::nullopt;
    return LogTime{*time, LogTime::Since::FirstMessage};
  }
  return std::nullopt;
}

/// Days from 1970-01-01 on, by the calendar of today.
uint64_t daysUntil(uint64_t year, uint64_t month, uint64_t day) {
  // Years begin in March, so that the day that comes and goes is their last.
  year -= month <= 2 ? 1 : 0;
  month = (month + 9) % 12;
  const uint64_t daysOfYears = 365 * year + year / 4 - year / 100 + year / 400;
  constexpr uint64_t kDaysUntil1970 = 719468;
  return daysOfYears + (153 * month + 2) / 5 + day - 1 - kDaysUntil1970;
}

bool isDate(uint64_t year, uint64_t month, uint64_t day) {
  constexpr uint64_t kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool isLeapYear = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return day <= kDays[month - 1] && (month != 2 || day <= 28 || isLeapYear);
}

/// "10:15", "10:15:02", "10:15:02.5": the time of day.
std::optional<uint64_t> readTimeOfDay(Scanner& scanner) {
  const auto hour = scanner.number(2, 0, 23);
  if (!hour || !scanner.skip(":")) return std::nullopt;
  const auto minute = scanner.number(2, 0, 59);
  if (!minute) return std::nullopt;
  uint64_t time = *hour * kHour + *minute * kMinute;
  if (!scanner.skip(":")) return time;
  const auto second = scanner.number(2, 0, 60);  // 60 where a second is put in
  if (!second) return std::nullopt;
  time += *second * kSecond;
  if (!scanner.skipAnyOf(".,")) return time;
  const std::string_view fraction = scanner.digits();
  if (fraction.empty()) return std::nullopt;
  return time + fractionOf(kSecond, fraction);
}

struct Zone {
  bool isAhead = true;  ///< of UTC
  uint64_t offset = 0;
};

/// "Z", "+01:00", "-0530", "+02", or nothing: UTC.
std::optional<Zone> readZone(Scanner& scanner) {
  if (scanner.isAtEnd() || scanner.skipAnyOf("Zz")) return Zone();
  Zone zone;
  zone.isAhead = scanner.skip("+");
  if (!zone.isAhead && !scanner.skip("-")) return std::nullopt;
  const auto hours = scanner.number(2, 0, 23);
  if (!hours) return std::nullopt;
  zone.offset = *hours * kHour;
  if (scanner.isAtEnd()) return zone;
  static_cast<void>(scanner.skip(":"));
  const auto minutes = scanner.number(2, 0, 59);
  if (!minutes) return std::nullopt;
  zone.offset += *minutes * kMinute;
  return zone;
}

std::optional<LogTime> readDate(std::string_view text) {
  Scanner scanner(text);
  const auto year = scanner.number(4, 1970, 9999);
  if (!year || !scanner.skip("-")) return std::nullopt;
  const auto month = scanner.number(2, 1, 12);
  if (!month || !scanner.skip("-")) return std::nullopt;
  const auto day = scanner.number(2, 1, 31);
  if (!day || !isDate(*year, *month, *day)) return std::nullopt;
  uint64_t time = daysUntil(*year, *month, *day) * kDay;
  if (scanner.isAtEnd()) return LogTime{time, LogTime::Since::Epoch};
  if (!scanner.skipAnyOf("Tt ")) return std::nullopt;
  const auto timeOfDay = readTimeOfDay(scanner);
  if (!timeOfDay) return std::nullopt;
  time += *timeOfDay;
  const auto zone = readZone(scanner);
  if (!zone || !scanner.isAtEnd() || (zone->isAhead && zone->offset > time)) return std::nullopt;
  return LogTime{zone->isAhead ? time - zone->offset : time + zone->offset, LogTime::Since::Epoch};
}

}  // namespace

Result<LogTime> parseLogTime(std::string_view text) {
  for (const auto read : {readLogged, readAfterFirst, readDate})
    if (const auto time = read(text)) return *time;
  return Status::failure("'" + std::string(text) + "' is no time: " + kLogTimeForms);
}

}  // namespace ryx::profiling
