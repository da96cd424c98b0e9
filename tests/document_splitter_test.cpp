#include "log/document_splitter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ryx::profiling {
namespace {

TEST(DocumentSplitterTest, CutsBetweenDocuments) {
  using Texts = std::vector<std::string>;
  const struct {
    const char* text;
    Texts documents;
  } cases[] = {
      {"", {}},
      {" \n// nothing\n /* { */ ", {}},
      {"{}{ } \n{\"a\":{}}", {"{}", "{ }", "{\"a\":{}}"}},
      {"\xEF\xBB\xBF{}", {"{}"}},
      {"{\"}\"} {'}\"'} {'\\'}'}", {"{\"}\"}", "{'}\"'}", "{'\\'}'}"}},
      {"{// }\n} {/* } */}", {"{// }\n}", "{/* } */}"}},
      {"/**/{}/*/ {} */{1/2}", {"{}", "{1/2}"}},
      {"{} , {}", {"{}", ", {}"}},
      {"{} {\"a\":{} ", {"{}", "{\"a\":{} "}},
      {"{\"a", {"{\"a"}},
      {"{'\\", {"{'\\"}},
      {"{/*", {"{/*"}},
      {"}{}", {"}{}"}},
  };
  for (const auto& test : cases) {
    Texts documents;
    DocumentSplitter splitter(test.text);
    while (const auto document = splitter.next()) documents.emplace_back(document->text);
    EXPECT_EQ(documents, test.documents) << test.text;
  }
}

}  // namespace
}  // namespace ryx::profiling
