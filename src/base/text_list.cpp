// SPDX-License-Identifier: Apache-2.0
#include "base/text_list.h"

namespace ryx {

std::string joined(const std::vector<std::string>& texts, std::string_view separator) {
  std::string all;
  for (const std::string& text : texts) {
    if (!all.empty()) all += separator;
    all += text;
  }
  return all;
}

}  // namespace ryx
