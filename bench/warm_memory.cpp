// SPDX-License-Identifier: Apache-2.0
// ryx-bench-warm-memory BYTES: takes that much memory, touches it, and gives it back.
//
// A virtual machine gets its memory from the host when it first touches it, at up to five times the
// cost of a page that the machine already has, and gives it back after some seconds of disuse. What
// is measured right after this finds its memory there, as it finds its log in the page cache.

#include <sys/mman.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
  const size_t size = argc == 2 ? std::strtoull(argv[1], nullptr, 10) : 0;
  if (size == 0) {
    std::fputs("usage: ryx-bench-warm-memory BYTES\n", stderr);
    return 2;
  }
  void* const memory =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) {
    std::perror("ryx-bench-warm-memory");
    return 1;
  }
  madvise(memory, size, MADV_HUGEPAGE);
  std::memset(memory, 1, size);
  return 0;
}
