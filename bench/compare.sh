#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Measures the reader, the viewer and the writer, and prints one table of ratios: to the floor (read
# each chunk, verify it, drop it), to flatc, to the log's size, to a log with fewer executions, and
# to a writer that does not look for texts that repeat.
#
# Everything is measured once in each round, so that what else the machine does hits all alike. A
# ratio is that of the least times of all rounds; peak memory is the most of all rounds.
#
# Exit status: 0 when every row is within its bound, 1 when one is over, 2 when measuring failed.
set -euo pipefail
export LC_ALL=C

usage() {
  cat <<'END'
usage: bench/compare.sh [OPTION]...

  --rounds N     measure everything N times; default 5
  --scale F      multiply the sizes of all logs by F; default 1
  --quick        one round with logs of a fiftieth, too small to judge by: no verdicts
  --build DIR    measure this build as it is; default: build/release, brought up to date
  --work DIR     folder for the logs and outputs; default: in memory where there is room
END
}

root=$(cd "$(dirname "$0")/.." && pwd)
rounds=5 scale=1 judged=true build='' place=''
while [ $# -gt 0 ]; do
  case $1 in
    --quick) rounds=1 scale=0.02 judged=false ;;
    --help) usage; exit ;;
    --rounds | --scale | --build | --work)
      [ $# -ge 2 ] || { usage >&2; exit 2; }
      case $1 in
        --rounds) rounds=$2 ;;
        --scale) scale=$2 ;;
        --build) build=$2 ;;
        --work) place=$2 ;;
      esac
      shift ;;
    *) usage >&2; exit 2 ;;
  esac
  shift
done
trap 'exit 2' ERR
set -E

calculate() { awk "BEGIN { printf \"%.6f\", ($1) }"; }
holds() { awk "BEGIN { exit !($1) }"; }

# --- Build ----------------------------------------------------------------------------------------

build_release() {
  # shellcheck source=../scripts/packages.sh
  source "$root/scripts/packages.sh" &&
    "$root/scripts/install-packages.sh" \
      "${build_packages[@]}" "${test_packages[@]}" "${bench_packages[@]}" &&
    cmake -S "$root" --preset release -DRYX_BUILD_BENCH=ON &&
    cmake --build "$root/build/release" --target ryx_bench
}

work=''
trap '[ -z "$work" ] || rm -rf "$work"' EXIT
if [ -z "$build" ]; then
  build=$root/build/release
  echo "building $build ..." >&2
  output=$(build_release 2>&1) || { echo "$output" >&2; exit 2; }
fi
build=$(cd "$build" && pwd)
bin=$build/bin
viewer=$bin/ryx-profile-viewer

# --- Logs -----------------------------------------------------------------------------------------

# At most this much is in the work folder at any time: logs of 330 MB or less, chunks, outputs.
needed=$(calculate "6e9 * $scale")
has_room() {
  local available
  available=$(df -B1 --output=avail "$1" 2>/dev/null | tail -n 1)
  [ -n "$available" ] && holds "$available >= $needed"
}
if [ -z "$place" ]; then
  place=/tmp
  if [ -w /dev/shm ] && has_room /dev/shm; then place=/dev/shm; fi
fi
has_room "$place" || { echo "$place: less than $needed bytes of room" >&2; exit 2; }
work=$(mktemp -d "$place/ryx-bench-XXXXXX")

declare -A events bytes
make_log() { # name options
  local name=$1 made
  shift
  made=$("$bin/ryx-bench-make-log" "$@" "$work/$name.log")
  read -r events["$name"] _ bytes["$name"] _ <<<"$made"
}

echo "writing logs into $work ..." >&2
make_log deep --shape deep --scale "$scale"
make_log wide --shape wide --scale "$scale"
make_log many --shape many --scale "$scale"
# The same logs with fewer executions. Of many graphs there are only 4 each to take from, so growth
# is seen on fewer graphs with more of them.
for part in 1 2 4; do
  make_log "deep$part" --shape deep --scale "$(calculate "$scale * $part / 8")"
