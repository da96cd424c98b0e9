// SPDX-License-Identifier: Apache-2.0
// ryx-bench-split: writes each chunk of a log to a file of its own, for tools that know only those.

#include <cstdio>
#include <fstream>
#include <string>

#include "stream/chunk_file.h"

namespace {

using ryx::profiling::ByteVector;
using ryx::profiling::ChunkRead;

bool writeChunk(const std::string& path, const ByteVector& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
  file.close();
  return file.good();
}

bool split(const std::string& log, const std::string& folder) {
  ryx::profiling::ChunkFile file;
  if (!file.open(log)) return false;
  for (size_t chunk = 0;; ++chunk) {
    const ChunkRead read = file.readNext();
    if (read != ChunkRead::Chunk) return read == ChunkRead::EndOfFile;
    const std::string path = folder + "/chunk" + std::to_string(chunk) + ".bin";
    if (!writeChunk(path, *file.bytes())) return false;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: ryx-bench-split LOG FOLDER\n", stderr);
    return 2;
  }
  if (split(argv[1], argv[2])) return 0;
  std::fprintf(stderr, "ryx-bench-split: %s could not be split into %s\n", argv[1], argv[2]);
  return 1;
}
