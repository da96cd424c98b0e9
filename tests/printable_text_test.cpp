// SPDX-License-Identifier: Apache-2.0
#include "base/printable_text.h"

#include <gtest/gtest.h>

namespace ryx {
namespace {

TEST(PrintableText, ShowsWhatATerminalWouldObey) {
  const struct {
    std::string text, printable, validUtf8;
  } cases[] = {
      {"plain\ttext\n", "plain\ttext\n", "plain\ttext\n"},
      {"\x1b[2J\r\x7f", "\\x1b[2J\\x0d\\x7f", "\x1b[2J\r\x7f"},
      {"\xc2\x9b", "\\xc2\\x9b", "\xc2\x9b"},                  // a control sequence in one
      {"a\xe2\x80\xae", "a\\xe2\\x80\\xae", "a\xe2\x80\xae"},  // reorders what follows
      {"\xc3\xa9 \xe4\xb8\x96 \xf0\x9f\x98\x80", "\xc3\xa9 \xe4\xb8\x96 \xf0\x9f\x98\x80",
       "\xc3\xa9 \xe4\xb8\x96 \xf0\x9f\x98\x80"},
      {"\xff\xc3", "\\xff\\xc3", "\\xff\\xc3"},
      {"\xc0\xaf", "\\xc0\\xaf", "\\xc0\\xaf"},                // overlong
      {"\xed\xa0\x80", "\\xed\\xa0\\x80", "\\xed\\xa0\\x80"},  // a surrogate
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80", "\\xf4\\x90\\x80\\x80"},
      {std::string("\0", 1), "\\x00", std::string("\0", 1)},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.printable, printable(c.text));
    EXPECT_EQ(c.validUtf8, validUtf8(c.text));
  }
}

TEST(PrintableText, ReplacesEachInvalidPartOnce) {
  const struct {
    const char* text;
    const char* replaced;
  } cases[] = {
      {"a\xc3\xa9\x1b", "a\xc3\xa9\x1b"},
      {"\xff\xfe", "\uFFFD\uFFFD"},
      {"\xe2\x82"
       "A\xc3",
       "\uFFFDA\uFFFD"},
      {"\xf0\x9f\x98\xe4\xb8", "\uFFFD\uFFFD"},
      {"\xe0\x80\xaf", "\uFFFD\uFFFD\uFFFD"},
      {"\xed\xa0\x80", "\uFFFD\uFFFD\uFFFD"},
      {"\xf4\x90\x80\x80\xf4\x8f\xbf\xbf", "\uFFFD\uFFFD\uFFFD\uFFFD\U0010FFFF"},
      {"\xf0\x80\x80\xf0\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\U00010000"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.replaced, replacedUtf8(c.text));
}

TEST(PrintableText, PiecesMayCutCharacters) {
  const std::string text = "\xc3\xa9\xe4\xb8\x96\xf0\x9f\x98\x80\x1b!";
  for (size_t cut = 0; cut <= text.size(); ++cut) {
    std::string out;
    const size_t taken = appendPrintable(out, std::string_view(text).substr(0, cut), false);
    appendPrintable(out, std::string_view(text).substr(taken), true);
    EXPECT_EQ(printable(text), out) << cut;
  }
}

}  // namespace
}  // namespace ryx
