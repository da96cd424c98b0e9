// SPDX-License-Identifier: Apache-2.0
#include "stream/foreign_content.h"

#include <gtest/gtest.h>

#include <string>

#include "stream/log_damage.h"
#include "tests/process.h"

namespace ryx::tests {
namespace {

using namespace std::string_literals;

TEST(ForeignContentTest, TellsWhatWasNeverALogFromADamagedOne) {
  const std::string sample = readFile(RYX_SAMPLES_DIR "/text-detection.log");
  const std::string tarHeader = std::string(257, '\1') + "ustar";
  const struct {
    std::string bytes;
    std::string content;  ///< none: could be a log
  } cases[] = {
      {"\x1f\x8b\x08\0\0\0\0\0"s, "gzip data"},
      {"\x28\xb5\x2f\xfd\x24"s, "zstd data"},
      {tarHeader, "a tar archive"},
      {"  {\"a\": [1,\r\n2]}\n", "JSON text"},
      {"\xef\xbb\xbf[1]", "JSON text"},
      {"<html>", "HTML or XML text"},
      {"Not found\n", "text"},
      {"\x1b[31mred\x1b[0m", "text"},
      {"äöü", "text"},
      {std::string(4095, 'a') + "ä", "text"},  // which ends within its last character
      {"text\0"s, ""},
      {"\xffnot UTF-8", ""},
      {std::string(100, '\0'), ""},
      {"", ""},
      {sample, ""},
      {sample.substr(1), ""},
  };
  const TemporaryFolder folder;
  for (const auto& [bytes, content] : cases) {
    EXPECT_EQ(content, profiling::foreignContent(bytes)) << bytes.substr(0, 20);
    if (content.empty()) continue;
    const std::string path = folder / "file";
    writeFile(path, bytes);
    const auto damage = profiling::findDamage(path);
    ASSERT_TRUE(damage);
    EXPECT_EQ("not a profiling log; it looks like " + content, describe(*damage));
    // After a chunk that is intact, the same is damage.
    writeFile(path, sample + bytes);
    EXPECT_NE(profiling::DamageKind::NotALog, profiling::findDamage(path)->kind);
  }
}

}  // namespace
}  // namespace ryx::tests
