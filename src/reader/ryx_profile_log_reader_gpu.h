// SPDX-License-Identifier: Apache-2.0
// The GPU reader: reports as a JSON document instead of CSV, with a shorter text summary.
// Implemented in reports/json_report.cpp.

#ifndef RYX_READER_RYX_PROFILE_LOG_READER_GPU_H
#define RYX_READER_RYX_PROFILE_LOG_READER_GPU_H

#include <rapidjson/allocators.h>
#include <rapidjson/document.h>

#include <cstdlib>
#include <new>
#include <string>

#include "reader/ryx_profile_log_reader.h"

namespace ryx::profiling {

/// Throws std::bad_alloc when memory is exhausted. RapidJSON's own allocator returns null then,
/// which its callers do not test: a report would end the host's process.
class ThrowingJsonAllocator {
 public:
  static const bool kNeedFree = true;

  void* Malloc(size_t size) { return size != 0 ? checked(std::malloc(size)) : nullptr; }
  void* Realloc(void* storage, size_t, size_t newSize) {
    if (newSize != 0) return checked(std::realloc(storage, newSize));
    std::free(storage);
    return nullptr;
  }
  static void Free(void* storage) { std::free(storage); }

 private:
  static void* checked(void* storage) {
    if (storage == nullptr) throw std::bad_alloc();
    return storage;
  }
};

using JsonPool = rapidjson::MemoryPoolAllocator<ThrowingJsonAllocator>;
using JsonValue = rapidjson::GenericValue<rapidjson::UTF8<>, JsonPool>;
using JsonDocument = rapidjson::GenericDocument<rapidjson::UTF8<>, JsonPool, ThrowingJsonAllocator>;

class RyxProfileLogReaderGPU : public RyxProfileLogReader {
 public:
  using RyxProfileLogReader::RyxProfileLogReader;

  [[nodiscard]] bool generateOutput(const std::string& outputPath) override;

 protected:
  // The members of the report, in its order; each adds one to `jsonRoot_`.
  void addMetadata();
  void addInitSection();
  void addDeInitSection();
  void addExecuteSection();

  /// The report under construction; its storage belongs to the process-wide document, which takes
  /// it over when it is complete, and has the same throwing allocator.
  JsonValue jsonRoot_{rapidjson::kObjectType};
};

}  // namespace ryx::profiling

#endif
