// SPDX-License-Identifier: Apache-2.0
// The reason comes from the C++ library's generic category and not from strerror, whose buffer
// threads share. An errno of 0 becomes EIO, because a call that is known to have failed must not
// read as success.

#include "base/status.h"

#include <system_error>

namespace ryx {

Status Status::failure(std::string text) {
  Status status;
  status.text_ = std::move(text);
  return status;
}

Status Status::system(int errorNumber) {
  Status status;
  status.errorNumber_ = errorNumber != 0 ? errorNumber : EIO;
  return status;
}

std::string Status::text() const {
  if (errorNumber_ == 0) return text_;
  const std::string reason = std::generic_category().message(errorNumber_);
  return text_.empty() ? reason : text_ + ": " + reason;
}

Status Status::of(std::string_view what) const {
  if (isGood()) return {};
  Status status = *this;
  status.text_ = text_.empty() ? std::string(what) : std::string(what) + ": " + text_;
  return status;
}

}  // namespace ryx
