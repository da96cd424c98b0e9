// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "common/input.h"
#include "common/progress.h"
#include "exports/export.h"
#include "log/commands.h"

namespace ryx::profiling {

bool exportTables(const std::vector<std::string>& operands, const MessageFilter& filter,
                  TableSink& sink) {
  std::vector<tools::InputPath> inputs;  // they must stay while they are read
  std::vector<ExportedLog> logs;
  for (const std::string& operand : operands) {
    Result<tools::InputPath> input = tools::InputPath::of(operand);
    if (!input) return reportIfFailed(input.status());
    const auto id = static_cast<int64_t>(logs.size());
    logs.push_back({operand, id, tools::inputName(operand), input->path()});
    inputs.push_back(std::move(*input));
  }
  const uint64_t passes = sink.passes() * (filter.last ? 2 : 1);
  const tools::Progress progress("exporting", tools::bytesOf(operands, passes));
  return exportLogs(logs, filter, sink, reportError) == ExportResult::Whole;
}

}  // namespace ryx::profiling
