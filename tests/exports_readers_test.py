#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Exports, read by the programs that they are made for.

usage: exports_readers_test.py TOOL LOG-OR-CASE.json...

The expected tables are worked out here, from what `dump` prints of each log: a second reading of the
same bytes that shares nothing with the first but the parser of the file. Every cell of every table is
compared with what sqlite3, csv, json and jq read of the exports.
"""

import csv
import io
import json
import math
import os
import re
import sqlite3
import struct
import subprocess
import sys
import tempfile

METHODS = {"Execute": 1, "Finalize": 2, "ExecuteHostRoundTrip": 3, "Init": 4, "DeInit": 5,
           "InitStep": 6, "ComposeGraphs": 7, "NetRun": 8, "GraphRun": 9, "LibLoad": 10,
           "ApplyBinarySection": 11, "ApplyBinarySectionAlt": 12}
KINDS = {"INT64": 1, "UINT64": 2, "FLOAT32": 3, "BYTES": 4, "FLOAT64": 5, "STRING": 6}
UNITS = {1: "us", 2: "bytes", 3: "cycles", 4: "count", 5: "object", 6: "none"}
TABLES = {
    "logs": "log_id path bytes chunks messages events backend_version info_label info_text "
            "time_scale epoch_us steady_clock_us damage",
    "messages": "log_id message_id chunk method graph level timestamp_us start_us end_us duration_us",
    "executions": "log_id graph execution message_id method level timestamp_us duration_us "
                  "queue_wait_us events",
    "events": "log_id event_id message_id parent_id last_event_id depth method graph execution "
              "identifier event_type unit value_kind value value_int value_uint value_text "
              "payload_bytes file_name timestamp_us",
}


def run(*command, **options):
    return subprocess.run(command, capture_output=True, check=False, **options)


# --- What the tables have to be -------------------------------------------------------------------

def log_text(text):
    """The text that a document's text stands for, as UTF-8 with U+FFFD for what is none."""
    if text is None:
        return None
    def original(match):
        slashes, code = match.group(1), match.group(2)
        whole, odd = divmod(len(slashes), 2)
        return b"\\" * whole + (bytes([int(code, 16)]) if odd else b"x" + code.encode())
    parts, at, out = re.compile(r"(\\+)x([0-9a-fA-F]{2})"), 0, b""
    for match in parts.finditer(text):
        out += text[at:match.start()].encode() + original(match)
        at = match.end()
    out += text[at:].encode()
    return out.split(b"\0")[0].decode("utf-8", "replace")


def method_text(method):
    return method if method is None or isinstance(method, str) else str(method)


def number(value):
    return float(value) if isinstance(value, str) else value


def duration(start, end):
    return None if start is None or end is None else max(end - start, 0)


def value_of(event, kind):
    """The columns value, value_int, value_uint, value_text."""
    if kind == 1 and event.get("int_value") is not None:
        return float(event["int_value"]), event["int_value"], None, None
    if kind == 2 and event.get("uint_value") is not None:
        return float(event["uint_value"]), None, event["uint_value"], None
    if kind == 3 and event.get("float_value") is not None:
        return struct.unpack("f", struct.pack("f", number(event["float_value"])))[0], None, None, None
    if kind == 5 and event.get("double_value") is not None:
        return float(number(event["double_value"])), None, None, None
    if kind == 6:
        return None, None, None, log_text(event.get("string_value"))
    return None, None, None, None


