// SPDX-License-Identifier: Apache-2.0
// The allocator of the programs that link this: mimalloc, on large pages.
//
// A log of hundreds of MB becomes twice as much memory in millions of small blocks, all of them
// wanted until the end. What that costs is mostly the kernel handing out its pages one by one, so
// the allocator asks for pages of 2 MiB; docs/performance.md has the figures. Nothing needs to call
// anything here: linking it replaces malloc and operator new, in loaded plug-ins, too.

#include <mimalloc.h>

#include <new>

namespace {

// As early as can be: memory taken before this stays on small pages.
[[gnu::constructor]] void useLargePages() { mi_option_enable(mi_option_large_os_pages); }

}  // namespace

// mimalloc, built as C, has operators of its own that end the process where these throw.
void* operator new(size_t size) {
  if (void* storage = mi_malloc(size)) return storage;
  throw std::bad_alloc();
}
void* operator new[](size_t size) { return operator new(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept { return mi_malloc(size); }
void* operator new[](size_t size, const std::nothrow_t&) noexcept { return mi_malloc(size); }
void operator delete(void* storage) noexcept { mi_free(storage); }
void operator delete(void* storage, size_t) noexcept { mi_free(storage); }
void operator delete[](void* storage) noexcept { mi_free(storage); }
void operator delete[](void* storage, size_t) noexcept { mi_free(storage); }
