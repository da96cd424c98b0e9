// SPDX-License-Identifier: Apache-2.0
// What the signals that end the program undo before they do: files that are half written.
//
// A temporary is removed, a file that is appended to is cut back to where it was. Only SIGKILL or a
// crash can leave either half done.

#ifndef RYX_BASE_SIGNAL_UNDO_H
#define RYX_BASE_SIGNAL_UNDO_H

#include <sys/types.h>

#include <csignal>
#include <cstddef>
#include <string>

namespace ryx {

/// One thing to undo, from when it is given until `forget` or the end of this object; giving
/// another one replaces it. Of more than 32 at once in a process, or a path of PATH_MAX bytes, a
/// signal undoes none.
class SignalUndo {
 public:
  SignalUndo() = default;
  ~SignalUndo() { forget(); }
  SignalUndo(const SignalUndo&) = delete;
  SignalUndo& operator=(const SignalUndo&) = delete;

  void removeFile(const std::string& path);
  /// `file` must stay open until this is forgotten.
  void cutBack(int file, off_t bytes);
  /// What is on a terminal: `text`, which must outlive the process, erases it.
  void write(int file, const char* text);
  void forget();

 private:
  static constexpr size_t kNone = SIZE_MAX;

  size_t slot_ = kNone;
};

/// Holds signals back while a file and what undoes it appear or disappear together.
class SignalsHeldBack {
 public:
  SignalsHeldBack();
  ~SignalsHeldBack();
  SignalsHeldBack(const SignalsHeldBack&) = delete;
  SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

 private:
  sigset_t before_;
};

/// Has the signals that usually end a program (SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXCPU,
/// SIGXFSZ) undo what every SignalUndo of this process was given before they do; signals that are
/// ignored stay ignored. For programs, which own their signals; called once, before other threads
/// run.
void undoOnSignals();

}  // namespace ryx

#endif
