// SPDX-License-Identifier: Apache-2.0
// The settings go in with the rows, because a verdict cannot be judged without the rules that it
// was reached by. Every row has every key, whatever decided it; what was not worked out is null.

#include "exports/diff_json.h"

#include "base/printable_text.h"
#include "exports/json_writer.h"

namespace ryx::profiling {

namespace {

const char* textOf(Gate gate) {
  switch (gate) {
    case Gate::Graphs: return "graphs";
    case Gate::Events: return "events";
    case Gate::All: return "all";
  }
  return "";
}

void writeNames(const char* key, const std::vector<std::string>& names, JsonWriter& json) {
  json.key(key);
  json.startArray();
  for (const std::string& name : names) json.value(replacedUtf8(name));
  json.endArray();
}

void writeSettings(const ComparisonResult& result, JsonWriter& json) {
  const ComparisonOptions& options = result.options;
  json.key("settings");
  json.startObject();
  writeNames("base", result.baseNames, json);
  writeNames("new", result.nextNames, json);
  json.member("metric", textOf(options.metric));
  json.member("threshold", options.threshold);
  json.member("min_us", options.minMicroseconds);
  json.member("noise", options.noise);
  json.member("gate", textOf(options.gate));
  json.member("by", replacedUtf8(result.by));
  json.member("warmup", result.warmUp);
  json.member("strict", options.isStrict);
  json.member("run_to_run_variation", result.comparison.isByRun ? "measured" : "unknown");
  json.endObject();
}

void writeRow(const ComparedRow& row, JsonWriter& json) {
  json.breakLine();
  json.startObject();
  json.member("graph", row.graph);
  json.key("method");
  row.isExecution ? json.value(row.method) : json.null();
  json.key("phase");
  row.isExecution ? json.null() : json.value(row.method);
  json.member("path", row.path);
  json.member("unit", row.unit);
  json.member("metric", textOf(row.metric));
  json.member("base", row.base);
  json.member("new", row.next);
  json.member("change", row.change);
  json.member("change_percent", row.changePercent);
  json.key("ci_percent");
  if (row.intervalPercent) {
    json.startArray();
    json.value(row.intervalPercent->low);
    json.value(row.intervalPercent->high);
    json.endArray();
  } else {
    json.null();
  }
  json.member("probability", row.probability);
  json.key("samples");
  json.startArray();
  json.value(row.baseSamples);
  json.value(row.nextSamples);
  json.endArray();
  json.member("verdict", textOf(row.verdict));
  json.member("gates", row.gates);
  json.endObject();
}

}  // namespace

void writeDiffJson(const ComparisonResult& result, const TextSink& sink) {
  JsonWriter json(sink);
  json.startObject();
  json.member("schema", "ryx-profile-diff/1");
  json.member("verdict", textOf(result.comparison.verdict));
  writeSettings(result, json);
  json.key("rows");
  json.startArray();
  for (const ComparedRow& row : result.comparison.rows) writeRow(row, json);
  json.endArray();
  json.endObject();
  json.finish();
}

}  // namespace ryx::profiling
