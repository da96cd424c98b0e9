// SPDX-License-Identifier: Apache-2.0
// The command is made to be copied into a shell, so paths with blanks, quotes or dollar signs are
// quoted for it.

#include "stream/salvage_hint.h"

#include <filesystem>

namespace ryx::profiling {

namespace {

/// `text` as one word of a shell's command line.
std::string shellWord(const std::string& text) {
  constexpr char kPlain[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=:,./@%";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'')
      quoted += "'\\''";
    else
      quoted += c;
  }
  return quoted + '\'';
}

}  // namespace

std::string salvageCommand(const std::string& path) {
  std::filesystem::path log(path);
  const std::string compression = log.extension().string();
  if (compression == ".gz" || compression == ".zst") log.replace_extension();
  const std::string rescued = (log.parent_path() / log.stem()).string() + ".salvaged.log";
  return "ryx-profile-log salvage " + shellWord(path) + " -o " + shellWord(rescued);
}

}  // namespace ryx::profiling
