// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target over files that were kept, on heap buffers of exactly each file's size, so
// that the address sanitizer sees a read past the end.
//
//     ryx_replay_TARGET FILE_OR_FOLDER...

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<std::string> filesIn(const std::string& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(path))
    files.push_back(entry.path().string());
  std::sort(files.begin(), files.end());
  return files;
}

void replay(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(file), {}};
  const std::unique_ptr<uint8_t[]> exact(new uint8_t[content.size()]);
  std::copy(content.begin(), content.end(), exact.get());
  std::printf("%s (%zu bytes)\n", path.c_str(), content.size());
  std::fflush(stdout);
  LLVMFuzzerTestOneInput(exact.get(), content.size());
}

}  // namespace

int main(int argc, char** argv) {
  size_t count = 0;
  for (int i = 1; i < argc; ++i)
    for (const std::string& path : filesIn(argv[i])) replay(path), ++count;
  std::printf("%zu files\n", count);
  return count > 0 ? 0 : 1;
}
