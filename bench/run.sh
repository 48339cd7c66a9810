#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Builds and runs all benchmarks, or only the named ones ("bench/run.sh logger paint"). Prints one line "RATIO name
# value goal>=G" or "RATIO name value goal<=G" for each figure that has a goal, then a summary. Exit status: 0 if all
# goals are met, 1 if a goal is missed, 2 if a benchmark does not build or fails.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh --bench none
log=build/bench-build.log
mkdir -p build
if ! { cmake --preset bench && cmake --build --preset bench; } >"$log" 2>&1; then
  cat "$log" >&2
  exit 2
fi

if [[ $# -gt 0 ]]; then
  programs=()
  for name in "$@"; do programs+=("build/bench/bench/${name%_bench}_bench"); done
else
  programs=()
  for source in bench/*_bench.cpp; do programs+=("build/bench/bench/$(basename "$source" .cpp)"); done
fi

unset SSL_CERT_FILE # the benchmarks create their own certificate authorities
results=$(mktemp)
trap 'rm -f "$results"' EXIT
broken=()
echo "load before: $(cut -d' ' -f1-3 /proc/loadavg), $(nproc) cores"
for program in "${programs[@]}"; do
  echo "== $(basename "$program")"
  "$program" 2>&1 | tee -a "$results" || broken+=("$(basename "$program")")
done
echo "load after: $(cut -d' ' -f1-3 /proc/loadavg)"

echo "== summary"
awk '
  $1 == "RATIO" {
    least = $4 ~ /^goal>=/
    goal = substr($4, 7) + 0
    met = least ? $3 + 0 >= goal : $3 + 0 <= goal
    printf "%-6s %-44s %10s  %s\n", met ? "ok" : "missed", $2, $3, $4
    met ? ++ok : ++missed
  }
  END { printf "%d goals met, %d missed\n", ok, missed; exit missed > 0 }
' "$results" && status=0 || status=1
if [[ ${#broken[@]} -gt 0 ]]; then
  echo "failed: ${broken[*]}"
  status=2
fi
exit "$status"
