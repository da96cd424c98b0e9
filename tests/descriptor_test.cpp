// SPDX-License-Identifier: Apache-2.0
#include "base/descriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <thread>

namespace ryx::tests {
namespace {

TEST(DescriptorTest, PipesThatSomebodyMadeNonBlockingAreWaitedFor) {
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_NONBLOCK));
  const Descriptor reading(ends[0]);
  const Descriptor writing(ends[1]);
  const std::string text(1'000'000, 'x');  // more than a pipe holds
  std::string received(text.size(), '\0');
  Result<size_t> count(0);
  std::thread reader([&] { count = readUpTo(reading.get(), received.data(), received.size()); });
  size_t written = 0;
  EXPECT_TRUE(writeAll(writing.get(), text.data(), text.size(), &written));
  reader.join();
  EXPECT_EQ(text.size(), written);
  ASSERT_TRUE(count);
  EXPECT_EQ(text, received);
}

}  // namespace
}  // namespace ryx::tests
