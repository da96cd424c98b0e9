// SPDX-License-Identifier: Apache-2.0
// ryx-bench-write: what writing a log costs its back end. Prints "SECONDS seconds, N events,
// BYTES bytes" for the time in the writer's calls alone.
//
// The records are prepared outside of the measured time and written again and again, as a back end
// does that runs the same graphs: 4 graphs of 60 root events with 8 sub-events each, as in the
// standard deep run, with names of 20 to 40 characters.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "bench/stopwatch.h"
#include "ryx/profile_log_writer.h"

namespace {

using namespace ryx::profiling;

constexpr size_t kGraphs = 4;
constexpr size_t kRoots = 60;
constexpr size_t kSubEvents = 8;
constexpr size_t kExecutionsOfEach = 500;

struct Graph {
  std::string name;
  std::vector<std::string> identifiers;
  std::vector<EventRecord> subEvents;
  std::vector<EventRecord> roots;
  MessageRecord execution;
};

EventRecord makeEvent(std::string_view identifier, uint64_t value) {
  EventRecord event;
  event.identifier = identifier;
  event.unit = 1;
  event.timestamp = 5000000000 + value;
  event.setUint(value);
  return event;
}

/// Fills a graph in its place, which the records point into.
void prepare(Graph& graph, size_t number) {
  constexpr size_t kEvents = kRoots * (1 + kSubEvents);
  graph.name = "model_graph_" + std::to_string(number);
  for (size_t i = 0; i < kEvents; ++i)
    graph.identifiers.push_back(
        std::string("conv2d_layer_norm_transpose_q").substr(0, 12 + i * 7 % 18) + ":g" +
        std::to_string(number) + "_id_" + std::to_string(i));
  for (size_t i = 0; i < kEvents - kRoots; ++i)
    graph.subEvents.push_back(makeEvent(graph.identifiers[kRoots + i], i));
  for (size_t i = 0; i < kRoots; ++i) {
    graph.roots.push_back(makeEvent(graph.identifiers[i], 8 * i));
    graph.roots.back().nestedEvents = {&graph.subEvents[i * kSubEvents], kSubEvents};
  }
  graph.execution.method = ProfiledMethod::Execute;
  graph.execution.text = graph.name;
  graph.execution.timestamp = 5000000000;
  graph.execution.start = 1;
  graph.execution.end = 1000;
  graph.execution.events = graph.roots;
}

int run(const std::string& path, RepeatedTexts repeated) {
  std::vector<Graph> graphs(kGraphs);
  for (size_t i = 0; i < kGraphs; ++i) prepare(graphs[i], i);

  const ryx::bench::Stopwatch stopwatch;
  ProfileLogWriter log({}, repeated);
  bool good = log.open(path);
  for (size_t i = 0; i < kExecutionsOfEach; ++i)
    for (const Graph& graph : graphs) good = good && log.addMessage(graph.execution);
  good = log.close() && good;
  const double seconds = stopwatch.seconds();
  if (!good) {
    std::fprintf(stderr, "ryx-bench-write: %s\n", log.error().c_str());
    return 1;
  }
  const auto bytes = std::filesystem::is_regular_file(path) ? std::filesystem::file_size(path) : 0;
  std::printf("%.6f seconds, %zu events, %ju bytes\n", seconds,
              kGraphs * kExecutionsOfEach * kRoots * (1 + kSubEvents),
              static_cast<uintmax_t>(bytes));
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view texts = argc == 3 ? argv[1] : "";
  if (texts != "once" && texts != "each-time") {
    std::fputs("usage: ryx-bench-write once|each-time LOG\n", stderr);
    return 2;
  }
  try {
    return run(argv[2], texts == "once" ? RepeatedTexts::Once : RepeatedTexts::EachTime);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ryx-bench-write: %s\n", error.what());
    return 1;
  }
}
