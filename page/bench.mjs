// SPDX-License-Identifier: Apache-2.0
// Measures pages of large logs in Chromium, and prints a table of ratios: node bench.mjs, with what
// build/release has. Everything is measured once in each round, and the least counts.

import { spawnSync } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

import { chromium } from 'playwright-core';

const kRounds = 5;
const kFrame = 1000 / 60;

const tools = resolve('../build/release/bin');
const folder = mkdtempSync(join(tmpdir(), 'ryx-page-bench-'));

function run(tool, ...options) {
  const { status, stderr } = spawnSync(join(tools, tool), options, { encoding: 'utf8' });
  if (status !== 0) throw new Error(`${tool} ${options.join(' ')}: ${stderr}`);
}

function pageOf(name, log) {
  const page = join(folder, `${name}.html`);
  run('ryx-profile-log', 'html', log, '-o', page);
  return pathToFileURL(page).href;
}

function largePage(shape) {
  const log = join(folder, `${shape}.log`);
  run('ryx-bench-make-log', '--shape', shape, '--scale', '1', log);
  const page = pageOf(shape, log);
  rmSync(log);
  return page;
}

async function openAndSort(page, address) {
  const began = performance.now();
  await page.goto(address);
  await page.waitForSelector('html.ready');
  await page.click('[role=columnheader]:has-text("Max")');
  await page.waitForSelector('[aria-sort=descending]:has-text("Max")');
  return performance.now() - began;
}

/** Milliseconds of processor time for each of a hundred steps through all rows. */
async function scroll(page, address) {
  await page.goto(address);
  await page.waitForSelector('html.ready');
  const session = await page.context().newCDPSession(page);
  await session.send('Performance.enable', { timeDomain: 'threadTicks' });
  const taken = async () => {
    const { metrics } = await session.send('Performance.getMetrics');
    return 1000 * metrics.find(({ name }) => name === 'TaskDuration').value;
  };
  const kSteps = 100;
  const before = await taken();
  await page.evaluate(async (steps) => {
    const grid = document.querySelector('.grid');
    for (let step = 0; step < steps; ++step) {
      grid.scrollTop = (grid.scrollHeight * step) / steps;
      await new Promise((resolve) => requestAnimationFrame(resolve));
    }
  }, kSteps);
  return ((await taken()) - before) / kSteps;
}

const least = { deep: Infinity, scroll: Infinity };
const keep = (name, value) => { least[name] = Math.min(least[name], value); };

const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking'],
});
try {
  const recorded = pageOf('recorded', resolve('../samples/text-detection.log'));
  const deep = largePage('deep');
  const wide = largePage('wide');
  for (let round = 0; round < kRounds; ++round) {
    const page = await browser.newPage({ viewport: { width: 1280, height: 900 } });
    await page.goto(recorded); // a small one, which starts what all pages of the browser share
    keep('deep', await openAndSort(page, deep));
    keep('scroll', await scroll(page, wide));
    await page.close();
  }
} finally {
  await browser.close();
  rmSync(folder, { recursive: true, force: true });
}

let isOver = false;
function row(what, on, bound, ratio) {
  isOver ||= ratio > bound;
  const verdict = ratio > bound ? 'OVER' : 'ok';
  const numbers = [ratio.toFixed(3), String(bound)].map((number) => number.padStart(8)).join(' ');
  console.log(`${what.padEnd(40)} ${on.padEnd(12)} ${numbers}  ${verdict}`);
}
row('open and sort, to 2 s', 'deep run', 1, least.deep / 2000);
row('a step of scrolling, to a frame', 'wide graph', 3, least.scroll / kFrame);
process.exitCode = isOver ? 1 : 0;
