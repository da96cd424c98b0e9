// SPDX-License-Identifier: Apache-2.0
#include "reports/block_output_stream.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <rapidjson/stringbuffer.h>

#include <string>

#include "tests/process.h"

namespace ryx::profiling {
namespace {

/// A document whose texts, escapes and indentation meet the ends of the stream's blocks at ever
/// other places, with one text that is longer than several blocks.
JsonDocument documentOfManyBlocks() {
  JsonDocument document(rapidjson::kArrayType);
  JsonPool& pool = document.GetAllocator();
  const std::string pieces[] = {
      "plain", "a \"quoted\" one", "back\\slash", "line\nbreak", "\x01", "\xc3\xa9\xff", ""};
  std::string text;
  for (uint64_t i = 0; i < 40'000; ++i) {
    if (text.size() > 300) text.clear();
    text += pieces[i % std::size(pieces)];
    JsonValue object(rapidjson::kObjectType);
    object.AddMember(JsonValue(text.data(), static_cast<rapidjson::SizeType>(text.size()), pool),
                     JsonValue(~uint64_t{0} >> i % 64), pool);
    document.PushBack(object, pool);
  }
  const std::string longText(5'000'000, 'x');
  document.PushBack(JsonValue(longText.c_str(), pool), pool);
  JsonValue deep(1);
  for (int level = 0; level < 60; ++level) {
    JsonValue array(rapidjson::kArrayType);
    array.PushBack(deep, pool);
    deep = array;
  }
  document.PushBack(deep, pool);
  return document;
}

TEST(BlockOutputStreamTest, WritesWhatRapidJsonsOwnStreamDoes) {
  const JsonDocument document = documentOfManyBlocks();
  rapidjson::StringBuffer expected;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> expectedWriter(expected);
  document.Accept(expectedWriter);

  const tests::TemporaryFolder folder;
  const Result<Descriptor> file = openFile(folder / "file", O_WRONLY | O_CREAT);
  BlockOutputStream stream(file->get());
  JsonPrettyWriter writer(stream);
  document.Accept(writer);
  EXPECT_TRUE(stream.finish());
  EXPECT_TRUE(tests::readFile(folder / "file") == expected.GetString());
}

}  // namespace
}  // namespace ryx::profiling