done
make_log wide1 --shape wide --scale "$(calculate "$scale / 8")"
make_log many1 --shape many --scale "$(calculate "$scale / 8")" --executions 4
make_log many8 --shape many --scale "$(calculate "$scale / 8")" --executions 32
make_log small --shape deep --scale "$(calculate "$scale * 0.00106")"
small_logs() { # count
  local log=$work/small.log
  for ((i = 0; i < $1; ++i)); do echo "$log"; done
}
largest_chunk=$("$bin/ryx-profile-log" info --json "$work/deep.log" |
  sed -n '/"largest_chunk"/,/}/s/.*"bytes": \([0-9]*\).*/\1/p')
mkdir "$work/chunks"
"$bin/ryx-bench-split" "$work/deep.log" "$work/chunks"
largest_chunk=$(stat -c %s "$work"/chunks/* | sort -n | tail -n 1)

# --- Measuring ------------------------------------------------------------------------------------

measures=$work/measures
out=$work/out # what is being measured writes here

keep() { echo "$1 $2" >>"$measures"; } # name value

# Of all that is measured, the JSON report takes the most: for itself, and in memory for its output.
warm_memory() { "$bin/ryx-bench-warm-memory" "$((7 * bytes[deep]))"; }

in_process() { # name tool log arguments
  local name=$1 tool=$2 log=$3 answer
  shift 3
  warm_memory
  answer=$("$bin/$tool" "$work/$log.log" "$@")
  keep "$name" "${answer%% *}"
}

whole_process() { # name command
  local name=$1 answer seconds peak
  shift
  rm -rf "$out"
  mkdir "$out"
  warm_memory
  answer=$("$bin/ryx-bench-run-timed" "$out/stdout" "$@")
  read -r seconds _ peak _ <<<"$answer"
  keep "$name" "$seconds"
  keep "$name-memory" "$peak"
  rm -rf "$out"
}

written() { # texts
  local answer
  answer=$("$bin/ryx-bench-write" "$1" "$work/written")
  keep "write-$1" "${answer%% *}"
  keep "write-$1-bytes" "$(stat -c %s "$work/written")"
  rm "$work/written"
}

# An export, and in the same folder what it is compared to: $export is the file.
export_process() { # name file-name to-floor...
  local name=$1 export=$out/$2 answer seconds peak
  shift 2
  rm -rf "$out"
  mkdir "$out"
  warm_memory
  answer=$("$bin/ryx-bench-run-timed" "$out/stdout" \
    "$bin/ryx-profile-log" export "$work/deep.log" -o "$export")
  read -r seconds _ peak _ <<<"$answer"
  keep "$name" "$seconds"
  keep export-memory "$peak"
  "$@" "$export" "$name-floor"
  rm -rf "$out"
}

# shellcheck disable=SC2317 # called by export_process
copying() { # file name
  local answer
  warm_memory
  answer=$("$bin/ryx-bench-run-timed" "$out/copy" cat "$1")
  keep "$2" "${answer%% *}"
}

# shellcheck disable=SC2317 # called by export_process
inserting() { # database name
  local answer
  answer=$("$bin/ryx-bench-sqlite-floor" "$1" "$out/copy")
  keep "$2" "${answer%% *}"
}

# The page of a log, where the build could make one.
page_of() { # name log
  rm -rf "$out"
  mkdir "$out"
  warm_memory
  local answer seconds
  answer=$("$bin/ryx-bench-run-timed" "$out/stdout" \
    "$bin/ryx-profile-log" html "$2" -o "$out/run.html")
  read -r seconds _ <<<"$answer"
  keep "$1" "$seconds"
  keep "$1-bytes" "$(stat -c %s "$out/run.html")"
  rm -rf "$out"
}
recorded=$root/samples/text-detection.log
has_pages=true
"$bin/ryx-profile-log" html "$recorded" -o "$work/run.html" 2>/dev/null || has_pages=false

measure_once() {
  in_process floor ryx-bench-floor deep
  in_process read-deep ryx-bench-read deep
  in_process read-wide ryx-bench-read wide
  in_process read-many ryx-bench-read many
  in_process tables ryx-bench-tables deep
  in_process arrow ryx-bench-arrow deep
  in_process tables-of-five ryx-bench-tables deep event_id execution identifier unit value
  whole_process tables-process "$bin/ryx-bench-tables" "$work/deep.log"
  whole_process floor-process "$bin/ryx-bench-floor" "$work/deep.log"
  whole_process text "$viewer" -f text "$work/deep.log"
  whole_process csv "$viewer" -f csv -o "$out/report.csv" "$work/deep.log"
  whole_process json "$viewer" -f json -o "$out/report.json" "$work/deep.log"
  whole_process trace "$bin/ryx-profile-log" export "$work/deep.log" -o "$out/run.trace.json"
  whole_process stats-table "$bin/ryx-profile-log" stats "$work/deep.log"
  if $has_pages; then
    page_of html "$work/deep.log"
    page_of html-recorded "$recorded"
  fi
  whole_process stats "$bin/ryx-profile-log" stats -f json "$work/deep.log"
  whole_process stats-wide "$bin/ryx-profile-log" stats -f json "$work/wide.log"
  whole_process stats-many "$bin/ryx-profile-log" stats -f json "$work/many.log"
  whole_process stats-many-unprinted "$bin/ryx-profile-log" stats -f json --top 0 "$work/many.log"
  whole_process stats1 "$bin/ryx-profile-log" stats -f json "$work/deep1.log"
  whole_process stats-of-both "$bin/ryx-profile-log" stats -f json "$work/deep.log" "$work/deep4.log"
  # Its verdict, status 1, is no failure.
  whole_process diff bash -c '"$@" || [ $? -eq 1 ]' - \
    "$bin/ryx-profile-log" diff "$work/deep.log" "$work/deep4.log"
  export_process sqlite run.sqlite inserting
  export_process rows-csv events.csv copying
  export_process rows-ndjson events.ndjson copying
  whole_process flatc flatc --json --raw-binary -o "$out" "$root/src/stream/profile_log.fbs" \
    -- "$work"/chunks/*
  local part
  for part in 1 2 4; do in_process "read-deep$part" ryx-bench-read "deep$part"; done
  in_process read-wide1 ryx-bench-read wide1
  in_process read-many1 ryx-bench-read many1
  in_process read-many8 ryx-bench-read many8
  written each-time
  written once
  whole_process json1 "$viewer" -f json -o "$out/report.json" "$work/deep1.log"
  local count logs
  for count in 25 500; do
    mapfile -t logs < <(small_logs "$count")
    whole_process "json-of-$count" "$viewer" -f json -o "$out/report.json" "${logs[@]}"
  done
}

cat "$work"/*.log "$work"/chunks/* >/dev/null # into the page cache
for ((round = 1; round <= rounds; ++round)); do
  echo "round $round of $rounds ..." >&2
  measure_once
done

# --- Table ----------------------------------------------------------------------------------------

measured() { awk -v name="$1" '$1 == name { print $2 }' "$measures" | sort -g; }
least() { measured "$1" | head -n 1; }
most() { measured "$1" | tail -n 1; }

over=0
row() { # what on bound ratio
  local ratio verdict=ok
  ratio=$(calculate "$4")
  if [ "$3" = - ] || ! $judged; then
    verdict=-
  elif holds "$ratio > $3"; then
    verdict=OVER over=1
  fi
  printf '%-44s %-12s %8.3f %8s  %s\n' "$1" "$2" "$ratio" "$3" "$verdict"
}

to_floor() { row "$1, to the floor" 'deep run' "$3" "$(least "$2") / $(least floor-process)"; }
growth() { row "$1" "$2" "$3" "$(least "$4") / $(least "$5")"; }
memory() { # format bound
  row "peak memory, $1, to log size" 'deep run' "$2" "$(most "$1-memory") / ${bytes[deep]}"
}
per_event() { # on bound shape
  row 'readLogFile per event, to that of deep run' "$1" "$2" \
    "$(least "read-$3") / ${events[$3]} / ($(least read-deep) / ${events[deep]})"
}

printf '%-44s %-12s %8s %8s\n' what on ratio bound
row 'readLogFile, to the floor' 'deep run' 6 "$(least read-deep) / $(least floor)"
per_event 'wide graph' 1.3 wide
per_event 'many graphs' 2.2 many
row 'table of events, all columns, to the floor' 'deep run' 4 "$(least tables) / $(least floor)"
row 'table of events, five columns, to the floor' 'deep run' 2.5 \
  "$(least tables-of-five) / $(least floor)"
row 'Arrow stream of events, all columns' 'deep run' 5 "$(least arrow) / $(least floor)"
row 'peak memory of it, to 3 chunks + 32 MB' 'deep run' 1 \
  "$(most tables-process-memory) / (3 * $largest_chunk + 32e6)"
to_floor 'viewer -f text' text 7
to_floor 'viewer -f csv' csv 14
to_floor 'viewer -f json' json 30
row 'viewer -f json, to flatc --json' 'deep run' 0.25 "$(least json) / $(least flatc)"
if $has_pages; then
  row 'html, to stats' 'deep run' 2 "$(least html) / $(least stats-table)"
  row 'html, size, to 3 MB' 'deep run' 1 "$(most html-bytes) / 3e6"
  row 'html, size, to 300 kB' 'recorded log' 1 "$(most html-recorded-bytes) / 3e5"
fi
to_floor 'export, trace' trace 4
stats_per_event() { # what on bound shape measure
  row "$1, to that of deep run" "$2" "$3" \
    "$(least "$5") / ${events[$4]} / ($(least stats) / ${events[deep]})"
}
to_floor 'stats -f json' stats 4.5
stats_per_event 'stats -f json per event' 'wide graph' 1.5 wide stats-wide
stats_per_event 'stats -f json per event' 'many graphs' 12 many stats-many
stats_per_event 'the same without events' 'many graphs' 5 many stats-many-unprinted
memory stats 0.25
growth 'stats -f json at 8x the executions' 'deep run' 8.5 stats stats1
growth 'diff, to stats of both' 'deep run' 1.5 diff stats-of-both
to_peer() { row "export, $1" 'deep run' "$2" "$(least "$3") / $(least "$3-floor")"; }
to_peer "sqlite, to SQLite's own inserts" 1.3 sqlite
to_peer 'csv, to cat of the same file' 8 rows-csv
to_peer 'ndjson, to cat of the same file' 8 rows-ndjson
# What an export may take: four times the largest chunk, and 160 MB.
row 'export, peak memory, to what it may take' 'deep run' 1 \
  "$( (most export-memory; most trace-memory) | sort -g | tail -n 1) / (4 * $largest_chunk + 160e6)"
memory text 2.8
memory csv 2.8
memory json 6
growth 'readLogFile at 2x the executions' 'deep run' - read-deep2 read-deep1
growth 'readLogFile at 4x the executions' 'deep run' - read-deep4 read-deep1
growth 'readLogFile at 8x the executions' 'deep run' 8.8 read-deep read-deep1
growth 'readLogFile at 8x the executions' 'wide graph' 8.8 read-wide read-wide1
growth 'readLogFile at 8x the executions' 'many graphs' 8.8 read-many8 read-many1
growth 'viewer -f json at 8x the executions' 'deep run' 8.8 json json1
growth 'viewer -f json at 20x the logs' '500 x 350 kB' 25 json-of-500 json-of-25
row 'writer, repeated texts once, to each time' 'deep run' 1.3 \
  "$(least write-once) / $(least write-each-time)"
row 'the same, size of the log' 'deep run' 0.6 \
  "$(least write-once-bytes) / $(least write-each-time-bytes)"
exit "$over"
