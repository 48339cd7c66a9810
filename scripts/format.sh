#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Formats all C++ files with .clang-format. With --check it only fails if a file is not formatted.
set -euo pipefail
cd "$(dirname "$0")/.."

# clang-format treats some headers as Objective-C because of their contents, so each file is passed under a .cpp name.
# The version is Debian 12's, since other versions format a few constructs differently.
format() { # --check|--write FILE...
  local mode=$1 file status=0
  for file in "${@:2}"; do
    formatted=$(clang-format-14 --assume-filename="${file%.h}.cpp" <"$file" && echo .) || return 2
    if [[ ${formatted%.} != "$(<"$file")"$'\n' ]]; then
      if [[ $mode == --check ]]; then
        echo "$file is not formatted: run scripts/format.sh"
        status=1
      else
        printf %s "${formatted%.}" >"$file"
      fi
    fi
  done
  return $status
}
export -f format

find bench examples fuzz hosts include platform server src tests tools \( -name '*.h' -o -name '*.cpp' \) -print0 |
  xargs -0 -P "$(nproc)" -n 20 bash -c 'format "$@"' _ "${1:---write}"
