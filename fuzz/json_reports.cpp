// SPDX-License-Identifier: Apache-2.0
// A process makes a handful of reports, a fuzzer millions, and all of them stay in one document.
// The document is private to the report's source, so this source takes that one's place: a
// linker that has it does not fetch the other from the reader's library.

#include "fuzz/json_reports.h"

#include "reports/json_report.cpp"  // NOLINT(bugprone-suspicious-include)

namespace ryx::fuzz {

void forgetJsonReports() {
  using namespace ryx::profiling;
  JsonDocument(rapidjson::kArrayType).Swap(g_jsonReports);
  g_firstJsonReport = true;
  g_lastWritten = {};
}

}  // namespace ryx::fuzz
