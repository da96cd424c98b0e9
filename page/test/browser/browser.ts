// SPDX-License-Identifier: Apache-2.0
// A browser to open pages in, and pages to open: made by the tools from logs.
//
// Where the tools are: RYX_BIN, by default build/release/bin of this checkout.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

import { chromium, type Browser, type BrowserContextOptions, type Page } from 'playwright-core';

const root = resolve('..');
const tools = process.env['RYX_BIN'] ?? join(root, 'build/release/bin');

export const samples = join(root, 'samples');

/** A folder of this test run. */
export const folder = mkdtempSync(join(tmpdir(), 'ryx-page-'));

/** Runs a tool and returns its exit status; what it says goes into a failure's message. */
export function run(tool: string, ...options: string[]): number | null {
  const { status, error, stderr } = spawnSync(join(tools, tool), options, { encoding: 'utf8' });
  assert.ok(error === undefined, `${tool}: ${String(error)}`);
  if (status !== 0 && status !== 1) assert.fail(`${tool} ${options.join(' ')}: ${stderr}`);
  return status;
}

/** The page of logs, by its address. */
export function makePage(name: string, logs: string[], expectedStatus = 0): string {
  const page = join(folder, `${name}.html`);
  assert.equal(run('ryx-profile-log', 'html', ...logs, '-o', page), expectedStatus);
  return pathToFileURL(page).href;
}

/** A log with these messages, as `make` reads them. */
export function makeLog(name: string, messages: unknown[]): string {
  const source = join(folder, `${name}.json`);
  const log = join(folder, `${name}.log`);
  writeFileSync(source, JSON.stringify({ messages }));
  assert.equal(run('ryx-profile-log', 'make', source, log), 0);
  return log;
}

let browser: Browser | null = null;

export async function startBrowser(): Promise<void> {
  browser = await chromium.launch({
    executablePath: process.env['CHROMIUM'] ?? '/usr/bin/chromium',
    // A root user has no sandbox, and the others only keep the browser from calling home.
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
}

export async function stopBrowser(): Promise<void> {
  await browser?.close();
  rmSync(folder, { recursive: true, force: true });
}

/** Opens a page with the network off, hands it over, and checks that it asked for nothing and
 * complained about nothing. */
export async function withPage(
  address: string,
  use: (page: Page) => Promise<void>,
  options: BrowserContextOptions = {},
): Promise<void> {
  const context = await browser!.newContext({ viewport: { width: 1280, height: 900 }, ...options });
  await context.setOffline(true);
  const page = await context.newPage();
  const complaints: string[] = [];
  page.on('console', (message) => complaints.push(`${message.type()}: ${message.text()}`));
  page.on('pageerror', (error) => complaints.push(String(error)));
  page.on('dialog', (dialog) => complaints.push(`dialog: ${dialog.message()}`));
  page.on('request', (request) => {
    if (request.url() !== address) complaints.push(`request: ${request.url()}`);
  });
  await page.goto(address);
  if (options.javaScriptEnabled !== false) await page.waitForSelector('html.ready');
  await use(page);
  assert.deepEqual(complaints, []);
  await context.close();
}
