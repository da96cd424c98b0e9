// SPDX-License-Identifier: Apache-2.0
// The data of a run's page: its head, and for each graph a block of events and one of samples.

#ifndef RYX_EXPORTS_HTML_RUN_DATA_H
#define RYX_EXPORTS_HTML_RUN_DATA_H

#include <cstddef>
#include <string>
#include <vector>

#include "exports/html/block.h"
#include "exports/html/graph_view.h"

namespace ryx::profiling {

class RunData {
 public:
  /// `graphs` must outlive this.
  explicit RunData(const std::vector<GraphView>& graphs);

  /// What there was no room for, as a sentence; empty where all is there.
  [[nodiscard]] std::string whatIsLeftOut() const;

  /// The elements that carry the data.
  [[nodiscard]] std::string scripts();

 private:
  struct SampledEvent {
    size_t event;
    PackedColumn column;
    DeflatedPiece piece;
  };

  void chooseSamples();
  [[nodiscard]] std::string head() const;
  [[nodiscard]] std::string graphBlock(size_t index);
  [[nodiscard]] std::string samplesBlock(size_t index);

  const std::vector<GraphView>& graphs_;
  Deflater deflater_;
  std::vector<std::vector<SampledEvent>> sampled_;  ///< of each graph
  size_t sampledEvents_ = 0;
  size_t eventsWithSamples_ = 0;
};

}  // namespace ryx::profiling

#endif
