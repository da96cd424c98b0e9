#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "log/chunk_json.h"
#include "log/commands.h"
#include "stream/chunk_file.h"
#include "stream/chunk_verifier.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

/// Prints the chunks of one log.
class Dump {
 public:
  explicit Dump(const std::string& logPath) : logPath_(logPath) {}

  bool run() {
    errno = EISDIR;  // what `open` refuses on its own account
    if (!file_.open(logPath_))
      return reportError("cannot read " + logPath_ + ": " + std::strerror(errno));
    for (;;) {
      ++chunkNumber_;
      switch (readNext()) {
        case ChunkRead::Chunk:
          if (!printChunk()) return false;
          break;
        case ChunkRead::Failed: return reportChunk("cannot be read");
        case ChunkRead::EndOfFile: return checkEnd();
      }
    }
  }

 private:
  ChunkRead readNext() {
    try {
      return file_.readNext();
    } catch (const std::exception&) {  // bad_alloc or length_error: more bytes than there can be
      return ChunkRead::Failed;
    }
  }

  bool printChunk() {
    const ByteVector& bytes = *file_.bytes();
    if (bytes.size() > kMaxChunkBytes)
      return reportChunk("announces " + std::to_string(bytes.size()) + " bytes, more than the " +
                         std::to_string(kMaxChunkBytes) + " that a chunk may have");
    const bool isCut = file_.presentBytes() < bytes.size();
    if (verifyChunk(bytes.data(), bytes.size(), file_.presentBytes())) {
      if (!printText(json_.print(bytes.data()))) return false;
    } else if (!isCut) {
      return reportChunk("its " + std::to_string(bytes.size()) + " bytes do not verify");
    }
    return !isCut || reportChunk("the file ends after " + std::to_string(file_.presentBytes()) +
                                 " of its " + std::to_string(bytes.size()) + " bytes");
  }

  bool checkEnd() {
    return file_.trailingBytes() == 0 ||
           reportChunk("the file ends within the chunk's size, after " +
                       std::to_string(file_.trailingBytes()) + " of 4 bytes");
  }

  bool reportChunk(const std::string& what) {
    return reportError(logPath_ + ": chunk " + std::to_string(chunkNumber_) + " at byte " +
                       std::to_string(file_.offset()) + ": " + what);
  }

  const std::string& logPath_;
  ChunkFile file_;
  ChunkJson json_;
  size_t chunkNumber_ = 0;
};

}  // namespace

bool dumpLog(const std::string& logPath) { return Dump(logPath).run(); }

}  // namespace ryx::profiling
