// The allocator of the programs that link this: mimalloc, on large pages.
//
// A log of hundreds of MB becomes twice as much memory in millions of small blocks, all of them
// wanted until the end. What that costs is mostly the kernel handing out its pages one by one, so
// the allocator asks for pages of 2 MiB; docs/performance.md has the figures. Nothing needs to call
// anything here: linking it replaces malloc and operator new, in loaded plug-ins, too.

#include <mimalloc.h>

namespace {

// As early as can be: memory taken before this stays on small pages.
[[gnu::constructor]] void useLargePages() { mi_option_enable(mi_option_large_os_pages); }

}  // namespace
