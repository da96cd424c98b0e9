// SPDX-License-Identifier: Apache-2.0
// Builds the page: build/template.html, one file in which only the log's part is missing. With
// --tests or --browser-tests it builds those tests instead.
//
// The template's style and script are in it, and their hashes in its content security policy, so
// that nothing else can run. Whoever fills the rest ({{title}}, {{version}}, {{head}}, {{body}} and
// {{data}}) needs no hash.

import { createHash } from 'node:crypto';
import { mkdirSync, readdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

import { build } from 'esbuild';

const here = dirname(fileURLToPath(import.meta.url));
const out = join(here, 'build');
const kMostBytes = 150_000;

const read = (name) => readFileSync(join(here, name), 'utf8');
const hash = (text) => `sha256-${createHash('sha256').update(text).digest('base64')}`;

const escaped = (text) =>
  text.replace(/[&<>"]/g, (character) => `&#${character.charCodeAt(0)};`);

async function bundle(entry, settings) {
  const result = await build({
    entryPoints: [join(here, entry)],
    bundle: true,
    minify: true,
    write: false,
    charset: 'utf8',
    legalComments: 'none',
    logLevel: 'warning',
    ...settings,
  });
  return result.outputFiles[0].text.trimEnd();
}

async function buildPage() {
  const script = await bundle('src/main.ts', { format: 'iife', target: 'es2021' });
  const style = await bundle('src/style.css', {});
  for (const text of [script, style])
    if (/<\/(script|style)|<!--/i.test(text)) throw new Error('the bundle holds markup');
  const bytes = Buffer.byteLength(script) + Buffer.byteLength(style);
  if (bytes > kMostBytes) throw new Error(`script and style are ${bytes} bytes, above ${kMostBytes}`);
  const parts = {
    script,
    style,
    'script-hash': hash(script),
    'style-hash': hash(style),
    'uplot-licence': escaped(read('node_modules/uplot/LICENSE').trim()),
  };
  const template = read('src/template.html').replace(
    /\{\{([a-z-]+)\}\}/g,
    (marker, name) => parts[name] ?? marker,
  );
  mkdirSync(out, { recursive: true });
  writeFileSync(join(out, 'template.html'), template);
  console.log(`page: script ${script.length} bytes, style ${style.length} bytes`);
}

async function buildTests(from, to) {
  rmSync(join(out, to), { recursive: true, force: true });
  const tests = readdirSync(join(here, from)).filter((name) => name.endsWith('.test.ts'));
  await build({
    entryPoints: tests.map((name) => join(here, from, name)),
    outdir: join(out, to),
    outExtension: { '.js': '.mjs' },
    bundle: true,
    platform: 'node',
    format: 'esm',
    packages: 'external',
    logLevel: 'warning',
  });
}

const option = process.argv[2];
if (option === '--tests') await buildTests('test', 'tests');
else if (option === '--browser-tests') await buildTests('test/browser', 'browser');
else await buildPage();
