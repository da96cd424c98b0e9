// SPDX-License-Identifier: Apache-2.0
// Runs ryx-profile-log html as its users do. What the pages do in a browser is tested in
// page/test/browser.

#include <gtest/gtest.h>

#include <string>

#include "tests/toolbox.h"

namespace ryx::tests {
namespace {

class HtmlCommandTest : public ToolboxTest {
 protected:
  void SetUp() override {
    std::string messages;
    for (int i = 0; i < 20; ++i)
      messages += R"({timestamp: {}, timing: {start: 0, end: )" +
                  std::to_string(1000 + i * 7 % 11) +
                  R"(}, method_type: Execute, text: "</script><img src=x onerror=alert(1)>",
                      events: [{identifier: "<!--<script>\"'&\u202e", unit: 1, value_kind: UINT64,
                                uint_value: 900}]},)";
    makeLog("{messages: [" + messages + "]}", "run.log");
    write("damaged.log", read("run.log") + "abc");
    run("html run.log -o built.html");
    if (err_.find("this build has no HTML report") != std::string::npos)
      GTEST_SKIP() << "built without node";
  }

  [[nodiscard]] static size_t count(const std::string& text, const std::string& part) {
    size_t times = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
      ++times;
    return times;
  }
};

TEST_F(HtmlCommandTest, PagesAreWholeOrNotThere) {
  write("taken.html", "mine");
  runScript("gzip <run.log >packed.log.gz", {}, folder_.path());
  const struct {
    const char* arguments;
    int status;
    const char* page;  ///< the file that is there then
    const char* holds;
  } kCases[] = {
      {"run.log", 0, "run.html", "Profile of a run"},
      {"packed.log.gz", 0, "packed.html", "Profile of a run"},
      {"run.log damaged.log", 1, "damaged.html", "A log is damaged."},
      {"--base run.log run.log --new run.log -o sets.html", 0, "sets.html", "run.log and 1 more"},
      {"damaged.log -o part.html", 1, "part.html", "This log is damaged."},
      {"run.log -o taken.html", 2, "taken.html", "mine"},
      {"run.log -o taken.html --force", 0, "taken.html", "Profile of a run"},
      {"run.log --force -o run.log", 2, "run.log", "script"},
      {"none.log", 1, "none.html", nullptr},
      {"run.log none.log -o a.html", 1, "a.html", nullptr},
      {"run.log run.log run.log -o b.html", 2, "b.html", nullptr},
      {"--base run.log -o c.html", 2, "c.html", nullptr},
      {"run.log -o no/folder.html", 1, "no", nullptr},
      {"run.log -o /dev/full --force", 1, "run.html", "</html>"},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(test.status, run(std::string("html ") + test.arguments)) << test.arguments << "\n"
                                                                       << err_;
    EXPECT_EQ(test.holds != nullptr, exists(test.page)) << test.arguments;
    if (test.holds == nullptr) continue;
    EXPECT_NE(std::string::npos, read(test.page).find(test.holds)) << test.arguments;
  }
  EXPECT_EQ(0, run("html - < run.log"));
  EXPECT_EQ(0U, out_.find("<!DOCTYPE html>"));
  EXPECT_EQ(out_.size() - 8, out_.rfind("</html>\n")) << "to its end";
}

TEST_F(HtmlCommandTest, NothingOfALogBecomesMarkup) {
  ASSERT_EQ(0, run("html run.log run.log -o both.html"));
  for (const char* name : {"built.html", "both.html"}) {
    const std::string page = read(name);
    EXPECT_EQ(0U, count(page, "<img"));
    EXPECT_EQ(0U, count(page, "<!--"));
    EXPECT_EQ(0U, count(page, "\u202e"));
    EXPECT_LT(0U, count(page, "&lt;!--&lt;script&gt;&quot;&#39;&amp;\\u202E"));
    EXPECT_EQ(count(page, "<script type=\"text/plain\" id=\"ryx-") + 1, count(page, "<script"));
    EXPECT_EQ(0U, count(page, " style=\"") + count(page, "src=\"") + count(page, "href=\"http"));
    const size_t policy = page.find("http-equiv=\"Content-Security-Policy\"");
    EXPECT_LT(policy, page.find("<style>"));
    EXPECT_LT(policy, page.find("<script"));
  }
  ASSERT_EQ(0, run("html run.log -o again.html"));
  EXPECT_EQ(read("built.html"), read("again.html"));
}

