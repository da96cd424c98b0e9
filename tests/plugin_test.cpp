// SPDX-License-Identifier: Apache-2.0
// The plug-ins as a host meets them: loaded with dlopen, driven through the public header.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <locale>
#include <sstream>

#include "ryx/profile_event.h"
#include "ryx/profile_log_reader.h"
#include "tests/process.h"

namespace ryx::profiling {
namespace {

class Plugin {
 public:
  explicit Plugin(const std::string& name)
      : handle_(dlopen((std::string(RYX_PLUGIN_DIR "/") + name).c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) ADD_FAILURE() << dlerror();
  }

  template <typename Function>
  [[nodiscard]] Function* find(const char* symbol) const {
    return reinterpret_cast<Function*>(dlsym(handle_, symbol));
  }

  [[nodiscard]] ProfileLogReader* create(const std::string& path, int8_t level = 127) const {
    return find<decltype(createReader)>("createReader")(path, static_cast<VisibilityLevel>(level));
  }
  void destroy(ProfileLogReader* reader) const {
    find<decltype(deleteReader)>("deleteReader")(reader);
  }

 private:
  void* handle_;  // stays loaded: a host unloads nothing either
};

constexpr char kBase[] = "libRyxProfilingReader.so";
constexpr char kGpu[] = "libRyxGpuProfilingReader.so";
const std::string kSample = RYX_SAMPLES_DIR "/text-detection.log";

class PluginTest : public testing::TestWithParam<const char*> {
 protected:
  const Plugin plugin_{GetParam()};
  tests::TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Both, PluginTest, testing::Values(kBase, kGpu));

TEST_P(PluginTest, ExportsWhatItShouldAndNothingElse) {
  for (const char* symbol :
       {"createReader", "deleteReader", "initializeLogging", "terminateLogging"})
    EXPECT_NE(nullptr, plugin_.find<void()>(symbol)) << symbol;
  const auto symbols = tests::runProcess({"nm", "-D", "--defined-only", "--format=just-symbols",
                                          RYX_PLUGIN_DIR "/" + std::string(GetParam())});
  ASSERT_EQ(0, symbols.status) << symbols.err;
  EXPECT_EQ("createReader\ndeleteReader\ninitializeLogging\nterminateLogging\n", symbols.out);
}

// Calls every operation by its place in the virtual table, as a host compiled years ago would.
TEST_P(PluginTest, SlotsAreInTheirOrder) {
  ProfileLogReader* reader = plugin_.create(kSample);
  void** slots = *reinterpret_cast<void***>(reader);
  using Reader = ProfileLogReader;
  const auto slot = [&](int index, auto signature) {
    return reinterpret_cast<decltype(signature)>(slots[index]);
  };
  const auto generateOutput = slot(0, static_cast<bool (*)(Reader*, const std::string&)>(nullptr));
  const auto deletingDestructor = slot(2, static_cast<void (*)(Reader*)>(nullptr));
  const auto getHeaderDetails = slot(3, static_cast<std::string (*)(Reader*)>(nullptr));
  const auto processNextMessage = slot(4, static_cast<bool (*)(Reader*)>(nullptr));
  const auto readLogFile = slot(5, static_cast<bool (*)(Reader*, bool)>(nullptr));
  const auto getReaderStatus = slot(6, static_cast<int (*)(Reader*)>(nullptr));
  using Events = std::vector<ProfileEvent>;
  const auto printEventTree =
      slot(7, static_cast<void (*)(Reader*, std::ostream&, const Events&, uint64_t)>(nullptr));
  const auto writeCsvEvents = slot(
      8, static_cast<void (*)(Reader*, std::ostream&, const Events&, uint64_t, const std::string&)>(
             nullptr));

  EXPECT_EQ("", getHeaderDetails(reader));
  EXPECT_FALSE(processNextMessage(reader));
  EXPECT_TRUE(readLogFile(reader, false));
  EXPECT_FALSE(processNextMessage(reader));
  EXPECT_EQ(1, getReaderStatus(reader));
  EXPECT_EQ(0U, getHeaderDetails(reader).find("Input Log File Location: " + kSample + "\n"));
  EXPECT_FALSE(generateOutput(reader, folder_ / "no such folder/report"));

  ProfileEvent event;
  event.identifier = "conv";
  event.value = {EventDataType::Uint64, 1234567};
  event.unit = 6;
  ProfileEvent object = event;
  object.unit = 5;
  object.subEvents = {event};
  event.subEvents = {event};
  std::ostringstream tree, rows;
  printEventTree(reader, tree, {event, object}, 1);
  EXPECT_EQ("    Backend (conv): 1234567 \n        conv: 1234567 \n        conv: 1234567 \n",
            tree.str());
  writeCsvEvents(reader, rows, {object}, 42, "INIT");
  EXPECT_EQ("42,INIT,1234567,NONE,BACKEND,SUB-EVENT,conv\n", rows.str());
  deletingDestructor(reader);
  plugin_.destroy(nullptr);
}

TEST_P(PluginTest, ReportsOfOneReader) {
  ProfileLogReader* reader = plugin_.create(kSample);
  ASSERT_TRUE(reader->readLogFile(false));
  const std::string report = folder_ / "report";
  testing::internal::CaptureStdout();
  EXPECT_TRUE(reader->generateOutput(report));
  const std::string firstReport = tests::readFile(report);
  EXPECT_TRUE(reader->generateOutput(report));
  EXPECT_EQ(GetParam() == kBase, reader->generateOutput(""));
  const std::string printed = testing::internal::GetCapturedStdout();
  const size_t times = GetParam() == kBase ? 3 : 2;
  ASSERT_EQ(0U, printed.size() % times);
  const std::string once = printed.substr(0, printed.size() / times);
  for (size_t i = 0; i < times; ++i) EXPECT_EQ(once, printed.substr(i * once.size(), once.size()));
  if (GetParam() == kBase) {
    EXPECT_EQ(firstReport + firstReport, tests::readFile(report));
  }
  plugin_.destroy(reader);
}

struct GroupedNumbers : std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  char do_decimal_point() const override { return ','; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_P(PluginTest, NoLocaleChangesAReport) {
  const std::locale before = std::locale::global(std::locale::classic());
  const auto reports = [&](const std::string& name) {
    ProfileLogReader* reader = plugin_.create(kSample);
    EXPECT_TRUE(reader->readLogFile(false));
    testing::internal::CaptureStdout();
    EXPECT_TRUE(reader->generateOutput(folder_ / name));
    plugin_.destroy(reader);
    return testing::internal::GetCapturedStdout();
  };
  const std::string expected = reports("classic");
  std::locale::global(std::locale(std::locale::classic(), new GroupedNumbers));
  EXPECT_EQ(expected, reports("grouped"));
  std::locale::global(before);
  // The JSON file of the second report holds the first one, too.
  if (GetParam() == kBase) {
    EXPECT_EQ(tests::readFile(folder_ / "classic"), tests::readFile(folder_ / "grouped"));
  } else {
    EXPECT_EQ(std::string::npos, tests::readFile(folder_ / "grouped").find(".000"));
  }
}

std::string g_lines;

void rememberLine(const char* format, uint32_t, uint64_t, va_list arguments) {
  char text[256];
  vsnprintf(text, sizeof text, format, arguments);
  g_lines += text;
}

TEST_P(PluginTest, LoggingTellsWhyAReadFailed) {
  const auto initialize = plugin_.find<bool(log::LogCallback, uint32_t)>("initializeLogging");
  const auto terminate = plugin_.find<void()>("terminateLogging");
  g_lines.clear();
  ASSERT_TRUE(initialize(rememberLine, log::RYX_LOG_LEVEL_ERROR));
  ProfileLogReader* reader = plugin_.create("missing.log");
  EXPECT_FALSE(reader->readLogFile(false));
  terminate();
  EXPECT_FALSE(reader->readLogFile(false));
  EXPECT_EQ("Invalid or nonexistent file: missing.log", g_lines);
  plugin_.destroy(reader);
}

}  // namespace
}  // namespace ryx::profiling
