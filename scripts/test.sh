#!/usr/bin/env bash
# Sets up, builds and runs every test: the native unit and fixture tests
# (CTest), then a short run of each fuzz target under ASan and UBSan.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset native
cmake --build --preset native -j2
log=$(mktemp)
trap 'rm -f "$log"' EXIT
ctest --preset native 2>&1 | tee "$log"
total=$(sed -n 's/.*tests failed out of \([0-9]*\).*/\1/p' "$log" | tail -1)
fuzzed=0
if [ "${QV_SKIP_FUZZ:-0}" != 1 ]; then
  bash scripts/fuzz-smoke.sh "${QV_FUZZ_SECONDS:-20}" | tee -a "$log"
  fuzzed=$(sed -n 's/^fuzz: \([0-9]*\) passed.*/\1/p' "$log" | tail -1)
fi
# One closing line for everything that ran (both steps stop this script on a failure).
echo "all: $((total + fuzzed)) passed, 0 failed"
