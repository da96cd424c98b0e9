// SPDX-License-Identifier: Apache-2.0
#include "native/options.h"

#include <optional>
#include <utility>

#include "analysis/choices.h"
#include "base/text_list.h"
#include "native/arguments.h"
#include "stream/log_text.h"
#include "stream/log_time.h"
#include "stream/message_filter.h"

namespace ryx::python {

namespace {

using namespace ryx::profiling;

/// The entries of a dict. Each operation does nothing for one that is missing or None.
class Options {
 public:
  explicit Options(PyObject* dict) : dict_(dict) {}

  /// Borrowed; null where it is missing or None.
  [[nodiscard]] PyObject* find(const char* key) const {
    PyObject* value = PyDict_GetItemString(dict_, key);
    return value == Py_None ? nullptr : value;
  }

  void read(const char* key, std::string& text) const {
    if (PyObject* value = find(key)) text = readText(value);
  }
  void read(const char* key, std::vector<std::string>& texts) const {
    if (PyObject* value = find(key)) texts = readTexts(value);
  }
  void read(const char* key, bool& flag) const {
    if (PyObject* value = find(key)) flag = isTrue(value);
  }
  template <typename Number>
  void read(const char* key, Number& number) const {
    if (PyObject* value = find(key)) number = static_cast<Number>(readNumber(value));
  }
  template <typename Number>
  void read(const char* key, std::optional<Number>& number) const {
    if (PyObject* value = find(key)) number = static_cast<Number>(readNumber(value));
  }
  void read(const char* key, double& number) const {
    if (PyObject* value = find(key)) number = readReal(value);
  }
  void read(const char* key, std::optional<double>& number) const {
    if (PyObject* value = find(key)) number = readReal(value);
  }

  template <typename Choice, size_t N>
  void read(const char* key, Choice& choice, const NamedChoice<Choice> (&choices)[N]) const {
    std::string name;
    read(key, name);
    if (name.empty()) return;
    const auto found = choiceNamed(name, choices);
    if (!found) refuse(key, name, "is not one of " + namesOf(choices));
    choice = *found;
  }

  [[noreturn]] static void refuse(const std::string& key, const std::string& value,
                                  const std::string& why) {
    throw std::invalid_argument(key + ": '" + value + "' " + why);
  }

 private:
  static bool isTrue(PyObject* value) {
    const int truth = PyObject_IsTrue(value);
    if (truth < 0) throw PythonError();
    return truth != 0;
  }

  static uint64_t readNumber(PyObject* value) {
    const unsigned long long number = PyLong_AsUnsignedLongLong(value);
    if (PyErr_Occurred() != nullptr) throw PythonError();
    return number;
  }

  static double readReal(PyObject* value) {
    const double number = PyFloat_AsDouble(value);
    if (PyErr_Occurred() != nullptr) throw PythonError();
    return number;
  }

  template <typename Choice, size_t N>
  static std::string namesOf(const NamedChoice<Choice> (&choices)[N]) {
    std::string names;
    for (const auto& choice : choices)
      names += (names.empty() ? "" : ", ") + std::string(choice.first);
    return names;
  }

