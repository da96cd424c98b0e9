#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Tests the HTML report's page: its types, its own logic, and pages that build/release makes in a
# browser. Where npm cannot fetch what that takes, says so and leaves the tests out; in CI that is a
# failure.
set -euo pipefail
cd "$(dirname "$0")/../page"

if ! npm ci --ignore-scripts --no-audit --no-fund --prefer-offline >/dev/null; then
  echo "the page's tests are left out: npm could not fetch what they take" >&2
  [ "${CI:-}" != true ]
  exit
fi
npm test
npm run test:browser
