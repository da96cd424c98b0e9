// SPDX-License-Identifier: Apache-2.0
// A document has percentiles where a log has samples, so a comparison with it is by its
// distributions; only phases, whose values are all in it, have samples again. Any file can be
// given, so nothing of it is taken for granted: the first member that is not what it should be is
// remembered, reading goes on with empty values, and the document is refused at the end. That takes
// one test instead of one for each member.
//
// The document stays in memory as long as its sources, because their paths point into it.

#include "exports/stats_document.h"

#include <fcntl.h>
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <array>
#include <cmath>
#include <limits>
#include <list>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/descriptor.h"
#include "base/file.h"
#include "base/keyed_hash.h"

namespace ryx::profiling {

namespace {

using rapidjson::Value;

constexpr char kSchemaName[] = "ryx-profile-stats/";
constexpr char kSchema[] = "ryx-profile-stats/1";

/// Reads the members of a document, and remembers the first that is not what it should be.
class MemberReader {
 public:
  [[nodiscard]] const Status& status() const { return status_; }

  const Value& member(const Value& object, const char* key) {
    static const Value kNull;
    if (!object.IsObject()) return fail(key), kNull;
    const auto found = object.FindMember(key);
    return found == object.MemberEnd() ? (fail(key), kNull) : found->value;
  }

  rapidjson::GenericArray<true, Value> list(const Value& object, const char* key) {
    static const Value kEmpty(rapidjson::kArrayType);
    const Value& value = member(object, key);
    if (!value.IsArray()) fail(key);
    return (value.IsArray() ? value : kEmpty).GetArray();
  }

  std::string_view text(const Value& value, const char* key) {
    if (!value.IsString()) return fail(key), std::string_view();
    return {value.GetString(), value.GetStringLength()};
  }

  std::optional<std::string> optionalText(const Value& object, const char* key) {
    const Value& value = member(object, key);
    if (value.IsNull()) return std::nullopt;
    return std::string(text(value, key));
  }

  std::optional<Number> optionalNumber(const Value& object, const char* key) {
    const Value& value = member(object, key);
    if (value.IsNull()) return std::nullopt;
    if (value.IsInt64()) return Number(value.GetInt64());
    if (value.IsUint64()) return Number(value.GetUint64());
    if (!value.IsNumber()) return fail(key), std::nullopt;
    return Number(value.GetDouble());
  }

  /// What is null has left the doubles.
  Number number(const Value& object, const char* key) {
    return optionalNumber(object, key).value_or(std::numeric_limits<double>::quiet_NaN());
  }

  EventPath path(const Value& object) {
    EventPath path;
    for (const Value& name : list(object, "path")) path.push_back(text(name, "path"));
    if (path.empty()) fail("path");
    return path;
  }

  Distribution distribution(const Value& object, const char* key) {
    const Value& value = member(object, key);
    Distribution d;
    const Value& count = member(value, "count");
    if (!count.IsUint64()) fail("count");
    d.count = count.IsUint64() ? count.GetUint64() : 0;
    if (d.count == 0) return d;
    d.sum = number(value, "sum");
    d.mean = number(value, "mean").real();
    const auto stddev = optionalNumber(value, "stddev");
    if (stddev) d.stddev = stddev->real();
    d.min = number(value, "min");
    d.p50 = number(value, "p50");
    d.p75 = number(value, "p75");
    d.p90 = number(value, "p90");
    d.p95 = number(value, "p95");
    d.p99 = optionalNumber(value, "p99");
    d.p99_9 = optionalNumber(value, "p99_9");
    d.max = number(value, "max");
    return d;
  }

 private:
  void fail(const char* key) {
    if (status_) status_ = Status::failure(std::string("'") + key + "' is not as stats writes it");
  }

  Status status_;
};

/// What a document says of one log.
class DocumentSource : public ComparisonSource {
 public:
  DocumentSource(std::shared_ptr<const rapidjson::Document> document, std::string name)
      : document_(std::move(document)), name_(std::move(name)) {}

  const std::string& name() const override { return name_; }
  const std::vector<SourceRow>& rows() const override { return rows_; }
  std::vector<SourceEntry> entries(size_t row) override { return entries_[row]; }

  void addGraph(const Value& graph, const EventView& view, MemberReader& reader) {
    rows_.push_back(
        {true, reader.optionalText(graph, "graph"), reader.optionalText(graph, "method")});
    std::vector<SourceEntry> entries(1);
    entries.front().unit = kMicrosecondsName;
    entries.front().distribution = reader.distribution(graph, "duration_us");
    for (const Value& event : reader.list(graph, "events")) {
      SourceEntry entry;
      entry.path = reader.path(event);
      entry.unit = reader.optionalText(event, "unit");
      entry.distribution = reader.distribution(event, "total");
      if (reader.status() && isWanted(entry.path, view)) entries.push_back(std::move(entry));
    }
    entries_.push_back(std::move(entries));
  }

