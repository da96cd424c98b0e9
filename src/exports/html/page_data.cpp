// SPDX-License-Identifier: Apache-2.0
// The head of the data names its schema, so that a script can refuse data that it was not built
// for; it is JSON, as everything that is not a long column of numbers.

#include "exports/html/page_data.h"

#include <cmath>

#include "exports/html/graph_view.h"

namespace ryx::profiling {

std::string pageDataHead(std::string_view kind, const std::function<void(JsonWriter&)>& writeRest) {
  std::string head;
  JsonWriter json([&head](std::string_view text) { head += text; });
  json.startObject();
  json.member("schema", "ryx-profile-page/1");
  json.member("kind", kind);
  writeRest(json);
  json.endObject();
  json.finish();
  return head;
}

std::vector<double> durationColumn(const Row& row) {
  std::vector<double> durations(row.occurrences, std::nan(""));
  for (size_t i = 0; i < row.timed.size(); ++i)
    durations[row.timed[i]] = realOrNan(row.durations[i]);
  return durations;
}

}  // namespace ryx::profiling
