#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the example of the HTML report in docs/example from the recorded logs, with what
# build/release has: the page of a run, that of a comparison, and pictures of both.
set -euo pipefail
cd "$(dirname "$0")/../samples"
tool=../build/release/bin/ryx-profile-log
out=../docs/example

mkdir -p "$out"
"$tool" html text-detection.log -o "$out/run.html" --force
"$tool" html --base backbone-{1,2,4}.log --new backbone-one-core-{1,2,3}.log \
  -o "$out/comparison.html" --force
cd ../page
npm ci --ignore-scripts --no-audit --no-fund --prefer-offline >/dev/null
node screenshots.mjs ../docs/example
ls -l ../docs/example
