#include "viewer/damage.h"

#include <filesystem>
#include <system_error>

#include "stream/log_damage.h"

namespace ryx::viewer {
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

std::string salvageCommand(const std::string& path) {
  const std::filesystem::path log(path);
  const std::string rescued = (log.parent_path() / log.stem()).string() + ".salvaged.log";
  return "ryx-profile-log salvage " + shellWord(path) + " -o " + shellWord(rescued);
}

}  // namespace

std::string explainDamage(const std::string& path) {
  std::error_code ignored;
  // Anything else than a file cannot be read twice.
  if (!std::filesystem::is_regular_file(path, ignored)) return "";
  const auto damage = profiling::findDamage(path, profiling::DamageScope::StopsReaders);
  if (!damage || damage->kind == profiling::DamageKind::CannotOpen) return "";
  return ": " + describe(*damage) + "; to rescue the rest: " + salvageCommand(path);
}

}  // namespace ryx::viewer
