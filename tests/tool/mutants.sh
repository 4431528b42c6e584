#!/usr/bin/env bash
# Opens 400 seeded mutants of a wixl-built package with `qvice dump` (every
# table and the summary) and fails on any crash: a damaged package must end
# in a clean error or in output, never in a signal.
# Usage: mutants.sh QVICE WORKDIR
set -uo pipefail
qvice=$(realpath "$1")
work=$2
here=$(cd "$(dirname "$0")/.." && pwd)
rm -rf "$work" && mkdir -p "$work" || exit 1
(cd "$here/../samples" && wixl -o "$work/base.msi" sample.wxs) || { echo "wixl failed"; exit 1; }
cd "$work" || exit 1
size=$(stat -c %s base.msi)
crashes=0
opened=0
for seed in $(seq 1 400); do
    cp base.msi m.msi
    # Overwrite 1 to 16 random bytes, or cut the file, chosen by the seed.
    awk -v seed="$seed" -v size="$size" 'BEGIN {
        srand(seed); n = 1 + int(rand() * 16)
        if (seed % 10 == 0) { printf "truncate %d\n", int(rand() * size); exit }
        for (i = 0; i < n; i++) printf "%d %d\n", int(rand() * size), int(rand() * 256)
    }' > edits
    if grep -q truncate edits; then
        truncate -s "$(awk '{print $2}' edits)" m.msi
    else
        while read -r off val; do
            printf "$(printf '\\%03o' "$val")" | dd of=m.msi bs=1 seek="$off" conv=notrunc status=none
        done < edits
    fi
    "$qvice" dump m.msi > /dev/null 2>&1
    rc=$?
    "$qvice" dump --summary m.msi > /dev/null 2>&1
    rc2=$?
    [ $rc -eq 0 ] && opened=$((opened + 1))
    if [ $rc -ge 128 ] || [ $rc2 -ge 128 ]; then
        crashes=$((crashes + 1))
        cp m.msi "crash-$seed.msi"
        echo "crash on mutant $seed (exit $rc/$rc2)"
    fi
done
echo "mutants: 400 read, $opened opened, $crashes crashed"
echo "$((400 - crashes)) passed, $crashes failed"
[ "$crashes" -eq 0 ]