class Reading:
    """The rows of all tables over several logs."""

    def __init__(self, tool, paths):
        self.tables = {name: [] for name in TABLES}
        for log_id, path in enumerate(paths):
            self.read(tool, log_id, path)

    def read(self, tool, log_id, path):
        text = run(tool, "dump", path).stdout.decode()
        verdict = run(tool, "verify", path).stdout.decode()[len(path) + 2:].rstrip("\n")
        isSound = verdict.startswith(("sound: ", "empty: "))
        damage = None if isSound else verdict.removeprefix("damaged: ")
        documents, at, decoder = [], 0, json.JSONDecoder()
        while at < len(text):
            document, at = decoder.raw_decode(text, at)
            documents.append(document)
            while at < len(text) and text[at].isspace():
                at += 1
        if damage and (place := re.match(r"chunk (\d+) ", damage)):
            documents = documents[:int(place.group(1)) - 1]
        self.counts, self.message_id, self.event_id = {}, 0, 0
        for chunk, document in enumerate(documents, 1):
            for message in document.get("messages", []):
                self.add_message(log_id, chunk, message)
        header = next((d["header"] for d in documents if "header" in d), {})
        scale = header.get("time_scale")
        intact = 0
        with open(path, "rb") as file:
            for _ in documents:
                size = struct.unpack("<I", file.read(4))[0]
                file.seek(size, 1)
                intact += 4 + size
        self.tables["logs"].append((
            log_id, path, intact, len(documents), self.message_id, self.event_id,
            log_text(header.get("backend_version")), log_text(header.get("info_label")),
            log_text(header.get("info_text")),
            None if scale is None else struct.unpack("f", struct.pack("f", number(scale)))[0],
            header.get("epoch_timestamp"), header.get("steady_clock_timestamp"), damage))

    def add_message(self, log_id, chunk, message):
        method, level = method_text(message.get("method_type")), message.get("level")
        graph, time = log_text(message.get("text")), message["timestamp"].get("time")
        start, end = message["timing"].get("start"), message["timing"].get("end")
        self.tables["messages"].append((log_id, self.message_id, chunk, method, graph, level, time,
                                        start, end, duration(start, end)))
        execution = None
        if graph is not None and METHODS.get(method) in (1, 3, 9):
            execution = self.counts.get((graph, method), 0)
            self.counts[graph, method] = execution + 1
        before = self.event_id
        for event in message.get("events", []):
            self.add_event((log_id, self.message_id), (method, graph, execution), None, 0, event)
        if execution is not None:
            self.tables["executions"].append((
                log_id, graph, execution, self.message_id, method, level, time, duration(start, end),
                self.queue_wait(message), self.event_id - before))
        self.message_id += 1

    @staticmethod
    def queue_wait(message):
        roots = message.get("events", [])
        events = roots + [below for root in roots for below in root.get("nested_events", [])]
        waits = [event for event in events if event.get("event_type") == 405]
        if len(waits) != 1:
            return None
        _, integer, natural, _ = value_of(waits[0], KINDS.get(waits[0].get("value_kind")))
        return natural if natural is not None else integer if (integer or -1) >= 0 or integer == 0 else None

    def add_event(self, ids, context, parent, depth, event):
        event_id = self.event_id
        self.event_id += 1
        rows = self.tables["events"]
        place = len(rows)
        rows.append(None)
        for below in event.get("nested_events", []):
            self.add_event(ids, context, event_id, depth + 1, below)
        kind, unit = event.get("value_kind"), event.get("unit")
        payload = event.get("bytes_value")
        rows[place] = (
            ids[0], event_id, ids[1], parent, self.event_id - 1, depth, *context,
            log_text(event.get("identifier")), event.get("event_type"),
            None if unit is None else UNITS.get(unit, str(unit)),
            None if kind is None else str(kind).lower(), *value_of(event, KINDS.get(kind)),
            None if payload is None else len(payload), log_text(event.get("file_name")),
            event.get("timestamp"))


# --- What the exports hold ------------------------------------------------------------------------

def same(expected, found):
    if isinstance(expected, float) and isinstance(found, (int, float)):
        return expected == found or (math.isnan(expected) and math.isnan(found))
    return type(expected) is type(found) and expected == found


def compare(what, table, expected, found):
    if len(expected) != len(found):
        sys.exit(f"{what}, {table}: {len(found)} rows instead of {len(expected)}")
    for number_of_row, (wanted, got) in enumerate(zip(expected, found)):
        for name, one, other in zip(TABLES[table].split(), wanted, got):
            if not same(one, other):
                sys.exit(f"{what}, {table}, row {number_of_row}, {name}: {other!r}, not {one!r}")


def named(table, rows, paths):
    """The rows with the log's path in place of its number."""
    return [(paths[row[0]], *(row[2:] if table == "logs" else row[1:])) for row in rows]


def named_columns(table):
    columns = TABLES[table].split()
    return ["log"] + columns[2 if table == "logs" else 1:]


