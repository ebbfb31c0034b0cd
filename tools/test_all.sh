#!/usr/bin/env bash
# Builds and runs every test twice: a normal release build, then a build under
# AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

bash tools/install_deps.sh
jobs=$(nproc)

for preset in default sanitize; do
  echo "=== ${preset} build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  ctest --preset "$preset" -j "$jobs"
done
