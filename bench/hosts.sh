#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Compares the hosts for GTK, Qt Widgets, Qt Quick and SDL on a private X display, with software rendering: lines of
# code, linking and start, and processor time while nothing is shown, while a message opens, and while it is shown.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh --bench gtk qt sdl
mkdir -p build
log=build/bench-hosts-build.log
if ! { cmake --preset bench -B build/bench-hosts -DOQSDK_BUILD_GTK=ON -DOQSDK_BUILD_WEBKIT=OFF -DOQSDK_BUILD_QT=ON \
  -DOQSDK_BUILD_QT_WEB=OFF -DOQSDK_BUILD_SDL=ON && cmake --build build/bench-hosts --target \
  {host,link}_{gtk,qt,quick,sdl} link_neighbour{,_plain} neighbour_start; } >"$log" 2>&1
then
  cat "$log" >&2
  exit 2
fi
for folder in platform/Host hosts/gtk hosts/qt hosts/sdl; do
  echo "note lines_of_$folder $(find $folder -name '*.h' -o -name '*.cpp' | xargs cat | wc -l)"
done

exec {numbers}<> <(:)
Xvfb -displayfd "$numbers" -screen 0 1080x1920x24 -nolisten tcp -noreset >/dev/null 2>&1 &
server=$!
trap 'kill "$server"' EXIT
read -r number <&"$numbers"
DISPLAY=":$number" python3 bench/hosts.py build/bench-hosts/bench
