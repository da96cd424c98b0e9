// SPDX-License-Identifier: Apache-2.0
// The base reader: reads a log and writes the full text report and the CSV report.
//
// The class is declared here and implemented where each of its jobs lives: reading in reader/, the
// reports in reports/.

#ifndef RYX_READER_RYX_PROFILE_LOG_READER_H
#define RYX_READER_RYX_PROFILE_LOG_READER_H

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/keyed_hash.h"
#include "events/profile_data.h"
#include "events/queue_wait.h"
#include "ryx/profile_event.h"
#include "ryx/profile_log_reader.h"
#include "stream/flat_buffer_reader_util.h"

namespace ryx::profiling {

class RyxProfileLogReader : public ProfileLogReader {
 public:
  RyxProfileLogReader(const std::string& logFilePath, VisibilityLevel level);
  ~RyxProfileLogReader() override = default;
  RyxProfileLogReader(const RyxProfileLogReader&) = delete;
  RyxProfileLogReader& operator=(const RyxProfileLogReader&) = delete;

  [[nodiscard]] bool generateOutput(const std::string& outputPath) override;
  [[nodiscard]] std::string getHeaderDetails() override;
  bool processNextMessage() override;
  [[nodiscard]] bool readLogFile(bool saveObjectEvents) override;
  [[nodiscard]] int getReaderStatus() override;
  void printEventTree(std::ostream& os, const std::vector<ProfileEvent>& events,
                      uint64_t level) override;
  void writeCsvEvents(std::ostream& os, const std::vector<ProfileEvent>& events,
                      uint64_t messageTimestamp, const std::string& message) override;

  /// Writes the header details and an empty line, and flushes.
  void printHeaderDetails(std::ostream& os);

  /// Saves an object event's bytes under the first free name made from its payload file name:
  /// "name.bin", "name_1.bin", "name_2.bin" and so on. Does nothing for an event without a name. A
  /// file that cannot be written is logged at level ERROR.
  void saveObjectPayload(const ProfileEvent& event);

 protected:
  /// While it lives, a report is being made. Saving payloads then remembers which names it found
  /// taken: a trace of every execution comes under one name, and trying all numbers anew for each
  /// would be quadratic. Before and after, files may come and go, and every payload's search begins
  /// at the bare name.
  class PayloadNumbering {
   public:
    explicit PayloadNumbering(RyxProfileLogReader& reader) : reader_(reader) {
      reader_.payloadNumbers_.emplace();
    }
    PayloadNumbering(const PayloadNumbering&) = delete;
    PayloadNumbering& operator=(const PayloadNumbering&) = delete;
    ~PayloadNumbering() { reader_.payloadNumbers_.reset(); }

   private:
    RyxProfileLogReader& reader_;
  };

  // Sections of the text report, in the order of the full report, after the header details.
  void printPhaseSections(std::ostream& os);
  void printExecuteOverall(std::ostream& os);
  void printExecuteAverage(std::ostream& os);
  void printExecuteMinimum(std::ostream& os);
  void printExecuteMaximum(std::ostream& os);
  void printLibLoad(std::ostream& os);
  void printApplyBinarySections(std::ostream& os);

  /// The events of the Init sections: those carried by other methods' messages, else those of the
  /// Init message, else null.
  [[nodiscard]] const std::vector<ProfileEvent>* initSectionEvents() const;

  /// Inferences per second of the overall run, where the log has one.
  [[nodiscard]] std::optional<float> inferenceRate() const;

  VisibilityLevel visibilityLevel_;
  bool endOfMessages_ = false;
  FlatBufferReaderUtil messageStream_;
  ProfileData data_;
  std::string infoLabel_;
  std::string infoText_;
  std::string backendVersion_;
  std::string logFilePath_;
  bool headerSaved_ = false;
  bool saveObjectEvents_ = false;
  uint64_t epochTimestamp_ = 0;        // microseconds since the Unix epoch
  uint64_t steadyClockTimestamp_ = 0;  // microseconds
  float timeScale_ = 0;

 private:
  bool readChunks();
  bool dispatch(const Message& message);
  void saveHeader();
  void finishStatistics();

  void printInit(std::ostream& os);
  void printComposeGraphs(std::ostream& os);
  void printFinalize(std::ostream& os);
  void printDeInit(std::ostream& os);
  /// `queueWaits` by graph name; a graph without an entry gets no queue-wait line.
  void printExecuteStatistic(std::ostream& os, std::string_view title,
                             const std::vector<GraphEventSet>& graphs,
                             const QueueWaitsByGraph& queueWaits);
  void printApplyBinarySection(std::ostream& os, std::string_view title,
                               const std::vector<GraphEventSet>& graphs);
  void saveExecutionPayloads();

  void writeCsvReport(std::ostream& os);
  void writeCsvFinalize(std::ostream& os);
  void writeCsvExecutions(std::ostream& os, const GraphExecutionList& list,
                          const std::string& rowMessage, const std::string& eventMessage);

  /// By payload file name: the first number that may be free. None between reports.
  std::optional<std::unordered_map<std::string, uint64_t, KeyedHash>> payloadNumbers_;
};

}  // namespace ryx::profiling

#endif
