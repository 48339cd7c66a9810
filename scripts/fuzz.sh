#!/usr/bin/env bash
# Builds every fuzz/*_fuzz.cpp with clang's libFuzzer, AddressSanitizer and UBSan, and runs each for some seconds:
#
#   scripts/fuzz.sh [seconds, default 60] [target ...]
#
# What was found is kept in build/fuzz/corpus/<target>, so that the next run begins where this one ended. An input that
# broke something stays as build/fuzz/<target>-crash-... and ends this script with an error, after the other targets.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
[[ $# -gt 0 ]] && shift
scripts/install-deps.sh --fuzz

build=build/fuzz
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_C_COMPILER=clang-14 \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOQSDK_BUILD_FUZZ=ON -DOQSDK_BUILD_SERVER=ON -DOQSDK_BUILD_TESTS=OFF \
  -DOQSDK_BUILD_GTK=OFF -DOQSDK_WARNINGS_AS_ERRORS=OFF -DOQSDK_SANITIZE=fuzzer-no-link,address,undefined >/dev/null

targets=("$@")
if [[ ${#targets[@]} -eq 0 ]]; then
  for source in fuzz/*_fuzz.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi
cmake --build "$build" --target "${targets[@]}" -- --quiet

# What each target may begin with.
declare -A seeds=(
  [campaign_fuzz]=server/campaigns.example.json
)

broken=0
for target in "${targets[@]}"; do
  corpus=$build/corpus/$target
  mkdir -p "$corpus"
  [[ -n ${seeds[$target]:-} ]] && cp "${seeds[$target]}" "$corpus/seed"
  echo "== $target: $seconds s"
  UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 ASAN_OPTIONS=detect_leaks=1 \
    "$build/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
    -print_final_stats=1 -verbosity=0 -artifact_prefix="$build/$target-" "$corpus" || broken=$((broken + 1))
done
echo "${#targets[@]} targets, $broken broken"
[[ $broken -eq 0 ]]
