// SPDX-License-Identifier: Apache-2.0
// Whatever is wrong with an option's text is thrown as a validation error while CLI11 parses, so
// that every command refuses it in the same words, and before it has touched a file.

#include "log/options.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "analysis/choices.h"
#include "base/file.h"
#include "common/command_line.h"
#include "common/input.h"
#include "stream/log_text.h"
#include "stream/log_time.h"

namespace ryx::profiling {

namespace {

using tools::addNumber;
using tools::readNumber;

int8_t readMethod(const std::string& text) {
  if (const auto method = methodCode(text)) return *method;
  throw CLI::ValidationError("--method: " + tools::unknownValue("method", text, methodNames()) +
                             ", and numbers between -128 and 127");
}

void readMessageRange(const std::string& text, MessageFilter& filter) {
  const size_t colon = std::min(text.find(':'), text.size());
  const std::string_view range = text;
  if (colon == text.size() || !readNumber(range.substr(0, colon), filter.firstMessage) ||
      !readNumber(range.substr(colon + 1), filter.lastMessage))
    throw CLI::ValidationError("--messages: '" + text + "' is not a range A:B of two numbers");
}

/// An option with a time in one of the forms of parseLogTime.
void addTime(CLI::App& app, const std::string& name, const std::string& description,
             LogTime& time) {
  const auto read = [name, &time](const std::string& text) {
    const auto parsed = parseLogTime(text);
    requireUsage(parsed.status().of(name));
    time = *parsed;
  };
  app.add_option_function<std::string>(name, read, description)->option_text("TIME");
}

}  // namespace

void addOperand(CLI::App& app, const char* name, std::string& path, const char* description) {
  app.add_option(name, path, description)->required()->option_text(" ");
}

void addOperands(CLI::App& app, const char* name, std::vector<std::string>& paths,
                 const char* description) {
  app.add_option(name, paths, description)->required()->option_text("...");
}

void addOutput(CLI::App& app, std::string& path, const char* name) {
  app.add_option("-o,--output", path,
                 "Log to write, - for standard output; replaces a\nfile that is there")
      ->required()
      ->option_text(name);
}

void addFilter(CLI::App& app, MessageFilter& filter) {
  // Without extra arguments, or an option that may be repeated would take the operands after it.
  app.add_option("--graph", filter.graphs, "Only messages about this graph; may be repeated")
      ->allow_extra_args(false)
      ->option_text("NAME");
  app.add_option_function<std::vector<std::string>>(
         "--method",
         [&filter](const std::vector<std::string>& names) {
           for (const std::string& name : names) filter.methods.push_back(readMethod(name));
         },
         "Only messages of this method: Execute, NetRun,\n"
         "..., in any case, or a number; may be repeated")
      ->check(tools::suggested(methodNames()))
      ->allow_extra_args(false)
      ->option_text("NAME");
  addNumber<int8_t>(app, "--level", "N",
                    "Only messages that a reader made with level N\n"
                    "shows, those of a level below N (-128..127)",
                    [&filter](int8_t level) { filter.level = level; });
  addTime(app, "--from", std::string("Only messages of this time or later: ") + kLogTimeForms,
          filter.fromTime);
  addTime(app, "--to", "Only messages of this time or earlier", filter.toTime);
  app.add_option_function<std::string>(
         "--messages", [&filter](const std::string& text) { readMessageRange(text, filter); },
         "Only messages A to B of the whole log, both\n"
         "included, counted from 0")
      ->option_text("A:B");
  addNumber<uint64_t>(app, "--first", "N", "Only the first N of those that the others select",
                      [&filter](uint64_t count) { filter.first = count; });
  addNumber<uint64_t>(app, "--last", "N", "Only the last N of those that the others select",
                      [&filter](uint64_t count) { filter.last = count; });
}

void addWarmUp(CLI::App& app, std::string& text) {
  app.add_option("--warmup", text,
                 "Leave out the first N executions of each log, or\n"
                 "with auto those before its steady state, or none;\n"
                 "default " +
                     text)
      ->check(tools::suggested({"auto", "none"}))
      ->option_text("N");
}

WarmUpRule readWarmUp(const std::string& text) {
  if (const auto rule = parseWarmUp(text)) return *rule;
  throw CLI::ValidationError("--warmup: '" + text + "' is not auto, none or a number");
}

void addColor(CLI::App& app, tools::Color& color) {
  const auto set = [&color](const std::string& name) {
    const tools::Names& names = tools::colorNames();
    const auto place = std::find(names.begin(), names.end(), name);
    color = static_cast<tools::Color>(place - names.begin());
  };
  app.add_option_function<std::string>("--color", set,
                                       "Colour on standard output: auto (the default: on\n"
                                       "a terminal, as NO_COLOR and CLICOLOR_FORCE say),\n"
                                       "always or never")
      ->check(tools::oneOf("color", tools::colorNames()))
      ->option_text("WHEN");
}

void requireUsage(const Status& status) {
  if (!status) throw CLI::ValidationError(status.text());
}

void requireDifferentFiles(const std::string& input, const std::string& output) {
  // Redirections count, too: "cut - -o run.log < run.log" would replace its own input.
  const std::string inputPath = input == tools::kStandardStream ? "/dev/stdin" : input;
  const std::string outputPath = output == tools::kStandardStream ? "/dev/stdout" : output;
  if (isSameFile(inputPath, outputPath))
    throw CLI::ValidationError(output + ": is the same file as " + input);
}

void requireAbsent(const std::string& output) {
  std::error_code ignored;
  if (std::filesystem::is_regular_file(output, ignored))
    throw CLI::ValidationError(output + ": exists; --force replaces it");
}

}  // namespace ryx::profiling
