#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Runs the keychain tests of a test program against real Secret Services: gnome-keyring-daemon on a private session
# bus with a private home folder, in every state that affects the keychain. No prompt may be shown in any state. If the
# service is open, a second program runs its tests of keychain items on it, too.
#   secret_service_test.sh <test program> <test program with the items>
set -euo pipefail

inside() {
  local program=$1 items=$2 state=$3 work=$4
  dbus-monitor --session "type='method_call'" >"$work/calls" 2>&1 &
  local monitor=$!
  # The monitor is ready when it has seen a call.
  for _ in $(seq 100); do
    dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.GetId >/dev/null
    grep -q "member=GetId" "$work/calls" && break
    sleep 0.05
  done

  # An unlocked daemon creates the default collection when it first runs.
  if [[ $state != missing ]]; then
    printf 'password' |
      gnome-keyring-daemon --unlock --components=secrets --control-directory="$work/control" >/dev/null
  else
    gnome-keyring-daemon --start --components=secrets --control-directory="$work/control" >/dev/null 2>&1
  fi
  # A daemon reports success before it owns its bus name.
  local service=
  for _ in $(seq 200); do
    service=$(dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus / \
      org.freedesktop.DBus.GetConnectionUnixProcessID string:org.freedesktop.secrets 2>/dev/null |
      awk '{print $2}') || true
    [[ -n $service ]] && break
    sleep 0.05
  done
  [[ -n $service ]] || { echo "no service in state $state" >&2; exit 1; }
  if [[ $state == locked ]]; then
    dbus-send --session --print-reply --dest=org.freedesktop.secrets /org/freedesktop/secrets \
      org.freedesktop.Secret.Service.Lock array:objpath:/org/freedesktop/secrets/aliases/default >/dev/null
  fi
  [[ $state == frozen ]] && kill -STOP "$service"

  local ended=0 programs=1
  OQSDK_TEST_SECRET_SERVICE=$state OQSDK_TEST_SERVICE_PID=$service \
    "$program" --gtest_filter='SecretService/*' >"$work/output" 2>&1 || ended=$?
  if [[ $state == open && $ended -eq 0 ]]; then
    programs=2
    OQSDK_TEST_SECRET_SERVICE=$state "$items" --gtest_filter='KeychainItemTest.*' >>"$work/output" 2>&1 || ended=$?
  fi
  # In the state busless the service and the monitor have ended together with the bus.
  kill -CONT "$service" 2>/dev/null || true
  kill "$service" "$monitor" 2>/dev/null || true
  wait "$monitor" 2>/dev/null || true

  if [[ $ended -ne 0 || $(grep -cE '^\[  PASSED  \] [1-9]' "$work/output") -ne $programs ]]; then
    cat "$work/output"
    echo "$state: failed" >&2
    exit 1
  fi
  if grep -qE 'interface=org.freedesktop.Secret.Prompt|SystemPrompter|PrompterCallback' "$work/calls"; then
    echo "$state: a prompt was shown" >&2
    exit 1
  fi
  # Without any recorded call the check above would prove nothing.
  [[ $state == frozen ]] || grep -q "member=ReadAlias" "$work/calls" ||
    { echo "$state: the monitor recorded no calls" >&2; exit 1; }
  echo "$state: $(grep -E '^\[  PASSED  \]' "$work/output" | tr '\n' ' ')"
}

if [[ ${1:-} == --inside ]]; then
  inside "$2" "$3" "$4" "$5"
  exit
fi

program=$(realpath "$1") items=$(realpath "$2")
for tool in gnome-keyring-daemon dbus-run-session dbus-monitor; do
  command -v "$tool" >/dev/null || { echo "$tool is missing" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for state in open locked missing frozen closing freezing busless; do
  here=$work/$state
  mkdir -p "$here/home" "$here/run"
  chmod 700 "$here/run"
  env -u DISPLAY -u WAYLAND_DISPLAY -u DBUS_SESSION_BUS_ADDRESS -u XDG_DATA_HOME -u GNOME_KEYRING_CONTROL \
    HOME="$here/home" XDG_RUNTIME_DIR="$here/run" \
    timeout 100 dbus-run-session -- bash "$0" --inside "$program" "$items" "$state" "$here"
done
