// SPDX-License-Identifier: Apache-2.0
// Takes the pictures of the example: node screenshots.mjs FOLDER, which holds run.html and
// comparison.html.

import { join, resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

import { chromium } from 'playwright-core';

const folder = resolve(process.argv[2]);
const wide = { width: 1200, height: 800 };

async function lookAtEvents(page) {
  await page.click('.grid-row >> nth=1');
  await page.evaluate(() => document.getElementById('events').scrollIntoView());
}

async function lookAtExecutions(page) {
  await page.evaluate(() => document.getElementById('executions').scrollIntoView());
}

async function print(page) {
  await page.emulateMedia({ media: 'print' });
  await page.evaluate(() => {
    document.body.style.padding = '36px'; // the margin that the printer leaves
    dispatchEvent(new Event('beforeprint'));
  });
}

/** Name, page, how it is opened, and what is done before the picture is taken. */
const pictures = [
  ['run', 'run', { viewport: wide }],
  ['run-dark', 'run', { viewport: wide, colorScheme: 'dark' }, lookAtEvents],
  ['run-narrow', 'run', { viewport: { width: 390, height: 844 } }],
  ['run-printed', 'run', { viewport: { width: 794, height: 1123 } }, print],
  ['comparison', 'comparison', { viewport: wide }],
  ['comparison-executions', 'comparison', { viewport: wide }, lookAtExecutions],
];

const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--no-first-run', '--disable-background-networking'],
});
for (const [name, source, options, prepare] of pictures) {
  const page = await browser.newPage(options);
  await page.goto(pathToFileURL(join(folder, `${source}.html`)).href);
  await page.waitForSelector('html.ready');
  await prepare?.(page);
  await page.waitForTimeout(400);
  await page.screenshot({ path: join(folder, `${name}.png`) });
  await page.close();
}
await browser.close();
