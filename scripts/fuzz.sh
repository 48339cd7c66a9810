#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Builds every fuzz/*_fuzz.cpp with clang's libFuzzer, AddressSanitizer and UBSan. Each target first runs the cases in
# fuzz/cases/<target>, then fuzzes for some seconds. One target per processor runs at the same time:
#
#   scripts/fuzz.sh [seconds, default 60] [target ...]
# An input that fails is added to the cases, so every run fails until the fault is fixed. The cases named seed-* come
# from long searches, so that a short search starts where they ended. Inputs that only reach new code are kept in
# build/fuzz/corpus/<target> for the next run in this checkout. The last line counts targets: "N passed, N failed".
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
[[ $# -gt 0 ]] && shift
targets=("$@")
if [[ ${#targets[@]} -eq 0 ]]; then
  for source in fuzz/*_fuzz.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi

scripts/install-deps.sh --fuzz none
build=build/fuzz
mkdir -p "$build"
cmake --preset fuzz >"$build/configure.log" 2>&1 || { cat "$build/configure.log"; exit 1; }
cmake --build --preset fuzz --target "${targets[@]}" -- --quiet

export ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1

fuzz() { # target
  local target=$1 cases=fuzz/cases/$1 corpus=$build/corpus/$1 log=$build/$1.log status=passed kept runs
  mkdir -p "$cases" "$corpus"
  [[ $target != campaign_fuzz ]] || cp server/campaigns.example.json "$corpus/example"
  local found=("$cases"/*)
  [[ -e ${found[0]} ]] || found=()
  if [[ ${#found[@]} -gt 0 ]] && ! "$build/fuzz/$target" -timeout=10 "${found[@]}" >"$log" 2>&1; then
    status=failed runs=0
    echo "-- $target fails on a case of $cases:"
  elif ! "$build/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=16384 \
    -print_final_stats=1 -verbosity=0 -artifact_prefix="$cases/" "$corpus" "$cases" >"$log" 2>&1; then
    status=failed
    echo "-- $target found a failing input, now saved in $cases:"
  fi
  kept=${#found[@]}
  runs=$(awk '$1 == "stat::number_of_executed_units:" { print $2 }' "$log")
  [[ $status == passed ]] || tail -n 60 "$log"
  echo "fuzz.$target $status: $kept kept cases, ${runs:-0} runs in $seconds s"
  [[ $status == passed ]] && : >"$build/$target.passed"
}

rm -f "$build"/*.passed
for target in "${targets[@]}"; do
  while [[ $(jobs -rp | wc -l) -ge $(nproc) ]]; do wait -n || true; done
  fuzz "$target" &
done
wait

passed=0
for target in "${targets[@]}"; do [[ -e $build/$target.passed ]] && passed=$((passed + 1)); done
echo "$passed passed, $((${#targets[@]} - passed)) failed"
[[ $passed -eq ${#targets[@]} ]]
