// SPDX-License-Identifier: Apache-2.0
// Reading a log chunk by chunk, up to its end or its first damage, and saying what that damage is.

#ifndef RYX_STREAM_LOG_DAMAGE_H
#define RYX_STREAM_LOG_DAMAGE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "profile_log_generated.h"
#include "stream/chunk_file.h"

namespace ryx::profiling {

enum class DamageKind {
  CannotOpen,     ///< no such file, no permission, a folder
  NotALog,        ///< its first chunk is damaged, and it begins as another kind of file does
  CannotRead,     ///< reading failed
  NoMemory,       ///< the chunk's storage cannot be had
  TooSmall,       ///< announces fewer bytes than a chunk takes
  TooLarge,       ///< announces more bytes than a chunk may have
  PastEnd,        ///< announces more bytes than the file still has
  Unverified,     ///< all bytes are there, and do not verify
  TrailingBytes,  ///< 1 to 3 bytes after the last chunk
  SharedEvents,   ///< more events than bytes in a chunk; refused where each becomes a row
};

struct LogDamage {
  DamageKind kind;
  uint64_t chunkNumber = 1;  ///< from 1
  uint64_t offset = 0;       ///< in the file, of the chunk's size prefix
  std::string text;          ///< what is wrong: "its 28 bytes do not verify"
};

/// "chunk 2 at byte 32: its 28 bytes do not verify"; for a log that does not open, why; for what is
/// no log, "not a profiling log; it looks like gzip data".
[[nodiscard]] std::string describe(const LogDamage& damage);

/// The damage of a chunk that does not verify. Its prefix announces `announcedBytes`, of which the
/// file has `presentBytes`. Unverified where nothing is wrong with these sizes.
[[nodiscard]] DamageKind judgeSizes(uint64_t announcedBytes, uint64_t presentBytes);

/// What is wrong, in words: "its 28 bytes do not verify".
[[nodiscard]] std::string damageText(DamageKind kind, uint64_t announcedBytes = 0,
                                     uint64_t presentBytes = 0);

/// What counts as damage. Readers accept two things that are: bytes after the last chunk, too few
/// for a size prefix, and a last chunk that is cut short if it verifies with zeros in place of the
/// bytes that are missing.
enum class DamageScope {
  All,           ///< these two as well
  AllAsRead,     ///< these two as well, but `next` still returns that last chunk, as readers see it
  StopsReaders,  ///< all but these two
};

/// A log that is verified while it is read.
class CheckedLog {
 public:
  explicit CheckedLog(DamageScope scope = DamageScope::All) : scope_(scope) {}

  /// On failure `damage()` says why.
  [[nodiscard]] bool open(const std::string& path);

  /// The next chunk, which has been verified; valid until the next call. Null at the end of the log
  /// and at its damage.
  [[nodiscard]] const LogChunk* next();

  [[nodiscard]] const std::optional<LogDamage>& damage() const { return damage_; }

  /// The chunks handed out so far.
  [[nodiscard]] uint64_t chunkCount() const { return chunkCount_; }
  /// Of the chunk handed out last: its bytes without the size prefix, which is at `offset`.
  [[nodiscard]] size_t chunkBytes() const { return file_.bytes()->size(); }
  [[nodiscard]] uint64_t offset() const { return file_.offset(); }
  /// Whether verifying it visits more tables than it has bytes, as it only can where tables are
  /// named more than once.
  [[nodiscard]] bool sharesTables() const { return sharesTables_; }
  /// Where the chunk handed out last ends in the file.
  [[nodiscard]] uint64_t end() const { return end_; }

 private:
  [[nodiscard]] ChunkRead readChunk();
  [[nodiscard]] const LogChunk* verified();
  [[nodiscard]] bool verify(const ByteVector& bytes);
  /// Notes the damage of the chunk read last, which is cut short or does not verify.
  void refuseChunk();
  void refuseUnread();
  void refuse(DamageKind kind, uint64_t announcedBytes = 0, uint64_t presentBytes = 0);

  DamageScope scope_;
  ChunkFile file_;
  std::optional<LogDamage> damage_;
  uint64_t chunkCount_ = 0;
  uint64_t end_ = 0;
  bool sharesTables_ = false;
};

/// The first damage of the log within `scope`, if it has any. Reads the log up to there.
[[nodiscard]] std::optional<LogDamage> findDamage(const std::string& path,
                                                  DamageScope scope = DamageScope::All);

/// The damage of a file that looks like something else than a log. Chunks may be in it all the
/// same.
[[nodiscard]] std::optional<LogDamage> foreignDamage(const std::string& path);

}  // namespace ryx::profiling

#endif
