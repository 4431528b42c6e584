#!/usr/bin/env bash
# Sets up, builds qvice and runs it on the sample package with the built-in
# reference data.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset native
cmake --build --preset native -j2 --target qvice sample_package
status=0
build/native/qvice build/native/samples/sample.msi || status=$?
echo "qvice exit code: $status"
[ "$status" -le 1 ]
