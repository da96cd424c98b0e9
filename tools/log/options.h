// SPDX-License-Identifier: Apache-2.0
// The options that several commands of ryx-profile-log share, so that they read and mean the same
// everywhere.

#ifndef RYX_LOG_OPTIONS_H
#define RYX_LOG_OPTIONS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "analysis/steady_row.h"
#include "base/status.h"
#include "common/terminal.h"
#include "stream/message_filter.h"

namespace ryx::profiling {

/// Required operands, called `name` in the help. What is given must outlive `app`'s parsing, here
/// and below.
void addOperand(CLI::App& app, const char* name, std::string& path, const char* description);
void addOperands(CLI::App& app, const char* name, std::vector<std::string>& paths,
                 const char* description);

/// --output, required.
void addOutput(CLI::App& app, std::string& path, const char* name);

/// --graph, --method, --level, --from, --to, --messages, --first and --last. Whether they
/// contradict each other is known when all have been parsed: `requireUsage(checkFilter(filter))`.
void addFilter(CLI::App& app, MessageFilter& filter);

/// --warmup, whose `text` has its default.
void addWarmUp(CLI::App& app, std::string& text);

/// What it says: none, auto, or a number of executions.
[[nodiscard]] WarmUpRule readWarmUp(const std::string& text);

/// --color, for what is shown on standard output.
void addColor(CLI::App& app, tools::Color& color);

/// Throws a failure as wrong usage.
void requireUsage(const Status& status);

/// Refuses an output that is the input, by links or otherwise.
void requireDifferentFiles(const std::string& input, const std::string& output);

/// Refuses an output that replaces a file.
void requireAbsent(const std::string& output);

}  // namespace ryx::profiling

#endif