  /// One message of a phase.
  void addPhase(const Value& phase, const EventView& view, MemberReader& reader) {
    SourceRow row{false, reader.optionalText(phase, "graph"), reader.optionalText(phase, "phase")};
    const auto [place, isNew] = phases_.try_emplace(row.key(), rows_.size());
    if (isNew) {
      rows_.push_back(std::move(row));
      entries_.emplace_back();
    }
    addSample(place->second, {}, kMicrosecondsName, reader.optionalNumber(phase, "duration_us"));
    for (const Value& event : reader.list(phase, "events")) {
      const EventPath path = reader.path(event);
      if (reader.status() && isWanted(path, view))
        addSample(place->second, path, reader.optionalText(event, "unit"),
                  reader.optionalNumber(event, "value"));
    }
  }

  /// To be called when everything has been added.
  void finish() {
    for (const PhaseSamples& phase : phaseSamples_) {
      SourceEntry& entry = entries_[phase.row][phase.entry];
      entry.samples = &phase.samples;
      entry.ranges = {{0, phase.samples.size()}};
      entry.distribution = maker_.of(phase.samples);
    }
  }

 private:
  /// The values of one entry of a phase, a sample from each of its messages.
  struct PhaseSamples {
    size_t row;
    size_t entry;
    Samples samples;
  };

  void addSample(size_t row, const EventPath& path, const std::optional<std::string>& unit,
                 const std::optional<Number>& value) {
    SourceEntry entry;
    entry.path = path;
    entry.unit = unit;
    PhaseSamples*& samples = phaseEntries_[std::to_string(row) + " " + entry.key()];
    if (samples == nullptr) {
      phaseSamples_.push_back({row, entries_[row].size(), {}});
      samples = &phaseSamples_.back();
      entries_[row].push_back(std::move(entry));
    }
    if (value) samples->samples.append(*value);
  }

  std::shared_ptr<const rapidjson::Document> document_;  ///< what paths point into
  std::string name_;
  std::vector<SourceRow> rows_;
  std::vector<std::vector<SourceEntry>> entries_;  ///< of each row
  std::unordered_map<std::string, size_t, KeyedHash> phases_;
  std::list<PhaseSamples> phaseSamples_;
  std::unordered_map<std::string, PhaseSamples*, KeyedHash> phaseEntries_;
  DistributionMaker maker_;
};

/// The sources of a document, by the names of their logs.
class SourceMaker {
 public:
  SourceMaker(std::shared_ptr<const rapidjson::Document> document, std::string name)
      : document_(std::move(document)), name_(std::move(name)) {}

  Status run(const EventView& view) {
    for (const Value& graph : reader_.list(*document_, "graphs"))
      sourceOf(graph).addGraph(graph, view, reader_);
    for (const Value& phase : reader_.list(*document_, "phases"))
      sourceOf(phase).addPhase(phase, view, reader_);
    for (const Value& log : reader_.list(*document_, "logs"))
      isDamaged_ = isDamaged_ || !reader_.member(log, "damage").IsNull();
    return reader_.status();
  }

  StatsDocument finish() {
    StatsDocument result;
    for (auto& source : sources_) {
      source->finish();
      result.sources.push_back(std::move(source));
    }
    result.isDamaged = isDamaged_;
    return result;
  }

 private:
  DocumentSource& sourceOf(const Value& row) {
    const std::string log = reader_.optionalText(row, "log").value_or("");
    const auto [place, isNew] = places_.try_emplace(log, sources_.size());
    if (isNew) sources_.push_back(std::make_unique<DocumentSource>(document_, name_));
    return *sources_[place->second];
  }

  std::shared_ptr<const rapidjson::Document> document_;
  std::string name_;
  MemberReader reader_;
  std::vector<std::unique_ptr<DocumentSource>> sources_;
  std::unordered_map<std::string, size_t, KeyedHash> places_;
  bool isDamaged_ = false;
};

}  // namespace

bool isStatsDocument(const std::string& path) {
  std::array<char, 256> beginning;
  const auto file = openFile(path, O_RDONLY);
  if (!file) return false;
  const auto size = readUpTo(file->get(), beginning.data(), beginning.size());
  if (!size) return false;
  const std::string_view text(beginning.data(), *size);
  return text.substr(0, 1) == "{" && text.find(kSchemaName) != std::string_view::npos;
}

Result<StatsDocument> readStatsDocument(const std::string& path, const std::string& name,
                                        const EventView& view) {
  const auto text = readWholeFile(path);
  if (!text) return text.status().of("cannot read " + name);
  const auto document = std::make_shared<rapidjson::Document>();
  constexpr unsigned kFlags =
      rapidjson::kParseFullPrecisionFlag | rapidjson::kParseIterativeFlag;  // whatever its depth
  document->Parse<kFlags>(text->data(), text->size());
  if (document->HasParseError())
    return Status::failure(name + ": at byte " + std::to_string(document->GetErrorOffset()) + ": " +
                           rapidjson::GetParseError_En(document->GetParseError()));
  MemberReader reader;
  const std::string_view schema = reader.text(reader.member(*document, "schema"), "schema");
  if (schema != kSchema)
    return Status::failure(name + ": is of the schema '" + std::string(schema) + "', not '" +
                           kSchema + "'");
  SourceMaker maker(document, name);
  if (const Status status = maker.run(view); !status) return status.of(name);
  return maker.finish();
}

}  // namespace ryx::profiling
