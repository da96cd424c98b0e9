// SPDX-License-Identifier: Apache-2.0
// Damage is judged by the sizes first: what a chunk announces against what a chunk may have and
// what the file still holds. Only where they are right is it the bytes' fault. The texts are all
// here, so that every tool says the same of the same damage.
//
// A log ends at its first damage: with a size prefix that is wrong, where the next chunk begins is
// a guess, and guesses are left to salvage.

#include "stream/log_damage.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "stream/chunk_verifier.h"
#include "stream/foreign_content.h"
#include "stream/log_format.h"

namespace ryx::profiling {

namespace {

/// The first bytes of the file: the prefix of its first chunk, which is the one read last, and the
/// chunk.
std::string firstBytes(const ChunkFile& file) {
  const ByteVector& chunk = *file.bytes();
  uint8_t prefix[kSizePrefixBytes];
  encodeSizePrefix(static_cast<uint32_t>(chunk.size()), prefix);
  std::string bytes(prefix, prefix + sizeof prefix);
  const size_t count = std::min(file.presentBytes(), kTellingBytes);
  bytes.append(chunk.data(), chunk.data() + count);
  return bytes;
}

std::string number(uint64_t value) { return std::to_string(value); }

}  // namespace

std::string describe(const LogDamage& damage) {
  if (damage.kind == DamageKind::CannotOpen || damage.kind == DamageKind::NotALog)
    return damage.text;
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
    case DamageKind::NotALog: return "not a profiling log";
    case DamageKind::CannotRead: return "cannot be read";
    case DamageKind::NoMemory: return "needs more memory than is free";
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
    case DamageKind::SharedEvents: return "events shared too often";
  }
  return {};
}

bool CheckedLog::open(const std::string& path) {
  const Status status = file_.open(path);
  if (!status) damage_ = LogDamage{DamageKind::CannotOpen, 1, 0, status.text()};
  return status.isGood();
}

const LogChunk* CheckedLog::next() {
  if (damage_) return nullptr;
  switch (readChunk()) {
    case ChunkRead::Chunk: return verified();
    case ChunkRead::Failed:
      if (!damage_) refuseUnread();
      return nullptr;
    case ChunkRead::EndOfFile:
      if (scope_ != DamageScope::StopsReaders && file_.trailingBytes() > 0)
        refuse(DamageKind::TrailingBytes, 0, file_.trailingBytes());
      return nullptr;
  }
  return nullptr;
}

ChunkRead CheckedLog::readChunk() {
  try {
    return file_.readNext();
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
  }
  refuse(DamageKind::NoMemory);
  return ChunkRead::Failed;
}

const LogChunk* CheckedLog::verified() {
  const ByteVector& bytes = *file_.bytes();
  const size_t present = file_.presentBytes();
  const bool isCut = present < bytes.size() && scope_ != DamageScope::StopsReaders;
  const bool isReadable = (!isCut || scope_ == DamageScope::AllAsRead) && verify(bytes);
  if (isCut || !isReadable) {
    refuseChunk();
    // What is no log at all is not handed out, even if its bytes happen to verify.
    if (damage_->kind == DamageKind::NotALog) return nullptr;
  } else {
    ++chunkCount_;
    end_ = file_.offset() + kSizePrefixBytes + present;
  }
  return isReadable ? flatbuffers::GetRoot<LogChunk>(bytes.data()) : nullptr;
}

void CheckedLog::refuseChunk() {
  const uint64_t announced = file_.bytes()->size();
  const uint64_t present = file_.presentBytes();
  const std::string content = chunkCount_ == 0 ? foreignContent(firstBytes(file_)) : std::string();
  if (content.empty()) return refuse(judgeSizes(announced, present), announced, present);
  refuse(DamageKind::NotALog);
  damage_->text += "; it looks like " + content;
}

void CheckedLog::refuseUnread() {
  refuse(DamageKind::CannotRead);
  // The system gives a reason alone, and what is in words says all.
  const Status& failure = file_.failure();
  const bool isSystems = failure.errorNumber() != 0;
  damage_->text = isSystems ? failure.of(damage_->text).text() : failure.text();
}

bool CheckedLog::verify(const ByteVector& bytes) {
  // Nearly every chunk passes with the lower limit, which tells in the same go that no events are
  // shared beyond measure. Those that do not pass are rare enough to be verified twice.
  const auto fewTables = static_cast<uint32_t>(std::min<uint64_t>(bytes.size(), kMaxTables));
  sharesTables_ = !verifyChunk(bytes.data(), bytes.size(), fewTables);
  return !sharesTables_ || verifyChunk(bytes.data(), bytes.size());
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

std::optional<LogDamage> foreignDamage(const std::string& path) {
  CheckedLog log;
  if (log.open(path) && log.next() == nullptr && log.damage() &&
      log.damage()->kind == DamageKind::NotALog)
    return log.damage();
  return std::nullopt;
}

}  // namespace ryx::profiling
