#!/usr/bin/env bash
# Runs every libFuzzer harness of <build dir> for <seconds> each. New inputs go to the build
# directory's working corpus; crashing inputs go straight to fuzz/regression/<harness>/ so that
# the replay tests keep them. Prints the executions and time of each run. KELVARA_HARNESSES
# (e.g. "bmp") names the harnesses to run; all of them by default.
set -uo pipefail
build=${1:-build-fuzz}
seconds=${2:-60}
root=$(cd "$(dirname "$0")/.." && pwd)
status=0
for h in ${KELVARA_HARNESSES:-dicom series project chain bmp cohort}; do
  exe="$build/fuzz/fuzz_$h"
  work="$build/fuzz-corpus/$h"
  regression="$root/fuzz/regression/$h"
  mkdir -p "$work" "$regression"
  echo "== fuzz_$h for ${seconds}s"
  ASAN_OPTIONS=detect_leaks=0:allocator_may_return_null=1 \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    "$exe" -max_total_time="$seconds" -rss_limit_mb=4096 -timeout=60 -print_final_stats=1 \
      -artifact_prefix="$regression/" "$work" "$root/fuzz/corpus/$h" "$regression" \
      >"$build/fuzz-$h.log" 2>&1
  rc=$?
  grep -E '^stat::(number_of_executed_units|average_exec_per_sec|new_units_added)' "$build/fuzz-$h.log"
  if [ $rc -ne 0 ]; then
    echo "fuzz_$h stopped with status $rc: see $build/fuzz-$h.log and $regression"
    status=1
  fi
done
exit $status
