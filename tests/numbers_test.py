# SPDX-License-Identifier: Apache-2.0
"""Works out every number of `stats` and `diff` a second time, plainly, and compares.

What docs/statistics.md defines is done here on what `dump` prints, by sorting, indexing and exact
integers, in a program that shares nothing with the tools but the definitions. Logs are generated
for it that have what is easily done wrong: ties, one execution, absent values, totals beyond 64
bits, floats, NaN, negative numbers, unknown units, the same name at several depths, time counted
twice, warm-up. Whole numbers have to be equal, floats to 1e-12.

usage: numbers_test.py [--seeds N] PROGRAM [LOG...]
"""

import argparse
import json
import math
import pathlib
import random
import struct
import subprocess
import sys
import tempfile

EXECUTIONS = {"Execute", "ExecuteHostRoundTrip", "GraphRun"}
UNITS = {1: "us", 2: "bytes", 3: "cycles", 4: "count", 6: "none"}
OBJECT = 5
QUEUE_WAIT = 405

# --- Generated logs -------------------------------------------------------------------------------


def random_value(rng, wild):
    if not wild or rng.random() < 0.9:
        return {"value_kind": "UINT64", "uint_value": rng.choice([0, 1, 7, rng.randrange(2000)])}
    return rng.choice([
        {"value_kind": "INT64", "int_value": rng.randrange(-3000, 3000)},
        {"value_kind": "UINT64", "uint_value": 2**64 - 1 - rng.randrange(3)},
        {"value_kind": "INT64", "int_value": -2**63},
        {"value_kind": "FLOAT64", "double_value": rng.choice([0.5, 1e300, 1.25e-9, 2.0**70, -7.75])},
        {"value_kind": "FLOAT64", "double_value": rng.choice(["nan", "inf", 1.7e308])},
        {"value_kind": "FLOAT32", "float_value": rng.choice([0.1, -3.5, 1e30])},
        {"value_kind": "STRING", "string_value": "12"},
        {"value_kind": "UINT64"},
        {"uint_value": 5},
        {},
    ])


def random_event(rng, depth, wild):
    event = random_value(rng, wild)
    if rng.random() < 0.95:
        event["identifier"] = rng.choice(["a", "b:Conv", "c:Conv", "null", "", "d\u00fc"])
    unit = rng.choice([1] * 12 + [2, 3, 4, 5, 6, 0, 77]) if wild else 1
    if not wild or rng.random() < 0.95:
        event["unit"] = unit
    if rng.random() < 0.3:
        event["event_type"] = rng.choice([400, QUEUE_WAIT])
    if depth < 3 and rng.random() < 0.6:
        nested = [random_event(rng, depth + 1, wild) for _ in range(rng.randrange(4))]
        event["nested_events"] = nested
    return event


def operators(rng, weather):
    """A tree with its time once more beside it."""
    nested = []
    for i in range(6):
        took = round((100 + 300 * i) * weather * rng.gauss(1, 0.03))
        nested.append({"identifier": f"op{i}:Conv", "unit": 1, "value_kind": "UINT64",
                       "uint_value": took})
    total = sum(event["uint_value"] for event in nested)
    return total, [
        {"identifier": "device", "unit": 1, "value_kind": "UINT64", "uint_value": total + 9,
         "nested_events": nested},
        {"identifier": "Conv total", "unit": 1, "value_kind": "UINT64", "uint_value": total},
    ]


