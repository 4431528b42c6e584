#!/usr/bin/env bash
# Builds the libFuzzer targets with clang, ASan and UBSan and runs each for a
# few seconds from its seed corpus. Any crash or sanitizer report fails.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-20}"
cmake --preset fuzz >/dev/null
shopt -s nullglob
# Only the fuzz targets: the rest of the tree is built and tested natively.
names=()
for src in fuzz/*.cpp; do names+=("fuzz_$(basename "$src" .cpp)"); done
cmake --build --preset fuzz -j2 --target "${names[@]}"
targets=()
for n in "${names[@]}"; do targets+=("build/fuzz/fuzz/$n"); done
if [ ${#targets[@]} -eq 0 ]; then
  echo "fuzz: no targets built"
  exit 1
fi
passed=0
failed=0
for t in "${targets[@]}"; do
  name=$(basename "$t")
  name=${name#fuzz_}
  work=$(mktemp -d)
  corpus=()
  [ -d "fuzz/corpus/$name" ] && corpus=("fuzz/corpus/$name")
  if "$t" -max_total_time="$seconds" -rss_limit_mb=2048 -artifact_prefix="$work/" "$work" "${corpus[@]}" \
       >"$work/log" 2>&1; then
    echo "fuzz $name: ok ($(grep -o 'Done [0-9]* runs' "$work/log" | tail -1))"
    passed=$((passed + 1))
  else
    echo "fuzz $name: FAILED"
    tail -40 "$work/log"
    failed=$((failed + 1))
  fi
  rm -rf "$work"
done
echo "fuzz: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