def check_sqlite(tool, paths, reading, folder):
    path = os.path.join(folder, "out.sqlite")
    run(tool, "export", *paths, "-o", path)
    shell = lambda sql: run("sqlite3", path, sql).stdout.decode().strip()
    assert shell("PRAGMA integrity_check; PRAGMA foreign_key_check") == "ok", shell("PRAGMA integrity_check")
    assert shell("SELECT value FROM export_info WHERE key = 'schema_version'") == "1"
    plans = {
        "SELECT * FROM events WHERE identifier = 'x'": "events_by_identifier",
        "SELECT * FROM events WHERE log_id = 0 AND message_id = 3": "events_by_message",
        "SELECT * FROM events WHERE log_id = 0 AND event_id BETWEEN 3 AND 9": "events_by_id",
        "SELECT * FROM messages WHERE graph = 'x' AND method = 'Execute'": "messages_by_graph_and_method"}
    # Of small tables the planner prefers to read all.
    for query, index in plans.items() if len(reading.tables["events"]) > 1000 else []:
        plan = shell("EXPLAIN QUERY PLAN " + query)
        assert index in plan, f"{query}\n{plan}"
    database = sqlite3.connect(path)
    for table, rows in reading.tables.items():
        columns = TABLES[table].split()
        cursor = database.execute(f"SELECT * FROM {table}")
        assert [column[0] for column in cursor.description] == columns
        large = lambda cell: str(cell) if isinstance(cell, int) and cell >= 2**63 else cell
        nan = lambda cell: None if isinstance(cell, float) and math.isnan(cell) else cell
        compare("sqlite", table, [tuple(nan(large(cell)) for cell in row) for row in rows],
                cursor.fetchall())
    database.close()
    os.remove(path)


def check_csv(tool, paths, reading):
    for table, rows in reading.tables.items():
        text = run(tool, "export", *paths, "-o", "-", "--format", "csv", "--table", table).stdout.decode()
        # Whether an empty field was quoted is what tells "" from null, and csv does not.
        empty = "\uf8ff"
        assert empty not in text
        marked = re.sub(r'(?<=[,\n])""(?=[,\n])', f'"{empty}"', text)
        found = list(csv.reader(io.StringIO(marked, newline=""), strict=True))
        assert found[0] == named_columns(table), found[0]
        def cell(value, expected):
            if value in ("", empty):
                return None if value == "" else ""
            if isinstance(expected, str):
                return value.replace(empty, '""')
            return float(value) if isinstance(expected, float) else int(value)
        expected = named(table, rows, paths)
        compare("csv", table, expected, [tuple(cell(value, one) for value, one in zip(row, wanted))
                                         for row, wanted in zip(found[1:], expected)])
        assert len(found) - 1 == len(expected)


def check_ndjson(tool, paths, reading):
    for table, rows in reading.tables.items():
        text = run(tool, "export", *paths, "-o", "-", "--format", "ndjson", "--table", table).stdout
        found = []
        for line in text.decode().split("\n")[:-1]:
            record = json.loads(line)
            assert list(record) == named_columns(table)
            found.append(tuple(record.values()))
        finite = lambda cell: None if isinstance(cell, float) and not math.isfinite(cell) else cell
        expected = [tuple(finite(cell) for cell in row) for row in named(table, rows, paths)]
        compare("ndjson", table, expected, found)
        count = run("jq", "-s", "length", input=text)
        assert count.stdout.decode().strip() == str(len(rows)), count.stderr


def main():
    tool, operands = sys.argv[1], sys.argv[2:]
    with tempfile.TemporaryDirectory() as folder:
        logs = []
        for i, operand in enumerate(operands):
            if operand.endswith(".json"):
                logs.append(os.path.join(folder, f'a "log", {i}\n.log'))
                assert run(tool, "make", operand, logs[-1]).returncode == 0, operand
            else:
                logs.append(operand)
        with open(max(logs, key=os.path.getsize), "rb") as whole:
            logs.append(os.path.join(folder, "damaged.log"))
            with open(logs[-1], "wb") as damaged:
                damaged.write(whole.read(200_000))
        for paths in [[log] for log in logs] + [logs]:
            reading = Reading(tool, paths)
            check_sqlite(tool, paths, reading, folder)
            check_csv(tool, paths, reading)
            check_ndjson(tool, paths, reading)
            print(*[f"{len(rows)} {table}" for table, rows in reading.tables.items()], sep=", ")


main()
