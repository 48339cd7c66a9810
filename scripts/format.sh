#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0

# Formats all C++ files with .clang-format. With --check it only fails if a file is not formatted. The version is
# Debian 12's, since other versions format a few constructs differently.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=(-i)
[[ ${1:-} != --check ]] || mode=(--dry-run --Werror)
find bench bindings examples fuzz hosts include platform server src tests tools \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0 |
  xargs -0 -P "$(nproc)" -n 20 clang-format-14 "${mode[@]}"