def random_log(seed, slower=1.0):
    """The messages of a log; those of one seed differ in what its executions take."""
    rng = random.Random(seed)
    wild = seed % 2 == 0
    messages = []
    now = 1000
    count = rng.choice([1, 2, 20, 45, 130, 1100] if not wild else [1, 2, 5, 30, 101])
    warm = rng.choice([0, 0, 5])
    for i in range(count):
        weather = slower * rng.choice([1, 1, 1, 1.02, 1.5]) * (2 if i < warm else 1)
        total, events = operators(rng, weather)
        if wild:
            events = [random_event(rng, 0, True) for _ in range(rng.randrange(5))]
        took = rng.choice([0, 1, total, total + 100, total + 100, total * 2] if wild else
                          [total + 50])
        message = {"timestamp": {}, "timing": {"start": now, "end": now + took},
                   "method_type": rng.choice(["Execute", "GraphRun"] if wild else ["Execute"]),
                   "events": events, "text": "net"}
        if wild and rng.random() < 0.1:
            message["timing"].pop(rng.choice(["start", "end"]))
        if wild and rng.random() < 0.05:
            message["timing"]["end"] = max(0, now - 5)
        if wild and rng.random() < 0.1:
            message.pop("text")
        if wild and rng.random() < 0.2:
            message["text"] = ""
        if wild and rng.random() < 0.2:
            message["method_type"] = rng.choice(["Finalize", "Init"])
        messages.append(message)
        now += took + 10
    messages.append({"timestamp": {}, "timing": {"start": 0, "end": round(900 * slower)},
                     "method_type": "Finalize", "text": "net", "events": [
                         {"identifier": "weights", "unit": 2, "value_kind": "UINT64",
                          "uint_value": round(5000 * slower)}]})
    return {"messages": messages}


# --- Definitions ----------------------------------------------------------------------------------


def is_finite(number):
    return isinstance(number, int) or math.isfinite(number)


def plus(a, b):
    return a + b if isinstance(a, int) and isinstance(b, int) else float(a) + float(b)


def minus(a, b):
    return plus(a, -b)


def compensated(values):
    try:
        return math.fsum(values)
    except OverflowError:
        return math.inf
    except ValueError:
        return math.nan


def sum_of(values):
    if all(isinstance(value, int) for value in values):
        return sum(values)
    return compensated([float(value) for value in values])


