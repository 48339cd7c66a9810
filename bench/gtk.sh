#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Measures GTK's main thread with software rendering, on a private X display: the frames of an opening message with both
# renderers, and the first web page of a process.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh --bench gtk gtk-web
mkdir -p build
log=build/bench-gtk-build.log
if ! { cmake --preset bench -B build/bench-gtk -DOQSDK_BUILD_GTK=ON &&
  cmake --build build/bench-gtk --target gtk_opening gtk_first_page; } >"$log" 2>&1; then
  cat "$log" >&2
  exit 2
fi

exec {numbers}<> <(:)
Xvfb -displayfd "$numbers" -screen 0 1080x1920x24 -nolisten tcp -noreset >/dev/null 2>&1 &
server=$!
trap 'kill "$server"' EXIT
read -r number <&"$numbers"

home=$(mktemp -d)
measure() {
  echo "== $* ($renderer)"
  DISPLAY=":$number" GDK_BACKEND=x11 GSK_RENDERER=$renderer LIBGL_ALWAYS_SOFTWARE=1 GTK_A11Y=none \
    GSETTINGS_BACKEND=memory XDG_DATA_HOME="$home" ${OQSDK_BENCH_PREFIX:-} build/bench-gtk/bench/"$@"
}
for renderer in cairo gl; do measure gtk_opening; done
renderer=cairo
measure gtk_first_page
measure gtk_first_page cold
rm -rf "$home"
