// A limit to the memory that a log can make the process take.

#ifndef RYX_VIEWER_MEMORY_LIMIT_H
#define RYX_VIEWER_MEMORY_LIMIT_H

namespace ryx::viewer {

/// Holds the process to the memory that the machine has free now, so that a log that is too large,
/// or made to grow when it is read, ends in "out of memory" instead of taking the machine down.
/// A stricter limit of the user's stays.
void limitMemory();

}  // namespace ryx::viewer

#endif
