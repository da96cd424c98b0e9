// SPDX-License-Identifier: Apache-2.0
// Running a program and looking at all that it did: exit status and both streams.

#ifndef RYX_TESTS_PROCESS_H
#define RYX_TESTS_PROCESS_H

#include <string>
#include <vector>

namespace ryx::tests {

struct ProcessResult {
  int status = -1;  ///< the exit status; 128 plus the signal for a process that was killed
  std::string out;
  std::string err;
};

/// Runs `command` (its first element looked up in PATH) in `folder` with standard input empty, and
/// waits for it. Status 127 when it cannot be started.
ProcessResult runProcess(const std::vector<std::string>& command, const std::string& folder = ".");

/// Runs `command` through a shell `script` that calls it as "$@", say `exec "$@" >&-`.
ProcessResult runScript(const std::string& script, const std::vector<std::string>& command,
                        const std::string& folder = ".");

/// The beginning of a script whose descriptor 4 is to be a pipe that nobody reads any more.
constexpr const char* kToNobody = "mkfifo nobody; exec 3<>nobody 4>nobody 3<&-; rm nobody; ";

/// A new empty folder, removed with everything in it at the end.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/// The whole file; empty when there is none.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& content);

}  // namespace ryx::tests

#endif
