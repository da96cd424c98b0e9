// SPDX-License-Identifier: Apache-2.0
// The importer of speedscope, out of the package that is published for browsers. It is a bundle of
// modules, whose last argument says which of them start the application: none of them here.

import fs from "node:fs";
import path from "node:path";
import vm from "node:vm";

const folder = path.join(import.meta.dirname ?? path.dirname(new URL(import.meta.url).pathname),
  "node_modules/speedscope/dist/release");

function readBundle(prefix) {
  const name = fs.readdirSync(folder).find((file) => file.startsWith(prefix) && file.endsWith(".js"));
  return fs.readFileSync(path.join(folder, name), "utf8");
}

/** The module of a bundle that says `exports.NAME`. */
function moduleThatExports(bundle, name) {
  const place = bundle.indexOf(`exports.${name}`);
  const starts = [...bundle.matchAll(/"([^"]+)":\[function\(require,module,exports\)/g)];
  return starts.filter((start) => start.index < place).pop()[1];
}

const importBundle = readBundle("import.");
const context = vm.createContext({
  TextDecoder, TextEncoder, atob, btoa, setTimeout,
  console: { log() {}, warn: console.warn, error: console.error },
  window: {}, document: {}, navigator: { userAgent: "" },
});
vm.runInContext(readBundle("speedscope.").replace(/\},\{\},\[[^\]]*\],\s*null\)/, "},{},[],null)"), context);
vm.runInContext(importBundle, context);
const { importProfileGroupFromText } =
  context.parcelRequire(moduleThatExports(importBundle, "importProfileGroupFromText"));

/**
 * The threads of a timeline, by name: the calls of each in the order in which they begin, with
 * start and end in microseconds and depth from 0.
 */
export async function importTimeline(text) {
  const group = await importProfileGroupFromText("run.trace.json", text);
  const threads = new Map();
  for (const profile of group.profiles) {
    const calls = [];
    const open = [];
    profile.forEachCall(
      (node, start) => {
        open.push(calls.length);
        calls.push({ name: node.frame.name, start, depth: open.length - 1 });
      },
      (node, end) => {
        calls[open.pop()].end = end;
      });
    threads.set(profile.getName(), calls);
  }
  return threads;
}
