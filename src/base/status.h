// SPDX-License-Identifier: Apache-2.0
// Success, or why not: the one way in which an operation of this project fails.
//
// A Status is returned by what has nothing else to return, a Result by what has a value. Both are
// [[nodiscard]]; both convert to true on success. A failure is a text for people, which names the
// file it is about: whoever shows it adds nothing but the program's name. A system call's failure
// keeps errno instead and becomes text when it is asked for one, so that failing for lack of memory
// takes none.
//
// What a failed operation leaves behind is said where it is declared. Exhausted memory is not a
// Status: it is std::bad_alloc, everywhere.

#ifndef RYX_BASE_STATUS_H
#define RYX_BASE_STATUS_H

#include <cerrno>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace ryx {

class [[nodiscard]] Status {
 public:
  /// Success.
  Status() = default;

  /// A failure in words: "run.log: its 28 bytes do not verify".
  static Status failure(std::string text);

  /// A failed system call, by default the last one. Allocates nothing.
  static Status system(int errorNumber = errno);

  [[nodiscard]] bool isGood() const { return errorNumber_ == 0 && text_.empty(); }
  explicit operator bool() const { return isGood(); }

  /// Why; empty on success.
  [[nodiscard]] std::string text() const;

  /// The errno of a failed system call, else 0.
  [[nodiscard]] int errorNumber() const { return errorNumber_; }

  /// The same failure, said of something: "cannot write out.log: No space left on device".
  /// Success stays success.
  [[nodiscard]] Status of(std::string_view what) const;

 private:
  int errorNumber_ = 0;
  std::string text_;  ///< of a system call's failure: what comes before the system's reason
};

/// A value, or why there is none. Using the value of a failure is a fault of the caller.
template <typename Value>
class [[nodiscard]] Result {
 public:
  Result(Value value) : content_(std::move(value)) {}
  Result(Status failure) : content_(std::move(failure)) {}

  [[nodiscard]] bool isGood() const { return content_.index() == 0; }
  explicit operator bool() const { return isGood(); }

  [[nodiscard]] Value& operator*() { return std::get<0>(content_); }
  [[nodiscard]] const Value& operator*() const { return std::get<0>(content_); }
  [[nodiscard]] Value* operator->() { return &std::get<0>(content_); }
  [[nodiscard]] const Value* operator->() const { return &std::get<0>(content_); }

  [[nodiscard]] Status status() const { return isGood() ? Status() : std::get<1>(content_); }

 private:
  std::variant<Value, Status> content_;
};

}  // namespace ryx

#endif
