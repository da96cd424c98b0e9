// SPDX-License-Identifier: Apache-2.0
#include "tests/process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace ryx::tests {
namespace {

void sendTo(int descriptor, const std::string& path, int flags) {
  const int file = open(path.c_str(), flags, 0600);
  if (file < 0 || dup2(file, descriptor) < 0) _exit(127);
  close(file);
}

[[noreturn]] void execute(const std::vector<std::string>& command, const std::string& folder,
                          const TemporaryFolder& captured) {
  sendTo(STDIN_FILENO, "/dev/null", O_RDONLY);
  sendTo(STDOUT_FILENO, captured / "out", O_WRONLY | O_CREAT);
  sendTo(STDERR_FILENO, captured / "err", O_WRONLY | O_CREAT);
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command)
    arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  if (chdir(folder.c_str()) == 0) execvp(arguments[0], arguments.data());
  _exit(127);
}

}  // namespace

ProcessResult runProcess(const std::vector<std::string>& command, const std::string& folder) {
  const TemporaryFolder captured;
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) execute(command, folder, captured);
  int status = 0;
  waitpid(child, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
          readFile(captured / "out"), readFile(captured / "err")};
}

ProcessResult runScript(const std::string& script, const std::vector<std::string>& command,
                        const std::string& folder) {
  std::vector<std::string> whole = {"sh", "-c", script, "sh"};
  whole.insert(whole.end(), command.begin(), command.end());
  return runProcess(whole, folder);
}

TemporaryFolder::TemporaryFolder()
    : path_((std::filesystem::temp_directory_path() / "ryx-test-XXXXXX").string()) {
  if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary folder");
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string readFile(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace ryx::tests
