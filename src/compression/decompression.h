// SPDX-License-Identifier: Apache-2.0
// Compressed logs, read as the logs that they hold: gzip and Zstandard, by what they begin with.

#ifndef RYX_COMPRESSION_DECOMPRESSION_H
#define RYX_COMPRESSION_DECOMPRESSION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "base/status.h"
#include "stream/byte_source.h"

namespace ryx::profiling {

/// As many bytes as it takes to tell.
constexpr size_t kCompressionBytes = 16;

/// Whether a file that begins with these bytes is compressed. A log is not taken for one, though
/// its first chunk's size may look like the mark of gzip data.
[[nodiscard]] bool isCompressed(std::string_view firstBytes);

/// What `source` holds, decompressed as it is read where it is compressed, in a few hundred
/// kilobytes (of Zstandard data, up to the 128 MiB that it asks for). What is wrong with the data
/// is the failure of the read that comes to it. Fails where the first bytes cannot be read.
[[nodiscard]] Result<std::unique_ptr<ByteSource>> decompressed(std::unique_ptr<ByteSource> source);

/// Writes the rest of `source` to a file, up to `maxBytes` of it. Fails for a source that has more,
/// or that cannot be read to its end; what comes before has been written.
[[nodiscard]] Status copySource(ByteSource& source, int file, uint64_t maxBytes = UINT64_MAX);

}  // namespace ryx::profiling

#endif
