#include "viewer/payload_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <system_error>
#include <utility>

#include "viewer/confinement.h"

namespace ryx::viewer {
namespace {

[[noreturn]] void throwSystemError(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// A file that the process may write once confined has to exist by then.
void createIfMissing(const std::string& path) {
  struct stat status = {};
  if (path.empty() || stat(path.c_str(), &status) == 0) return;
  // Where this fails, so will the reader, which then says so.
  const Descriptor created(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
}

}  // namespace

PayloadFolder::Visit::Visit(PayloadFolder& folder, const std::string& reportFile) {
  if (!folder.options_.saveObjects) return;
  const std::string& path = folder.options_.payloadFolder;
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error) throw std::system_error(error, path);
  folder.confineOnce(reportFile);
  Descriptor original(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!original.isOpen()) throwSystemError("the current folder");
  if (chdir(path.c_str()) != 0) throwSystemError(path);
  original_ = std::move(original);
}

PayloadFolder::Visit::~Visit() {
  // A folder that was just left can be entered again; should it not, later logs are not found.
  if (original_.isOpen()) (void)!fchdir(original_.get());
}

void PayloadFolder::confineOnce(const std::string& reportFile) {
  if (confined_ || options_.unconfined) return;
  tzset();  // reads the time zone, which reports need, while it can be read
  createIfMissing(reportFile);
  confine({options_.payloadFolder, reportFile, options_.logs});
  confined_ = true;
}

}  // namespace ryx::viewer
