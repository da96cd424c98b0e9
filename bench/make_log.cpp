// SPDX-License-Identifier: Apache-2.0
// ryx-bench-make-log: writes a log of a standard shape, or of any other.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

#include "bench/log_generator.h"

namespace {

using ryx::bench::LogShape;

struct StandardShape {
  LogShape shape;
  size_t LogShape::*scaled;  // what grows with the scale
};

const std::map<std::string, StandardShape> kShapes = {
    {"deep", {ryx::bench::kDeepRun, &LogShape::executionsPerGraph}},
    {"wide", {ryx::bench::kWideGraph, &LogShape::executionsPerGraph}},
    {"many", {ryx::bench::kManyGraphs, &LogShape::graphs}}};

struct Dimension {
  const char* name;
  const char* description;
  size_t LogShape::*member;
  std::optional<size_t> value;
};

LogShape scaledShape(const StandardShape& standard, double scale) {
  LogShape shape = standard.shape;
  const double scaled = std::round(static_cast<double>(shape.*standard.scaled) * scale);
  shape.*standard.scaled = std::max<size_t>(1, static_cast<size_t>(scaled));
  return shape;
}

int makeLog(const LogShape& shape, const std::string& path) {
  std::string error;
  if (!ryx::bench::writeLog(shape, path, error)) {
    std::fprintf(stderr, "ryx-bench-make-log: %s\n", error.c_str());
    return 1;
  }
  std::printf("%zu events, %ju bytes\n", ryx::bench::eventCount(shape),
              static_cast<uintmax_t>(std::filesystem::file_size(path)));
  return 0;
}

int run(int argc, char** argv) {
  CLI::App app("Writes a large profiling log to measure with.", "ryx-bench-make-log");
  std::string name = "deep";
  app.add_option("--shape", name, "Standard shape: deep, wide or many; default deep")
      ->check(CLI::IsMember(kShapes));
  double scale = 1;
  app.add_option("--scale", scale, "Multiply its executions (of many: its graphs)")
      ->check(CLI::PositiveNumber);
  Dimension dimensions[] = {
      {"--graphs", "Graphs", &LogShape::graphs, {}},
      {"--executions", "Executions of each graph", &LogShape::executionsPerGraph, {}},
      {"--roots", "Root events of each execution", &LogShape::rootEventsPerExecution, {}},
      {"--subs", "Sub-events of each root event", &LogShape::subEventsPerRootEvent, {}},
      {"--messages-per-chunk", "0 for as many as fit in 256 KiB", &LogShape::messagesPerChunk, {}}};
  for (Dimension& dimension : dimensions)
    app.add_option(dimension.name, dimension.value, dimension.description);
  std::string path;
  app.add_option("LOG", path, "Log to write")->required();
  CLI11_PARSE(app, argc, argv);

  LogShape shape = scaledShape(kShapes.at(name), scale);
  for (const Dimension& dimension : dimensions)
    shape.*dimension.member = dimension.value.value_or(shape.*dimension.member);
  return makeLog(shape, path);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ryx-bench-make-log: %s\n", error.what());
    return 1;
  }
}