TEST_F(HtmlCommandTest, GroupsBeginAtTheLeft) {
  makeLog(R"({messages: [{timestamp: {}, timing: {start: 0, end: 100}, method_type: Execute,
    text: "g", events: [{identifier: "a", unit: 1, value_kind: UINT64, uint_value: 90}]}]})",
          "short.log");
  ASSERT_EQ(0, run("html short.log"));
  EXPECT_EQ(1U, count(read("short.html"),
                      "<svg class=\"stack\" aria-hidden=\"true\"><rect "
                      "class=\"type-0\" x=\"0.00%\" width=\"90.00%\""));
}

TEST_F(HtmlCommandTest, ComparisonsNameSevenChangesAtMost) {
  const auto makeSide = [this](int number, const std::string& log) {
    std::string messages = R"({timestamp: {}, timing: {start: 0, end: 5}, method_type: Finalize,
      text: "g", events: [{identifier: "weights", unit: 2, value_kind: UINT64, uint_value: )" +
                           std::to_string(number * 4096) + "}]}";
    std::string events;
    for (int i = 0; i < 12; ++i)
      events += "{identifier: \"" + std::string(1, static_cast<char>('a' + i)) +
                "\", unit: 1, value_kind: UINT64, uint_value: " + std::to_string(number) + "},";
    for (int i = 0; i < 40; ++i)
      messages += ", {timestamp: {}, timing: {start: 0, end: " + std::to_string(13 * number) +
                  "}, method_type: Execute, text: \"g\", events: [" + events + "]}";
    makeLog("{messages: [" + messages + "]}", log);
  };
  makeSide(500, "base.log");
  makeSide(900, "next.log");
  ASSERT_EQ(0, run("html base.log next.log -o two.html"));
  EXPECT_EQ(7U, count(read("two.html"), "<li><p class=\"what\">"));
}

TEST_F(HtmlCommandTest, NothingToDivideByIsDrawnAsNothing) {
  const auto makeSide = [this](const char* event, const char* log) {
    makeLog(std::string("{messages: [{timestamp: {}, timing: {start: 5, end: 5}, "
                        "method_type: Execute, text: \"g\", events: [{identifier: \"") +
                event + "\", unit: 1, value_kind: UINT64, uint_value: 0}]}]}",
            log);
  };
  makeSide("old", "a.log");
  makeSide("new", "b.log");
  for (const char* arguments : {"a.log", "a.log b.log"}) {
    EXPECT_EQ(0, run(std::string("html ") + arguments + " -o zero.html --force")) << err_;
    EXPECT_EQ(0U, count(read("zero.html"), "nan%") + count(read("zero.html"), "inf%")) << arguments;
  }
}

TEST_F(HtmlCommandTest, GraphsBeyondTheHundredthCountAllTheSame) {
  std::string messages;
  for (int i = 0; i < 125; ++i)
    messages += "{timestamp: {}, timing: {start: 0, end: 400}, method_type: Execute, text: \"g" +
                std::to_string(i) + "\", events: []},";
  makeLog("{messages: [" + messages + "]}", "many.log");
  ASSERT_EQ(0, run("html many.log"));
  const std::string page = read("many.html");
  for (const char* text : {"<span>125 executions</span><span>125 graphs</span>",
                           "Of 125 graphs the 100 that take most time are shown.",
                           "all of them 0.8 % of the time", "The 60 longest are shown."})
    EXPECT_EQ(1U, count(page, text)) << text;
  EXPECT_EQ(60U, count(page, "<svg class=\"gantt\"")) << "all are equally long";
}

}  // namespace
}  // namespace ryx::tests
