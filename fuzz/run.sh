#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# fuzz/run.sh BIN FOLDER SECONDS TARGET: fuzzes one target; what it finds and learns stays in FOLDER. Prints one line.
set -euo pipefail
bin=$1 folder=$2 seconds=$3 target=$4
known=$(dirname "${BASH_SOURCE[0]}")/corpus/$target
mkdir -p "$folder/corpus/$target" "$folder/findings"
log=$folder/$target.log
status=0
"$bin/fuzz_$target" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=3000 -print_final_stats=1 \
  -artifact_prefix="$folder/findings/$target-" "$folder/corpus/$target" "$known" >"$log" 2>&1 || status=$?
last=$(grep -E '^#[0-9]+.*cov: ' "$log" | tail -n 1)
runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
rss=$(sed -n 's/^stat::peak_rss_mb: *//p' "$log")
edges=$(sed -n 's/.*cov: \([0-9]*\).*/\1/p' <<<"$last")
features=$(sed -n 's/.*ft: \([0-9]*\).*/\1/p' <<<"$last")
printf '%-14s %10s runs  %5s edges  %6s features  %5s MB  %s\n' "$target" "${runs:-?}" "${edges:-?}" "${features:-?}" \
  "${rss:-?}" "$([ $status -eq 0 ] && echo ok || echo "FOUND SOMETHING: $log")"
exit $status