def rank(values, permille):
    """The nearest-rank percentile of sorted values."""
    return values[-(-permille * len(values) // 1000) - 1]


def median(values):
    return rank(sorted(values), 500)


class Distribution:
    def __init__(self, samples):
        self.count = n = len(samples)
        if n == 0:
            return
        ordered = sorted(samples)
        self.first = samples[0]
        self.sum = sum_of(samples)
        self.mean = float(self.sum) / n
        self.stddev = self.cv = None
        if n >= 2:
            try:
                squares = compensated([(float(x) - self.mean) ** 2 for x in samples])
            except OverflowError:
                squares = math.inf
            self.stddev = math.sqrt(squares / (n - 1)) if squares >= 0 else math.nan
            if self.mean != 0:
                self.cv = self.stddev / self.mean
        self.min, self.max = ordered[0], ordered[-1]
        for permille in (500, 750, 900, 950):
            setattr(self, f"p{permille // 10}", rank(ordered, permille))
        self.p99 = rank(ordered, 990) if n >= 100 else None
        self.p99_9 = rank(ordered, 999) if n >= 1000 else None
        self.mad = median([minus(x, self.p50) if x >= self.p50 else minus(self.p50, x)
                           for x in samples])

    KEYS = ("count", "sum", "mean", "stddev", "cv", "mad", "min", "p50", "p75", "p90", "p95",
            "p99", "p99_9", "max", "first")

    def json(self):
        return {key: getattr(self, key, None) for key in self.KEYS}


def find_warm_up(x):
    n = len(x)
    if n < 20:
        return None
    tail = x[n // 2:]
    T = median(tail)
    M = median([abs(value - T) for value in tail])
    w = max(10, n // 50)
    windows = [(start, median(x[start:start + w])) for start in range(0, n - w + 1, w)]
    in_tail = [abs(m - T) for start, m in windows if start >= n // 2]
    S = median(in_tail) if len(in_tail) >= 5 else 0
    fits = [abs(m - T) <= max(0.02 * T, 7 * M / math.sqrt(w), 6 * S) for _, m in windows]
    for i, fit in enumerate(fits):
        if fit and 10 * sum(fits[i:]) >= 9 * len(fits[i:]):
            begin = windows[i][0]
            end = begin + w
            while begin < end and x[begin] > T + max(0.02 * T, 5 * M):
                begin += 1
            return begin if begin <= n // 2 else None
    return None


# --- What a log holds -----------------------------------------------------------------------------


def unit_of(event):
    return None if "unit" not in event else UNITS.get(event["unit"], str(event["unit"]))


def number_of(event):
    key = {"INT64": "int_value", "UINT64": "uint_value", "FLOAT32": "float_value",
           "FLOAT64": "double_value"}.get(event.get("value_kind"))
    if key is None or key not in event:
        return None
    value = event[key]
    if key in ("int_value", "uint_value"):
        return value
    value = float(value)
    return struct.unpack("f", struct.pack("f", value))[0] if key == "float_value" else value


class Values:
    """The numbers of one message: totals and calls by path and unit, in the order first met."""

    def __init__(self, events):
        self.totals, self.calls, self.types = {}, {}, {}
        for event in events:
            self._add(event, ())
        children = {}
        for (path, unit), total in self.totals.items():
            parent = (path[:-1], unit)
            if parent in self.totals:
                children[parent] = plus(children.get(parent, 0), total)
        self.selves = {key: max(minus(total, children.get(key, 0)), 0)
                       for key, total in self.totals.items() if is_finite(total)}

    def _add(self, event, parent):
        path = parent + (event.get("identifier", "null"),)
        value = number_of(event)
        if value is not None and event.get("unit") != OBJECT and is_finite(value):
            key = (path, unit_of(event))
            self.totals[key] = plus(self.totals.get(key, 0), value)
            self.calls[key] = self.calls.get(key, 0) + 1
            if self.types.get(key) is None:
                self.types[key] = event.get("event_type")
        for nested in event.get("nested_events", []):
            self._add(nested, path)


def queue_wait_of(message):
    waits = []
    for root in message.get("events", []):
        for event in [root] + root.get("nested_events", []):
            if event.get("event_type") == QUEUE_WAIT:
                waits.append(number_of(event))
    if len(waits) == 1 and isinstance(waits[0], int) and waits[0] >= 0:
        return waits[0]
    return None


def duration_of(message):
    timing = message.get("timing", {})
    if "start" not in timing or "end" not in timing:
        return None
    return max(0, timing["end"] - timing["start"])


def documents(text):
    decoder = json.JSONDecoder()
    position = 0
    while position < len(text):
        document, position = decoder.raw_decode(text, position)
        yield document
        while position < len(text) and text[position].isspace():
            position += 1


class Log:
    """Rows of executions, and phases."""

    def __init__(self, dump):
        self.rows, self.phases = {}, []
        for document in documents(dump):
            for message in document.get("messages", []):
                method = message.get("method_type")
                message["values"] = Values(message.get("events", []))
                if method in EXECUTIONS and "text" in message:
                    self.rows.setdefault((message["text"], method), []).append(message)
                else:
                    self.phases.append(message)

    def steady(self, key, warm_up):
        """The executions that count, and what auto finds."""
        row = self.rows[key]
        timed = [i for i, message in enumerate(row) if duration_of(message) is not None]
        found = find_warm_up([duration_of(row[i]) for i in timed])
        if found is not None:
            found = 0 if found == 0 else timed[found]
        left_out = {"none": 0, "auto": found or 0}.get(warm_up)
        return row[min(int(warm_up), len(row)) if left_out is None else left_out:], found


# --- stats ----------------------------------------------------------------------------------------


def expected_row(log, key, warm_up):
    row = log.rows[key]
    steady, detected = log.steady(key, warm_up)
    durations = [d for d in map(duration_of, steady) if d is not None]
    everything = [duration_of(message) for message in row]
    waits = [w for w in map(queue_wait_of, row) if w is not None]
    result = {"graph": key[0], "method": key[1], "executions": len(row),
              "duration_us": Distribution(durations).json(),
              "queue_wait_us": Distribution(waits).json() if waits else None,
              "warmup": {"mode": warm_up, "excluded": len(row) - len(steady),
                         "detected": detected}}
    if warm_up != "none":
        result["duration_all_us"] = Distribution(
            [d for d in everything if d is not None]).json()
    result["rate_per_second"] = None
    if len(row) >= 2 and None not in everything:
        # Of an end before its start the duration is 0; the span is of starts and ends as they are.
        span = (max(m["timing"]["end"] for m in row) - min(m["timing"]["start"] for m in row))
        if span > 0:
            result["rate_per_second"] = len(row) * 1e6 / span

    paths = {}
    for message in row:
        for path in message["values"].totals:
            paths.setdefault(path, None)
    time = sum(durations)

    def timed_sum(path, what):
        return sum_of([getattr(m["values"], what)[path] for m in steady
                       if path in m["values"].selves and duration_of(m) is not None])

    events = []
    for path in paths:
        having = [m["values"] for m in steady if path in m["values"].selves]
        is_time = path[1] == "us" and time > 0
        types = [m["values"].types[path] for m in row if path in m["values"].totals]
        events.append({
            "path": list(path[0]), "unit": path[1], "depth": len(path[0]) - 1,
            "event_type": next((t for t in types if t is not None), None),
            "calls": sum(values.calls[path] for values in having), "executions": len(having),
            "total": Distribution([values.totals[path] for values in having]).json(),
            "self": Distribution([values.selves[path] for values in having]).json(),
            "share": float(timed_sum(path, "totals")) / time if is_time else None,
            "self_share": float(timed_sum(path, "selves")) / time if is_time else None})
    result["events"] = events

    result["main_root"] = None
    result["unattributed_us"] = {"sum": None, "share": None}
    if time > 0:
        roots = {path: timed_sum(path, "totals") for path in paths
                 if len(path[0]) == 1 and path[1] == "us"}
        below = 0
        for total in roots.values():
            below = plus(below, total)
        if 20 * below > 21 * time:
            large = [path for path, total in roots.items() if 2 * total >= time and any(
                len(other[0]) == 2 and other[0][:1] == path[0] and other[1] == "us"
                for other in paths)]
            if large:
                main = max(large, key=lambda path: roots[path])
                result["main_root"] = list(main[0])
                below = roots[main]
        rest = minus(time, below)
        result["unattributed_us"] = {"sum": rest, "share": float(rest) / time}
    result["outliers"] = expected_outliers(row, steady, events)
    return result


def expected_outliers(row, steady, events):
    timed = [m for m in steady if duration_of(m) is not None]
    if not timed:
        return []
    ordered = sorted(map(duration_of, timed))
    low, high = rank(ordered, 250), rank(ordered, 750)
    spread = max(1, high - low)
    result = []
    for message in timed:
        duration = duration_of(message)
        distance = max(duration - high, low - duration)
        if 2 * distance <= 3 * spread:
            continue
        path, excess = None, None
        for event in events if duration > high else []:
            key = (tuple(event["path"]), event["unit"])
            if event["unit"] != "us" or key not in message["values"].selves:
                continue
            more = minus(message["values"].selves[key], event["self"]["p50"])
            if more > (excess or 0):
                path, excess = event["path"], more
        number = next(i for i, other in enumerate(row) if other is message)
        result.append({"execution": number, "duration_us": duration, "path": path,
                       "severity": "severe" if distance > 3 * spread else "mild",
                       "excess_us": excess})
    return result[:100]


def expected_phase(message):
    timing = message.get("timing", {})
    return {"phase": message.get("method_type"), "graph": message.get("text"),
            "start_us": timing.get("start"), "end_us": timing.get("end"),
            "duration_us": duration_of(message),
            "events": [{"path": list(path), "unit": unit, "value": total}
                       for (path, unit), total in message["values"].totals.items()]}


# --- diff -----------------------------------------------------------------------------------------


def beta_fraction(a, b, x):
    """The continued fraction of the incomplete beta function."""
    tiny = 1e-300
    c, d = 1.0, 1 / (1 - (a + b) * x / (a + 1) or tiny)
    h = d
    for m in range(1, 10000):
        for numerator in (m * (b - m) * x / ((a + 2 * m - 1) * (a + 2 * m)),
                          -(a + m) * (a + b + m) * x / ((a + 2 * m) * (a + 2 * m + 1))):
            d = 1 / (1 + numerator * d or tiny)
            c = 1 + numerator / c or tiny
            h *= c * d
        if abs(c * d - 1) < 1e-16:
            break
    return h


def incomplete_beta(a, b, x):
    front = math.exp(math.lgamma(a + b) - math.lgamma(a) - math.lgamma(b) + a * math.log(x) +
                     b * math.log1p(-x))
    if x < (a + 1) / (a + b + 2):
        return front * beta_fraction(a, b, x) / a
    return 1 - front * beta_fraction(b, a, 1 - x) / b


def student(degrees):
    low, high = 0.0, 1e6
    for _ in range(200):
        t = (low + high) / 2
        if incomplete_beta(degrees / 2, 0.5, degrees / (degrees + t * t)) > 0.05:
            low = t
        else:
            high = t
    return low


def lowest_rank(n, p):
    below, r = 0.0, 0
    for k in range(n):
        below += math.exp(math.lgamma(n + 1) - math.lgamma(k + 1) - math.lgamma(n - k + 1) +
                          k * math.log(p) + (n - k) * math.log1p(-p))
        if below > 0.025:
            break
        r = k + 1
    return r


def effective_count(runs):
    ordered = sorted(value for run in runs for value in run)
    places = {}
    for i, value in enumerate(ordered):
        places.setdefault(value, []).append(i + 1)
    middle = (len(ordered) + 1) / 2
    distances = [[sum(places[v]) / len(places[v]) - middle for v in run] for run in runs]
    squares = sum(d * d for run in distances for d in run)
    products = sum(a * b for run in distances for a, b in zip(run, run[1:]))
    rho = min(0.95, max(0.0, products / squares)) if squares else 0.0
    return len(ordered) * (1 - rho) / (1 + rho)


def limits(runs, metric, value):
    """How far the truth may lie below and above."""
    ordered = sorted(v for run in runs for v in run)
    effective = effective_count(runs)
    if metric == "mean":
        if effective < 2:
            return None
        deviation = Distribution(ordered).stddev
        reach = student(effective - 1) * deviation / math.sqrt(effective)
        return reach, reach
    n, p = int(effective), int(metric[1:]) / 100
    low, high = lowest_rank(n, p), lowest_rank(n, 1 - p)
    if low == 0 or high == 0:
        return None
    share = len(ordered) / n
    return (max(0.0, value - ordered[int((low - 0.5) * share)]),
            max(0.0, ordered[-1 - int((high - 0.5) * share)] - value))


def welch(base, new):
    a, b = Distribution(base), Distribution(new)
    va, vb = a.stddev * a.stddev / a.count, b.stddev * b.stddev / b.count
    change = b.mean - a.mean
    if va + vb == 0:
        return change, change
    if not math.isfinite(change) or not math.isfinite(va + vb):
        return -math.inf, math.inf
    a_share, b_share = va / (va + vb), vb / (va + vb)
    degrees = 1 / (a_share ** 2 / (a.count - 1) + b_share ** 2 / (b.count - 1))
    reach = student(degrees) * math.sqrt(va + vb)
    return change - reach, change + reach


def entries_of(logs):
    """By row, and in it by path and unit, a list of samples for each log that has some."""
    rows = {}
    for log in logs:
        own = {}
        for (graph, method), row in log.rows.items():
            entry = own.setdefault((graph, method, None), {((), "us"): []})
            for message in row:
                for path in message["values"].totals:
                    entry.setdefault(path, [])
            add_samples(entry, log.steady((graph, method), "auto")[0])
        for message in log.phases:
            entry = own.setdefault((message.get("text"), None, message.get("method_type")),
                                   {((), "us"): []})
            for path in message["values"].totals:
                entry.setdefault(path, [])
            add_samples(entry, [message])
        for key, entry in own.items():
            side = rows.setdefault(key, {})
            for path, samples in entry.items():
                side.setdefault(path, [])
                if samples:
                    side[path].append(samples)
    return rows


def add_samples(entry, messages):
    for message in messages:
        if duration_of(message) is not None:
            entry[((), "us")].append(duration_of(message))
        for path in message["values"].selves:
            entry[path].append(message["values"].totals[path])


def metric_of(samples, metric):
    return getattr(Distribution(samples), metric) if samples else None


def runs_of(runs, metric):
    return [v for v in (metric_of(run, metric) for run in runs) if v is not None]


def side_value(runs, metric, by_run):
    if not by_run:
        return metric_of([v for run in runs for v in run], metric)
    values = runs_of(runs, metric)
    if not values or all(v == values[0] for v in values):
        return values[0] if values else None
    total = values[0]
    for value in values[1:]:
        total = plus(total, value)
    return float(total) / len(values)


def expected_comparison(base_logs, new_logs, metric):
    by_run = len(base_logs) >= 3 and len(new_logs) >= 3
    base_rows, new_rows = entries_of(base_logs), entries_of(new_logs)
    result = {}
    asked = metric
    for key in list(base_rows) + [key for key in new_rows if key not in base_rows]:
        base, new = base_rows.get(key, {}), new_rows.get(key, {})
        metric = "p50" if asked == "p99" and key[1] is None else asked
        whole = side_value(base.get(((), "us"), []), metric, by_run)
        for path in list(base) + [path for path in new if path not in base]:
            one_side = ("added" if path not in base else "removed" if path not in new else None)
            row = compare(base.get(path, []), new.get(path, []), key, path, metric, by_run,
                          whole or 0, one_side)
            result[key + path] = row
    return result


def compare(base, new, key, path, metric, by_run, whole, one_side):
    names, unit = path
    is_bytes, is_time = unit == "bytes", unit in ("us", "cycles")
    row = {"base": side_value(base, metric, by_run), "new": side_value(new, metric, by_run),
           "change": None, "change_percent": None, "ci_percent": None, "probability": None,
           "samples": [sum(map(len, base)), sum(map(len, new))], "metric": metric,
           "gates": one_side != "added" and (not names or is_bytes), "verdict": one_side}
    if one_side:
        return row
    if row["base"] is None or row["new"] is None:
        alone = row["base"] is not None or row["new"] is not None
        row["verdict"] = ("not comparable" if alone else
                          "inconclusive" if min(row["samples"]) > 0 else "same")
        return row
    change = row["change"] = minus(row["new"], row["base"])
    percent = row["change_percent"] = (float(change) / float(row["base"]) * 100
                                       if row["base"] > 0 else None)
    threshold = 10 if names and not by_run and not is_bytes else 5
    verdict = "worse" if change > 0 else "better"
    row["verdict"] = "same"
    if change == 0:
        return row
    if not is_time:
        small = not is_bytes or (percent is not None and abs(percent) < threshold)
        row["verdict"] = "changed" if small else verdict
        return row
    if by_run:
        values = sorted(runs_of(base, metric))
        if len(values) >= 2 and rank(values, 500) > 0:
            threshold = max(threshold, float(values[-1] - values[0]) / rank(values, 500) * 100)
    if percent is not None and abs(percent) < threshold:
        return row
    if abs(change) < max(5, 0.001 * whole if unit == "us" else 0):
        return row
    if not key[1] and not by_run and row["samples"] == [1, 1]:
        row["verdict"] = verdict
        return row
    interval, likely, enough = None, None, True
    if by_run:
        values = [list(map(float, runs_of(side, metric))) for side in (base, new)]
        enough = min(map(len, values)) >= 2
        if enough:
            interval = welch(*values)
    else:
        enough = min(row["samples"]) >= 6
        below = limits(base, metric, row["base"])
        above = limits(new, metric, row["new"])
        if below and above:
            interval = (change - math.hypot(below[1], above[0]),
                        change + math.hypot(below[0], above[1]))
        pooled = [[v for run in side for v in run] for side in (base, new)]
        wins = sum((a < b) + (a == b) / 2 for a in pooled[0] for b in pooled[1])
        likely = row["probability"] = wins / (len(pooled[0]) * len(pooled[1]))
    noise = 1
    if interval and percent is not None:
        interval = row["ci_percent"] = [limit / float(row["base"]) * 100 for limit in interval]
    elif interval:
        noise = 0
    sure = enough and interval and (interval[0] > noise if change > 0 else -interval[1] > noise)
    felt = likely is None or (likely if change > 0 else 1 - likely) >= 0.56
    row["verdict"] = verdict if sure and felt else "inconclusive"
    return row


# --- Comparing ------------------------------------------------------------------------------------


class Checker:
    def __init__(self, program, folder):
        self.program, self.folder = str(pathlib.Path(program).resolve()), folder
        self.numbers = 0
        self.faults = []

    def run(self, *arguments):
        result = subprocess.run([self.program, *map(str, arguments)], capture_output=True,
                                text=True, cwd=self.folder)
        if not result.stdout and arguments[0] != "make":
            print("no output:", *arguments, result.stderr)
            sys.exit(1)
        return result.stdout

    def check(self, where, expected, actual):
        if isinstance(expected, dict):
            for key, value in expected.items():
                self.check(f"{where}.{key}", value, actual.get(key, "absent"))
        elif isinstance(expected, (list, tuple)) and not isinstance(actual, (list, tuple)):
            self.faults.append(f"{where}: {actual}, not {expected}")
        elif isinstance(expected, (list, tuple)):
            self.check(f"{where}.length", len(expected), len(actual))
            for i, (a, b) in enumerate(zip(expected, actual)):
                self.check(f"{where}[{i}]", a, b)
        else:
            self.numbers += 1
            if not self.is_equal(expected, actual):
                self.faults.append(f"{where}: {actual}, not {expected}")

    @staticmethod
    def is_equal(expected, actual):
        if isinstance(expected, int) and not -2**63 <= expected < 2**64:
            expected = float(expected)
        if isinstance(expected, float):
            if not math.isfinite(expected):
                return actual is None
            return (isinstance(actual, (int, float)) and
                    abs(actual - expected) <= 1e-12 * abs(expected))
        return type(expected) is type(actual) and expected == actual

    def check_stats(self, path, log):
        for warm_up in ("none", "auto", "3"):
            actual = json.loads(self.run("stats", "-f", "json", "--warmup", warm_up, path))
            where = f"stats --warmup {warm_up} {path}"
            expected = [expected_row(log, key, warm_up) for key in log.rows]
            self.check(where, {"graphs": expected, "phases": list(map(expected_phase, log.phases))},
                       actual)

    def check_diff(self, base, new, metric, logs):
        actual = json.loads(self.run("diff", "--base", *base, "--new", *new, "-f", "json",
                                     "--metric", metric))
        where = f"diff --metric {metric} --base {' '.join(base)} --new {' '.join(new)}"
        rows = {(row["graph"], row["method"], row["phase"], tuple(row["path"]), row["unit"]): row
                for row in actual["rows"]}
        expected = expected_comparison([logs[p] for p in base], [logs[p] for p in new], metric)
        self.check(where + ": rows", len(expected), len(actual["rows"]))
        for key, row in expected.items():
            self.check(f"{where} {key}", row, rows.get(key, {}))

    def load(self, path):
        return Log(self.run("dump", path))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("program")
    parser.add_argument("--seeds", type=int, default=20)
    parser.add_argument("logs", nargs="*")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        checker = Checker(options.program, folder)
        logs = {str(pathlib.Path(path).resolve()): None for path in options.logs}
        recorded = list(logs)
        for seed in range(options.seeds):
            for part, slower in enumerate((1, 1, 1.04, 1.3, 1.3, 1.25)):
                path = f"{seed}-{part}.log"
                case = pathlib.Path(folder) / "case.json"
                case.write_text(json.dumps(random_log(seed + 1000 * part, slower)))
                checker.run("make", "case.json", path)
                logs[path] = None
        for path in logs:
            logs[path] = checker.load(path)
            if path in recorded or path.endswith(("-0.log", "-3.log")):
                checker.check_stats(path, logs[path])
        for seed in range(options.seeds):
            parts = [f"{seed}-{part}.log" for part in range(6)]
            for metric in ("p50", "mean", "p90", "p99"):
                checker.check_diff(parts[:1], parts[3:4], metric, logs)
                checker.check_diff(parts[:3], parts[3:], metric, logs)
        for base, new in zip(recorded, recorded[1:]):
            checker.check_diff([base], [new], "p50", logs)
        if len(recorded) >= 6:
            checker.check_diff(recorded[:3], recorded[3:6], "p50", logs)
    for fault in checker.faults[:40]:
        print(fault)
    print(f"{checker.numbers} numbers compared, {len(checker.faults)} differ")
    return 1 if checker.faults or checker.numbers == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
