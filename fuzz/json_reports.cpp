// A process makes a handful of reports, a fuzzer millions, and all of them stay in one document.
// The document is private to the report's source, so this source takes that one's place: whoever
// links it leaves the ryx_gpu objects out.

#include "fuzz/json_reports.h"

#include "gpu/json_report.cpp"  // NOLINT(bugprone-suspicious-include)

namespace ryx::fuzz {

void forgetJsonReports() {
  using namespace ryx::profiling;
  JsonDocument(rapidjson::kArrayType).Swap(g_jsonReports);
  g_firstJsonReport = true;
}

}  // namespace ryx::fuzz
