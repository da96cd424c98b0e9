// SPDX-License-Identifier: Apache-2.0
// Chunks are appended as they are read, so that a log of any size takes the memory of one chunk. A
// fault in the last document still leaves nothing behind: the log appears with `commit`, after all
// have been read.

#include <fcntl.h>

#include <string>

#include "base/descriptor.h"
#include "common/input.h"
#include "log/chunk_parser.h"
#include "log/commands.h"
#include "stream/atomic_log.h"

namespace ryx::profiling {

Status makeLog(const std::string& caseOperand, const std::string& logPath) {
  const auto input = tools::InputPath::of(caseOperand);
  if (!input) return input.status();
  const std::string name = tools::inputName(caseOperand);
  const Result<Descriptor> file = openFile(input->path(), O_RDONLY);
  if (!file) return file.status().of("cannot read " + name);
  AtomicLog log;
  if (Status status = log.open(logPath); !status) return status;

  ChunkParser documents(file->get());
  for (;;) {
    const Result<std::string_view> chunk = documents.next();
    if (!chunk) {
      const std::string place = documents.place();
      return chunk.status().of(place.empty() ? "cannot read " + name : name + ":" + place);
    }
    if (chunk->empty()) return log.commit();
    const auto* bytes = reinterpret_cast<const uint8_t*>(chunk->data());
    if (Status status = log.append(bytes, chunk->size()); !status) return status;
  }
}

}  // namespace ryx::profiling