  PyObject* dict_;
};

void readTime(const Options& options, const char* key, LogTime& time) {
  std::string text;
  options.read(key, text);
  if (text.empty()) return;
  const auto parsed = parseLogTime(text);
  if (!parsed) throw std::invalid_argument(parsed.status().of(key).text());
  time = *parsed;
}

MessageFilter readFilter(const Options& options) {
  MessageFilter filter;
  options.read("graph", filter.graphs);
  std::vector<std::string> methods;
  options.read("method", methods);
  for (const std::string& name : methods) {
    const auto code = methodCode(name);
    if (!code) Options::refuse("method", name, "is unknown; known are " + joined(methodNames()));
    filter.methods.push_back(*code);
  }
  if (PyObject* level = options.find("level")) filter.level = readLevel(level);
  readTime(options, "from", filter.fromTime);
  readTime(options, "to", filter.toTime);
  options.read("first_message", filter.firstMessage);
  options.read("last_message", filter.lastMessage);
  options.read("first", filter.first);
  options.read("last", filter.last);
  if (const Status status = checkFilter(filter); !status)
    throw std::invalid_argument(status.text());
  return filter;
}

WarmUpRule readWarmUp(const std::string& text) {
  const auto rule = parseWarmUp(text);
  if (!rule) Options::refuse("warmup", text, "is not auto, none or a number");
  return *rule;
}

/// Python has made a function of everything else.
GroupOf readGrouping(const std::string& by) { return groupingNamed(by).value_or(GroupOf()); }

std::vector<RowThreshold> readThresholds(const Options& options) {
  std::vector<RowThreshold> thresholds;
  PyObject* dict = options.find("thresholds");
  if (dict == nullptr) return thresholds;
  PyObject *name = nullptr, *percent = nullptr;
  for (Py_ssize_t place = 0; PyDict_Next(dict, &place, &name, &percent) != 0;)
    thresholds.push_back({readText(name), PyFloat_AsDouble(percent)});
  if (PyErr_Occurred() != nullptr) throw PythonError();
  return thresholds;
}

/// What the function returns for that one argument.
Reference callWith(PyObject* function, PyObject* argument) {
  return owned(PyObject_CallFunctionObjArgs(function, argument, nullptr));
}

}  // namespace

StatsArguments readStatsArguments(PyObject* dict) {
  const Options options(dict);
  StatsArguments arguments;
  StatisticsOptions& statistics = arguments.options;
  statistics.filter = readFilter(options);
  std::string warmUp = "none";
  options.read("warmup", warmUp);
  statistics.warmUp = readWarmUp(warmUp);
  std::string by = "path";
  options.read("by", by);
  statistics.events.groupOf = readGrouping(by);
  options.read("depth", statistics.events.depth);
  options.read("sort", statistics.events.order, kEventOrders);
  options.read("top", statistics.events.top);
  options.read("merge", statistics.merges);
  arguments.functions.matches = options.find("event");
  arguments.functions.groupOf = options.find("group_of");
  return arguments;
}

DiffArguments readDiffArguments(PyObject* dict) {
  const Options options(dict);
  DiffArguments arguments;
  ComparisonOptions& comparison = arguments.options;
  options.read("metric", comparison.metric, kMetrics);
  options.read("threshold", comparison.threshold);
  options.read("min_us", comparison.minMicroseconds);
  options.read("noise", comparison.noise);
  options.read("gate", comparison.gate, kGates);
  options.read("strict", comparison.isStrict);
  comparison.thresholds = readThresholds(options);
  options.read("warmup", arguments.warmUpText);
  arguments.warmUp = readWarmUp(arguments.warmUpText);
  options.read("by", arguments.by);
  arguments.view.groupOf = readGrouping(arguments.by);
  arguments.functions.groupOf = options.find("group_of");
  arguments.functions.ignores = options.find("ignore");
  return arguments;
}

std::function<bool(std::string_view)> asPredicate(PyObject* function,
                                                  WithoutInterpreter& released) {
  return [function, &released](std::string_view text) {
    const WithInterpreter held(released);
    const int truth = PyObject_IsTrue(callWith(function, asPython(text).get()).get());
    if (truth < 0) throw PythonError();
    return truth != 0;
  };
}

GroupOf asGrouping(PyObject* function, WithoutInterpreter& released) {
  return [function, &released](const EventPath& path) -> std::optional<std::string> {
    const WithInterpreter held(released);
    const auto identifiers = owned(PyTuple_New(static_cast<Py_ssize_t>(path.size())));
    for (size_t i = 0; i < path.size(); ++i)
      if (PyTuple_SetItem(identifiers.get(), static_cast<Py_ssize_t>(i),
                          asPython(path[i]).release()) != 0)
        throw PythonError();
    const auto group = callWith(function, identifiers.get());
    if (group.get() == Py_None) return std::nullopt;
    return readText(group.get());
  };
}

}  // namespace ryx::python
