#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# The long versions of tests that ./test.sh runs in a short version; they also print figures. The tests: processes
# killed while they write and while they show windows, an absent server, messages in windows of every size, many seeds
# under ThreadSanitizer, a soak test, an hour of fuzzing. `scripts/long.sh kills soak` runs only these two parts. The
# variables that set the lengths (CONTRIBUTING.md) also apply here; OQSDK_FUZZ_SECONDS sets the time per fuzz target.
# The last line is "N passed, N failed".
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh --tests --fuzz
unset SSL_CERT_FILE SSL_CERT_DIR DISPLAY WAYLAND_DISPLAY XDG_DATA_HOME

parts=("$@")
[[ ${#parts[@]} -gt 0 ]] || parts=(kills processes idle reports stage soak seeds fuzz)
echo "commit $(git rev-parse --short HEAD 2>/dev/null || echo unknown), $(nproc) processors, $(date -u +%F)"

passed=0 failed=0

tests() { # preset program filter; counts every test
  local preset=$1 program=$2 filter=$3 start=$SECONDS report=build/$1/long.json
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" --target "$program" -- --quiet
  rm -f "$report"
  "build/$preset/tests/$program" --gtest_filter="$filter" --gtest_output="json:$report" || true
  local ran broken
  # A crashed program leaves no report.
  read -r ran broken < <(python3 - "$report" <<'P' || echo 1 1
import json, sys
report = json.load(open(sys.argv[1]))
print(report["tests"], report["failures"] + report["errors"])
P
)
  [[ $ran -gt 0 ]] || broken=1 ran=1
  passed=$((passed + ran - broken)) failed=$((failed + broken))
  echo "== $((SECONDS - start)) s"
}

for part in "${parts[@]}"; do
  echo "== $part"
  case $part in
    kills) OQSDK_KILLS=${OQSDK_KILLS:-1000} tests dev platform_tests 'KilledWriter.*' ;;
    idle)
      OQSDK_NGINX_CYCLES=${OQSDK_NGINX_CYCLES:-50} \
        tests dev platform_tests '*ClosedWhileIdle.*:IdleConnections.*'
      ;;
    reports)
      OQSDK_REPORT_DELAY=${OQSDK_REPORT_DELAY:-1000} tests dev core_tests 'OQReportsTest.*'
      cmake --build --preset dev --target oqsdk-server headless_host -- --quiet
      start=$SECONDS
      if OQSDK_AWAY_SECONDS=${OQSDK_AWAY_SECONDS:-600} python3 tests/e2e/road_test.py build/dev/server/oqsdk-server \
        build/dev/tests/headless_host RoadTest.test_every_report_arrives_once_after_an_absence_of_the_server; then
        passed=$((passed + 1))
      else
        failed=$((failed + 1))
      fi
      echo "== $((SECONDS - start)) s"
      ;;
    stage)
      cmake --preset dev >/dev/null
      cmake --build --preset dev --target gtk_fixture oqsdk_webkit -- --quiet
      if OQSDK_STAGE=${OQSDK_STAGE:-all} \
        python3 tests/hosts/gtk/stage_test.py build/dev/tests/hosts/gtk/gtk_fixture; then
        passed=$((passed + 1))
      else
        failed=$((failed + 1))
      fi
      ;;
    processes) OQSDK_PROCESS_ROUNDS=${OQSDK_PROCESS_ROUNDS:-200} tests dev core_tests 'ProcessesTest.*' ;;
    soak)
      OQSDK_SOAK_EVENTS=${OQSDK_SOAK_EVENTS:-10000000} tests dev core_tests '*MemoryAndDescriptorsStayFlat*'
      ;;
    seeds)
      OQSDK_STRESS_SEEDS=${OQSDK_STRESS_SEEDS:-100} \
        tests tsan core_tests 'EngineStressTest.SixteenThreads*:ThreadSanitizerTest.*'
      ;;
    fuzz)
      scripts/fuzz.sh "${OQSDK_FUZZ_SECONDS:-600}" | tee build/long-fuzz.log || true
      read -r found broken < <(awk 'END { print $1 + 0, $3 + 0 }' build/long-fuzz.log)
      [[ $((found + broken)) -gt 0 ]] || broken=1
      passed=$((passed + found)) failed=$((failed + broken))
      ;;
    *) echo "long.sh: unknown part $part" >&2; exit 2 ;;
  esac
done
echo "$passed passed, $failed failed"
[[ $failed -eq 0 ]]
