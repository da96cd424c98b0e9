// A log read chunk by chunk up to its end or its first damage, which is named.

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
  CannotRead,     ///< reading failed, or the chunk's storage cannot be had
  TooSmall,       ///< announces fewer bytes than a chunk takes
  TooLarge,       ///< announces more bytes than a chunk may have
  PastEnd,        ///< announces more bytes than the file still has
  Unverified,     ///< all bytes are there, and do not verify
  TrailingBytes,  ///< 1 to 3 bytes behind the last chunk
};

struct LogDamage {
  DamageKind kind;
  uint64_t chunkNumber = 1;  ///< from 1
  uint64_t offset = 0;       ///< in the file, of the chunk's size prefix
  std::string text;          ///< what is wrong: "its 28 bytes do not verify"
};

/// "chunk 2 at byte 32: its 28 bytes do not verify"; for a log that does not open, why.
[[nodiscard]] std::string describe(const LogDamage& damage);

/// What is wrong, by its name alone, with a chunk that announces `announcedBytes`, of which the
/// file has `presentBytes`: what cannot be told from the sizes is Unverified.
[[nodiscard]] DamageKind judgeSizes(uint64_t announcedBytes, uint64_t presentBytes);
[[nodiscard]] std::string damageText(DamageKind kind, uint64_t announcedBytes,
                                     uint64_t presentBytes);

/// Readers accept trailing bytes, and a chunk that the end of the file cuts short where it verifies
/// with zeros for what is missing.
enum class DamageScope { All, StopsReaders };

class CheckedLog {
 public:
  explicit CheckedLog(DamageScope scope = DamageScope::All) : scope_(scope) {}

  /// On failure `damage()` says why.
  [[nodiscard]] bool open(const std::string& path);

  /// The next chunk, verified, until the next call; null at the end of the log or at its damage.
  [[nodiscard]] const LogChunk* next();

  [[nodiscard]] const std::optional<LogDamage>& damage() const { return damage_; }

  /// The chunks handed out so far.
  [[nodiscard]] uint64_t chunkCount() const { return chunkCount_; }
  /// Of the chunk handed out last: its bytes without the size prefix, which is at `offset`.
  [[nodiscard]] size_t chunkBytes() const { return file_.bytes()->size(); }
  [[nodiscard]] uint64_t offset() const { return file_.offset(); }
  /// Where the chunk handed out last ends in the file.
  [[nodiscard]] uint64_t end() const { return end_; }

 private:
  [[nodiscard]] const LogChunk* verified();
  void refuse(DamageKind kind, uint64_t announcedBytes = 0, uint64_t presentBytes = 0);

  DamageScope scope_;
  ChunkFile file_;
  std::optional<LogDamage> damage_;
  uint64_t chunkCount_ = 0;
  uint64_t end_ = 0;
};

/// The first damage of the log within `scope`, if it has any. Reads the log up to there.
[[nodiscard]] std::optional<LogDamage> findDamage(const std::string& path,
                                                  DamageScope scope = DamageScope::All);

}  // namespace ryx::profiling

#endif
