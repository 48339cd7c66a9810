#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Installs missing packages, builds and runs all tests: first everything without sanitizers, then the core under
# AddressSanitizer with UBSan and under ThreadSanitizer; then each fuzz target for 20 s (or OQSDK_FUZZ_SECONDS).
# `./test.sh dev` (or asan, tsan, fuzz) runs only that part; `./test.sh --long` runs the long versions of tests.
# OQSDK_HOSTS="qt sdl" installs only the packages of these hosts; the tests of other hosts may then be skipped.
set -euo pipefail
cd "$(dirname "$0")"

[[ ${1:-} == --long ]] && exec scripts/long.sh "${@:2}"
read -r -a hosts <<<"${OQSDK_HOSTS:-}"
scripts/install-deps.sh --tests "${hosts[@]}"
presets=("$@")
[[ ${#presets[@]} -gt 0 ]] || presets=(dev asan tsan fuzz)

# Tests create their own certificates, folders and displays.
unset SSL_CERT_FILE SSL_CERT_DIR DISPLAY WAYLAND_DISPLAY XDG_DATA_HOME

passed=0 failed=0 skipped=0 complete=true
failures=$(mktemp) skips=$(mktemp)
trap 'rm -f "$failures" "$skips"' EXIT
for preset in "${presets[@]}"; do
  echo "== $preset: build"
  if [[ $preset == fuzz ]]; then
    fuzzed=$(mktemp)
    scripts/fuzz.sh "${OQSDK_FUZZ_SECONDS:-20}" | tee "$fuzzed" | sed '/^[0-9]* passed, [0-9]* failed$/d' ||
      complete=false
    read -r ran broken < <(awk 'END { print $1 + 0, $3 + 0 }' "$fuzzed")
    rm -f "$fuzzed"
    [[ $((ran + broken)) -gt 0 ]] || { echo "fuzzing ran no target" >&2; exit 1; }
    passed=$((passed + ran)) failed=$((failed + broken))
    continue
  fi
  cmake --preset "$preset" >"/tmp/oqsdk-configure-$$.log" 2>&1 || { cat "/tmp/oqsdk-configure-$$.log"; exit 1; }
  rm -f "/tmp/oqsdk-configure-$$.log"
  cmake --build --preset "$preset" -- --quiet
  echo "== $preset: tests"
  report=build/$preset/tests.xml
  rm -f "$report"
  # Runs one more test in parallel than there are processors, since most tests mostly wait. If the program of a test is
  # missing, the report counts the test as skipped, but ctest fails.
  ctest --preset "$preset" -j "$(($(nproc) + 1))" --output-junit "tests.xml" || complete=false
  [[ -s $report ]] || { echo "$preset wrote no test report" >&2; exit 1; }
  read -r ran broken left_out < <(python3 scripts/test-report.py "$report" "$preset" "$failures" "$skips")
  passed=$((passed + ran - broken - left_out)) failed=$((failed + broken)) skipped=$((skipped + left_out))
  [[ $ran -gt 0 ]] || { echo "$preset ran no test" >&2; exit 1; }
done

[[ ! -s $failures ]] || cat "$failures"
cat "$skips"
if [[ ${#hosts[@]} -eq 0 ]] && grep -q ': absent\.' "$skips"; then
  echo "test.sh: without OQSDK_HOSTS no host may be left out" >&2
  complete=false
fi
[[ $skipped -eq 0 ]] || echo "$skipped skipped"
echo "$passed passed, $failed failed"
[[ $failed -eq 0 && $complete == true ]]
