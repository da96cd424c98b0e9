#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds and runs one fuzzer: fuzz/run.sh chunk|log|model|salvage SECONDS [OPTION...]
#
# What it finds is left in build/fuzz/artifacts; inputs that reach new code are gathered in
# build/fuzz/inputs/TARGET, from where `-merge=1` distils a new fuzz/corpus/TARGET.
set -euo pipefail
cd "$(dirname "$0")/.."
target=$1
seconds=$2
shift 2

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target "ryx_fuzz_$target"
mkdir -p "build/fuzz/inputs/$target" build/fuzz/artifacts
# Chunks announce up to 4 GiB: a limit on one allocation keeps that cheap, and is one more way to
# run out of memory. Shared texts multiply, so inputs are small.
export ASAN_OPTIONS=allocator_may_return_null=1:max_allocation_size_mb=512
exec "build/fuzz/bin/ryx_fuzz_$target" -max_total_time="$seconds" -max_len=16384 -timeout=120 \
  -rss_limit_mb=3072 -malloc_limit_mb=8192 -dict=fuzz/log.dict \
  -artifact_prefix="build/fuzz/artifacts/$target-" -print_final_stats=1 "$@" \
  "build/fuzz/inputs/$target" "fuzz/corpus/$target" "fuzz/findings/$target"
