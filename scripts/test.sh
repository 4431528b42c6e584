#!/usr/bin/env bash
# Sets up, builds and runs every test: the native unit and fixture tests
# (CTest), then a short run of each fuzz target under ASan and UBSan.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset native
cmake --build --preset native -j2
ctest --preset native
if [ "${QV_SKIP_FUZZ:-0}" != 1 ]; then
  bash scripts/fuzz-smoke.sh "${QV_FUZZ_SECONDS:-20}"
fi
