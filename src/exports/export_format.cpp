// SPDX-License-Identifier: Apache-2.0
// One table of formats, from which help, messages and the choice by extension are made. Extensions
// are compared with the end of the path, since some have two parts (.trace.json.gz). What a format
// does not have an option for is refused rather than ignored: somebody who gives --columns to a
// database expects fewer columns.

#include "exports/export_format.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "base/file.h"
#include "exports/folded_sink.h"
#include "exports/output_file.h"
#include "exports/row_text_sink.h"
#include "exports/sqlite_sink.h"
#include "exports/trace_sink.h"

namespace ryx::profiling {

namespace {

struct FormatEntry {
  ExportFormat format;
  std::string_view name;
  std::vector<std::string_view> extensions;
};

const std::vector<FormatEntry>& entries() {
  static const std::vector<FormatEntry> kEntries = {
      {ExportFormat::Sqlite, "sqlite", {".sqlite", ".db"}},
      {ExportFormat::Csv, "csv", {".csv"}},
      {ExportFormat::Ndjson, "ndjson", {".ndjson", ".jsonl"}},
      {ExportFormat::Trace, "trace", {".trace.json", ".trace.json.gz"}},
      {ExportFormat::Folded, "folded", {".folded"}},
  };
  return kEntries;
}

bool endsWith(std::string_view text, std::string_view ending) {
  return text.size() >= ending.size() && text.substr(text.size() - ending.size()) == ending;
}

const FormatEntry* entryNamed(std::string_view name) {
  const auto isIt = [&](const FormatEntry& entry) { return entry.name == name; };
  const auto entry = std::find_if(entries().begin(), entries().end(), isIt);
  return entry != entries().end() ? &*entry : nullptr;
}

const FormatEntry* entryOf(std::string_view path) {
  for (const FormatEntry& entry : entries())
    for (const std::string_view extension : entry.extensions)
      if (endsWith(path, extension)) return &entry;
  return nullptr;
}

Status unknownFormat(const std::string& what) {
  return Status::failure(what + "; formats are " + exportFormats());
}

std::string joined(const Table& table) {
  std::string names;
  for (const Column& column : table)
    names += (names.empty() ? "" : ", ") + std::string(column.name);
  return names;
}

Status checkColumns(const Table& table, const std::vector<std::string>& columns) {
  std::set<std::string> seen;
  for (const std::string& name : columns) {
    if (!table.find(name))
      return Status::failure("--columns: " + std::string(table.name) + " has no column '" + name +
                             "'; it has " + joined(table));
    if (!seen.insert(name).second) return Status::failure("--columns: '" + name + "' twice");
  }
  return {};
}

Status checkOptions(ExportFormat format, const ExportOptions& options) {
  const bool hasRows = format == ExportFormat::Csv || format == ExportFormat::Ndjson;
  const auto isFor = [&](const char* option, const char* formats) {
    return Status::failure(std::string(option) + " is for " + formats + ", not for " +
                           std::string(nameOf(format)));
  };
  if (options.table && !hasRows) return isFor("--table", "csv and ndjson");
  if (!options.columns.empty() && !hasRows) return isFor("--columns", "csv and ndjson");
  if (!options.hasIndexes && format != ExportFormat::Sqlite) return isFor("--no-indexes", "sqlite");
  if (options.isWhole && format != ExportFormat::Trace) return isFor("--all", "trace");
  if (endsWith(options.outputPath, ".gz") && format != ExportFormat::Trace)
    return Status::failure("only traces are written as gzip data");
  if (format == ExportFormat::Sqlite &&
      (options.outputPath == kStandardOutput || isWrittenInPlace(options.outputPath)))
    return Status::failure("sqlite needs a regular file to write to");
  return checkColumns(table(options.table.value_or(TableId::Events), LogColumn::Path),
                      options.columns);
}

}  // namespace

std::string exportFormats() {
  std::string list;
  for (const FormatEntry& entry : entries()) {
    list += (list.empty() ? "" : ", ") + std::string(entry.name) + " (";
    for (const std::string_view extension : entry.extensions)
      list += (extension == entry.extensions.front() ? "" : ", ") + std::string(extension);
    list += ")";
  }
  return list;
}

std::vector<std::string> exportFormatNames() {
  std::vector<std::string> names;
  for (const FormatEntry& entry : entries()) names.emplace_back(entry.name);
  return names;
}

std::string_view nameOf(ExportFormat format) {
  return std::find_if(entries().begin(), entries().end(),
                      [&](const FormatEntry& entry) { return entry.format == format; })
      ->name;
}

Result<ExportFormat> chooseExportFormat(const std::string& name, const std::string& path) {
  const FormatEntry* ofPath = entryOf(path);
  if (name.empty()) {
    if (ofPath != nullptr) return ofPath->format;
    if (path == kStandardOutput) return unknownFormat("standard output needs --format");
    return unknownFormat("--output: the extension of '" + path + "' is that of no format");
  }
  const FormatEntry* chosen = entryNamed(name);
  if (chosen == nullptr) return unknownFormat("--format: unknown format '" + name + "'");
  if (ofPath != nullptr && ofPath != chosen)
    return unknownFormat("--format " + name + " contradicts the extension of '" + path + "'");
  return chosen->format;
}

Result<std::unique_ptr<TableSink>> makeSink(ExportFormat format, const ExportOptions& options) {
  if (Status status = checkOptions(format, options); !status) return status;
  RowTextOptions rows = {options.outputPath, options.table.value_or(TableId::Events),
                         options.columns};
  switch (format) {
    case ExportFormat::Sqlite: return makeSqliteSink(options.outputPath, options.hasIndexes);
    case ExportFormat::Csv: return makeCsvSink(std::move(rows));
    case ExportFormat::Ndjson: return makeNdjsonSink(std::move(rows));
    case ExportFormat::Trace: return makeTraceSink({options.outputPath, options.isWhole});
    case ExportFormat::Folded: break;
  }
  return makeFoldedSink(options.outputPath);
}

}  // namespace ryx::profiling
