#include "stream/log_damage.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>

#include "stream/chunk_verifier.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

ChunkRead readChunk(ChunkFile& file) {
  try {
    return file.readNext();
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  }
  return ChunkRead::Failed;
}

std::string number(uint64_t value) { return std::to_string(value); }

}  // namespace

std::string describe(const LogDamage& damage) {
  if (damage.kind == DamageKind::CannotOpen) return damage.text;
  return "chunk " + number(damage.chunkNumber) + " at byte " + number(damage.offset) + ": " +
         damage.text;
}

DamageKind judgeSizes(uint64_t announcedBytes, uint64_t presentBytes) {
  if (announcedBytes < kMinChunkBytes) return DamageKind::TooSmall;
  if (announcedBytes > kMaxChunkBytes) return DamageKind::TooLarge;
  return presentBytes < announcedBytes ? DamageKind::PastEnd : DamageKind::Unverified;
}

std::string damageText(DamageKind kind, uint64_t announcedBytes, uint64_t presentBytes) {
  const std::string announced = number(announcedBytes);
  switch (kind) {
    case DamageKind::CannotOpen: return "cannot be opened";
    case DamageKind::CannotRead: return "cannot be read";
    case DamageKind::TooSmall:
      return "its size is " + announced + ", less than the " + number(kMinChunkBytes) +
             " bytes of a chunk";
    case DamageKind::TooLarge:
      return "announces " + announced + " bytes, more than the " + number(kMaxChunkBytes) +
             " that a chunk may have";
    case DamageKind::PastEnd:
      return "the file ends after " + number(presentBytes) + " of its " + announced + " bytes";
    case DamageKind::Unverified: return "its " + announced + " bytes do not verify";
    case DamageKind::TrailingBytes:
      return "the file ends within the chunk's size, after " + number(presentBytes) + " of " +
             number(kSizePrefixBytes) + " bytes";
  }
  return {};
}

bool CheckedLog::open(const std::string& path) {
  errno = EISDIR;  // what `open` refuses on its own account
  if (file_.open(path)) return true;
  damage_ = LogDamage{DamageKind::CannotOpen, 1, 0, std::strerror(errno)};
  return false;
}

const LogChunk* CheckedLog::next() {
  if (damage_) return nullptr;
  switch (readChunk(file_)) {
    case ChunkRead::Chunk: return verified();
    case ChunkRead::Failed: refuse(DamageKind::CannotRead); return nullptr;
    case ChunkRead::EndOfFile:
      if (scope_ == DamageScope::All && file_.trailingBytes() > 0)
        refuse(DamageKind::TrailingBytes, 0, file_.trailingBytes());
      return nullptr;
  }
  return nullptr;
}

const LogChunk* CheckedLog::verified() {
  const ByteVector& bytes = *file_.bytes();
  const size_t present = file_.presentBytes();
  const bool isRefusedCut = scope_ == DamageScope::All && present < bytes.size();
  if (isRefusedCut || !verifyChunk(bytes.data(), bytes.size(), present)) {
    refuse(judgeSizes(bytes.size(), present), bytes.size(), present);
    return nullptr;
  }
  ++chunkCount_;
  end_ = file_.offset() + kSizePrefixBytes + present;
  return flatbuffers::GetRoot<LogChunk>(bytes.data());
}

void CheckedLog::refuse(DamageKind kind, uint64_t announcedBytes, uint64_t presentBytes) {
  damage_ = LogDamage{kind, chunkCount_ + 1, file_.offset(),
                      damageText(kind, announcedBytes, presentBytes)};
}

std::optional<LogDamage> findDamage(const std::string& path, DamageScope scope) {
  CheckedLog log(scope);
  if (log.open(path))
    while (log.next() != nullptr) {
    }
  return log.damage();
}

}  // namespace ryx::profiling
