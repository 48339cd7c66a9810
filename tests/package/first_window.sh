#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# The guide's example on an X display: a server with one campaign, the program, a press of its button and one of the
# message's button. Succeeds when the server receives both reports and, if LINE is given, when the program prints this
# line. Writes a picture with the program's name.
#   first_window.sh PROGRAM FOLDER-OF-THE-EXAMPLE [LINE]
set -euo pipefail
program=$(realpath "$1") example=$(realpath "$2")
folder=$(mktemp -d)
children=()
trap 'kill "${children[@]}" 2>/dev/null || true; rm -rf "$folder"' EXIT

until_true() {  # SECONDS COMMAND...
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    [[ $SECONDS -lt $end ]] || { echo "timed out: $*" >&2; cat "$folder"/*.log >&2; exit 1; }
    sleep 0.1
  done
}

oqsdk-server --campaigns "$example/campaigns.json" --static "$example/static" --data "$folder/server" \
  >"$folder/server.log" 2>&1 &
children+=($!)
until_true 20 grep -q '^ready' "$folder/server.log"

Xvfb -displayfd 3 -screen 0 390x700x24 -nolisten tcp -noreset 3>"$folder/display" 2>/dev/null &
children+=($!)
until_true 20 test -s "$folder/display"
export DISPLAY=:$(tr -d '\n' <"$folder/display") GDK_BACKEND=x11 GSK_RENDERER=cairo XDG_DATA_HOME=$folder/data
export SSL_CERT_FILE=$folder/server/tls/ca.pem

visible() { xdotool search --onlyvisible --name '^First window$' >/dev/null 2>&1; }
# The root window is black, so any other colour at its centre belongs to the program.
drawn() { import -silent -window root -crop 80x40+155+330 +repage -format '%[fx:maxima]' info: | grep -qv '^0$'; }
stored() { ls "$folder"/data/com.example.FirstWindow/"$1" >/dev/null 2>&1; }
reported() { grep -q "$1" "$folder/server.log"; }
press() { xdotool mousemove 195 "$1" click 1; }

"$program" >"$folder/program.log" 2>&1 &
children+=($!)
until_true 30 stored Documents/OQInAppWindowData.plist
until_true 30 visible
until_true 30 drawn
press 350
until_true 30 reported impDialog
import -silent -window root "$(basename "$program").png"
press 540  # the message's button
until_true 30 reported clickDialog
if [[ $# -gt 2 ]]; then until_true 30 grep -qx "$3" "$folder/program.log"; fi
grep -E "impDialog|clickDialog" "$folder/server.log"
