// SPDX-License-Identifier: Apache-2.0
// The reader plug-in's interface, all a host needs to drive it.
//
// A host loads a reader plug-in with dlopen, looks up `createReader` and `deleteReader`, and then,
// for one log: createReader, readLogFile, generateOutput, deleteReader. Two plug-ins share this
// interface: libRyxGpuProfilingReader writes a JSON report, libRyxProfilingReader the full text
// report and a CSV file. The order of the virtual operations is part of the binary interface.

#ifndef RYX_PROFILE_LOG_READER_H
#define RYX_PROFILE_LOG_READER_H

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "ryx/logging.h"

namespace ryx::profiling {

/// A reader made with level L processes only the messages whose level byte, read as a signed
/// number, is less than L. What particular levels mean is the host's business.
enum class VisibilityLevel : int8_t {};

/// One event as the reports see it; defined in <ryx/profile_event.h>, for the hosts that hand their
/// own events to `printEventTree` or `writeCsvEvents`.
struct ProfileEvent;

/// Reads one profiling log and reports on it. Use from one thread at a time; and since the reports
/// of all GPU readers gather in one document, which nothing guards, let one thread of the process
/// call `generateOutput` of all of them. No operation throws, except that exhausted memory surfaces
/// as std::bad_alloc; the reader may then only be deleted.
template <typename Level>
class IRyxProfileLogReader {
 public:
  /// Writes the reports of what has been read; may be called again.
  ///
  /// The base reader prints the text report on standard output and, when `outputPath` is not
  /// empty, appends a CSV report to that file. The GPU reader writes `outputPath` (required) as
  /// JSON and prints a shorter summary: the first report of the process as one object, every later
  /// one as the array of all objects so far. Where `outputPath` still leads to the file that the
  /// last of these left, only what is new is written.
  ///
  /// Returns false when the file cannot be opened, and then prints nothing. A write that fails
  /// later is logged at level ERROR and does not change the result.
  [[nodiscard]] virtual bool generateOutput(const std::string& outputPath) = 0;

  virtual ~IRyxProfileLogReader() = default;

  /// The log's header as lines of text; empty when no header has been read.
  [[nodiscard]] virtual std::string getHeaderDetails() = 0;

  /// Processes the next message of the current chunk. False when there was none, when its method
  /// type is unknown, when its level hides it or when it lacks what its method needs.
  /// `readLogFile` calls this for every message; a host has no need to.
  virtual bool processNextMessage() = 0;

  /// Reads the whole log and builds the statistics. `saveObjectEvents` makes later reports save
  /// the payloads of object events to files of their own, named by the log, in the process's
  /// working folder. True when every chunk up to the end of the file verified; after false no
  /// statistics exist. Meant to be called once: a second call reads everything again, on top.
  [[nodiscard]] virtual bool readLogFile(bool saveObjectEvents) = 0;

  /// Always 1.
  [[nodiscard]] virtual int getReaderStatus() = 0;

  /// Writes `events` as an indented tree, `level` levels (of 4 blanks) deep; at level 1 the lines
  /// are labelled as the back end's.
  virtual void printEventTree(std::ostream& os, const std::vector<ProfileEvent>& events,
                              uint64_t level) = 0;

  /// Writes the CSV rows of `events` and of their direct sub-events. `messageTimestamp` (in
  /// microseconds) and `message` fill the first two columns.
  virtual void writeCsvEvents(std::ostream& os, const std::vector<ProfileEvent>& events,
                              uint64_t messageTimestamp, const std::string& message) = 0;
};

using ProfileLogReader = IRyxProfileLogReader<VisibilityLevel>;

extern "C" {

/// Makes the plug-in's reader for the log at `logFilePath`. The file is not touched before
/// `readLogFile`. The caller owns the reader and gives it back to `deleteReader` of the same
/// plug-in. Throws std::bad_alloc when memory is exhausted.
__attribute__((visibility("default"))) ProfileLogReader* createReader(
    const std::string& logFilePath, VisibilityLevel level);

/// Destroys a reader made by `createReader`; null is ignored.
__attribute__((visibility("default"))) void deleteReader(ProfileLogReader* reader);

}  // extern "C"

}  // namespace ryx::profiling

#endif
