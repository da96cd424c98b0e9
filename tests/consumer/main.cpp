// SPDX-License-Identifier: Apache-2.0
// Writes a log with the installed library and reads it back: through the installed plug-in, and as
// tables.
// Arguments: the log to write.

#include <dlfcn.h>
#include <ryx/profile_log_reader.h>
#include <ryx/profile_log_writer.h>
#include <ryx/profile_tables.h>

#include <iostream>
#include <sstream>
#include <string>

namespace {

bool writeLog(const std::string& path) {
  ryx::profiling::HeaderRecord header;
  header.backendVersion = "consumer-1.2.3";
  ryx::profiling::EventRecord event;
  event.identifier = "conv1";
  event.unit = 1;
  event.setUint(15);
  ryx::profiling::MessageRecord message;
  message.events = {&event, 1};
  message.method = ryx::profiling::ProfiledMethod::Execute;
  message.text = "graph";
  message.start = 10;
  message.end = 30;

  ryx::profiling::ProfileLogWriter log;
  const bool good =
      log.open(path) && log.setHeader(header) && log.addMessage(message) && log.close();
  if (!good) std::cerr << log.error() << '\n';
  return good;
}

bool readLog(const std::string& path) {
  void* plugin = dlopen(PLUGIN_DIR "/libRyxProfilingReader.so", RTLD_NOW | RTLD_LOCAL);
  if (plugin == nullptr) {
    std::cerr << dlerror() << '\n';
    return false;
  }
  const auto create =
      reinterpret_cast<decltype(&ryx::profiling::createReader)>(dlsym(plugin, "createReader"));
  const auto destroy =
      reinterpret_cast<decltype(&ryx::profiling::deleteReader)>(dlsym(plugin, "deleteReader"));
  if (create == nullptr || destroy == nullptr) return false;

  ryx::profiling::ProfileLogReader* reader = create(path, ryx::profiling::VisibilityLevel{1});
  const bool good = reader->readLogFile(false);
  const std::string details = reader->getHeaderDetails();
  destroy(reader);
  dlclose(plugin);
  if (good && details.find("consumer-1.2.3") != std::string::npos) return true;
  std::cerr << "the log does not read back: " << details << '\n';
  return false;
}

/// As in the README.
bool readTable(const std::string& path) {
  using namespace ryx::profiling;
  std::ostringstream rows;
  Selection selection;
  selection.add(TableId::Events, {"identifier", "value", "unit"});
  TableReader reader(selection);
  if (reader.open(path))
    while (const Batch* batch = reader.next())
      for (size_t row = 0; row < batch->rows(); ++row)
        rows << batch->cell(row, 0).text << ": " << batch->cell(row, 1).real << ' '
             << batch->cell(row, 2).text << '\n';
  if (reader.damage()) std::cerr << reader.damage()->line << '\n';
  if (rows.str() == "conv1: 15 us\n") return true;
  std::cerr << "the events do not read back: " << rows.str() << '\n';
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  return writeLog(argv[1]) && readLog(argv[1]) && readTable(argv[1]) ? 0 : 1;
}
