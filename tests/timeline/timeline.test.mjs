// SPDX-License-Identifier: Apache-2.0
// Timelines that the toolbox exports, read by a viewer's own importer: it has to find the frames,
// their nesting and their times as the log has them.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import test from "node:test";
import { gunzipSync } from "node:zlib";

import { importTimeline } from "./importer.mjs";

const root = path.resolve(path.dirname(new URL(import.meta.url).pathname), "../..");
const toolbox = process.env.RYX_TOOLBOX ?? path.join(root, "build/release/bin/ryx-profile-log");
const folder = fs.mkdtempSync(path.join(os.tmpdir(), "ryx-timeline-"));
process.on("exit", () => fs.rmSync(folder, { recursive: true }));

function run(...args) {
  execFileSync(toolbox, args, { stdio: ["ignore", "ignore", "pipe"] });
}

function makeLog(messages) {
  const log = path.join(folder, "run.log");
  fs.writeFileSync(path.join(folder, "run.json"), JSON.stringify({ messages }));
  run("make", path.join(folder, "run.json"), log);
  return log;
}

function exportTimeline(log, ...options) {
  const out = path.join(folder, "run.trace.json.gz");
  run("export", log, "-o", out, "--force", ...options);
  return gunzipSync(fs.readFileSync(out)).toString();
}

const event = (identifier, us, nested_events = []) =>
  ({ identifier, uint_value: us, unit: 1, value_kind: "UINT64", nested_events });

const execution = (text, start, end, events) =>
  ({ timestamp: { time: start }, timing: { start, end }, text, method_type: "Execute", events });

/** "name start+duration" with two blanks for each level. */
const lines = (calls) =>
  calls.map((call) => `${"  ".repeat(call.depth)}${call.name} ${call.start}+${call.end - call.start}`);

function threadOf(threads, name) {
  const found = [...threads.keys()].filter((key) => key.includes(name));
  assert.equal(found.length, 1, `threads ${[...threads.keys()]}`);
  return threads.get(found[0]);
}

test("frames nest as events do, and neighbours of one name stay two", async () => {
  const layers = [event("conv", 35, [event("pad", 10), event("pad", 20)]), event("conv", 40)];
  const log = makeLog([
    execution("net", 1000, 1100, [event("step", 90, layers)]),
    execution("net", 1100, 1200, [event("step", 90, layers)]),
  ]);
  const calls = threadOf(await importTimeline(exportTimeline(log)), "net (Execute)");
  const named = (name) => calls.filter((call) => call.name === name);
  assert.deepEqual(lines(calls).map((line) => line.replace(/ \d+\+\d+$/, "")),
    ["net", "  step", "    conv", "      pad", "      pad", "    conv",
      "net", "  step", "    conv", "      pad", "      pad", "    conv"]);
  const durations = (name) => named(name).map((call) => call.end - call.start);
  assert.deepEqual(durations("step"), [90, 90]);
  assert.deepEqual(durations("conv"), [35, 40, 35, 40]);
  assert.deepEqual(durations("pad"), [10, 20, 10, 20]);
  // A microsecond is left between two in a row.
  assert.deepEqual(named("net").map((call) => call.start), [0, 101]);
  assert.deepEqual(durations("net"), [100, 100]);
});

test("hostile names are frames like others", async () => {
  const names = ['a"b\\c', "tab\tnew\nline", "</script>", "__proto__", "ü\u2028", "x".repeat(5000)];
  const log = makeLog([execution("net", 0, 1000, names.map((name) => event(name, 10)))]);
  const calls = threadOf(await importTimeline(exportTimeline(log)), "net (Execute)");
  assert.deepEqual(calls.slice(1).map((call) => call.name), names);
});

test("a recorded log: every slice of the file is a frame of that time, in its parent", async () => {
  const text = exportTimeline(path.join(root, "samples/text-detection.log"), "--all");
  const threads = await importTimeline(text);
  const slices = JSON.parse(text).traceEvents.filter((one) => one.ph === "X");
  const sums = (list, duration) => {
    const all = new Map();
    for (const one of list) {
      const [count, us] = all.get(one.name) ?? [0, 0];
      all.set(one.name, [count + 1, us + duration(one)]);
    }
    return new Map([...all].sort());
  };
  const calls = [...threads.values()].flat();
  assert.ok(slices.length > 4000);
  assert.deepEqual(sums(calls, (call) => call.end - call.start), sums(slices, (slice) => slice.dur));
  const executions = threadOf(threads, "det (ExecuteHostRoundTrip)");
  assert.equal(executions.filter((call) => call.depth === 0).length, 20);
});
