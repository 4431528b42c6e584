#!/usr/bin/env bash
# Open + full-scan benchmark: generates packages with 50k and 200k Registry
# rows plus 20k File rows, then times qvice's engine and libmsi (through
# msiinfo export) on the same files and prints the ratios.
# Usage: bench/open_scan.sh [BUILD_DIR]   (default build/native)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/native}
bench=$build/bench_open_scan
qvice=$build/qvice
[ -x "$bench" ] || { echo "build $bench first (cmake --build --preset native)"; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

generate() {  # rows name
    local rows=$1 dir=$work/$2
    mkdir -p "$dir"
    awk -v n="$rows" 'BEGIN {
        printf "Registry\tRoot\tKey\tName\tValue\tComponent_\r\ns72\ti2\tl255\tL255\tL0\ts72\r\nRegistry\tRegistry\r\n"
        for (i = 0; i < n; i++)
            printf "reg%07d\t%d\tSoftware\\Quillvane\\Bench\\Key%05d\tName%07d\tvalue %d\tComp%05d\r\n", i, i % 4, i % 5000, i, i, i % 20000
    }' > "$dir/Registry.idt"
    awk 'BEGIN {
        printf "File\tComponent_\tFileName\tFileSize\tVersion\tLanguage\tAttributes\tSequence\r\ns72\ts72\tl255\ti4\tS72\tS20\tI2\ti2\r\nFile\tFile\r\n"
        for (i = 0; i < 20000; i++)
            printf "file%05d\tComp%05d\tf%05d.txt|File %05d.txt\t%d\t\t\t512\t%d\r\n", i, i, i, i, 1000 + i, (i % 32000) + 1
    }' > "$dir/File.idt"
    (cd "$dir" && msibuild "$dir/p.msi" -i Registry.idt -i File.idt)
}

seconds() { local s e; s=$(date +%s.%N); "$@" > /dev/null; e=$(date +%s.%N); echo "$e - $s" | bc -l; }

printf '%-8s %12s %12s %12s %8s\n' rows qvice-engine qvice-dump msiinfo ratio
declare -A engine ir
for rows in 50000 200000; do
    generate $rows r$rows
    pkg=$work/r$rows/p.msi
    # Best of three runs: the machine may be busy with other work.
    e=
    for run in 1 2 3; do
        line=$("$bench" "$pkg" Registry File)
        t=$(echo "$line" | sed -n 's/.*open+scan \([0-9.]*\) s.*/\1/p')
        if [ -z "$e" ] || [ "$(echo "$t < $e" | bc -l)" = 1 ]; then e=$t; fi
    done
    engine[$rows]=$e
    q=$(seconds "$qvice" dump "$pkg" Registry File)
    m=$(seconds bash -c "msiinfo export '$pkg' Registry && msiinfo export '$pkg' File")
    ratio=$(echo "$m / $q" | bc -l)
    printf '%-8s %11.3fs %11.3fs %11.3fs %7.1fx\n' $rows "$e" "$q" "$m" "$ratio"
done
growth=$(echo "${engine[200000]} / ${engine[50000]}" | bc -l)
printf 'growth 50k -> 200k rows (4x): %.2fx in time (target <= 4.5x)\n' "$growth"
# Instruction counts do not depend on what else the machine is doing.
if command -v valgrind > /dev/null; then
    for rows in 50000 200000; do
        valgrind --tool=callgrind --callgrind-out-file="$work/cg.$rows" "$bench" "$work/r$rows/p.msi" Registry File \
            > /dev/null 2> "$work/cg.log.$rows"
        ir[$rows]=$(sed -n 's/.*Collected : \([0-9]*\).*/\1/p' "$work/cg.log.$rows")
    done
    printf 'instructions: %s at 50k rows, %s at 200k rows, growth %.2fx\n' "${ir[50000]}" "${ir[200000]}" \
        "$(echo "${ir[200000]} / ${ir[50000]}" | bc -l)"
fi
echo "ratio target: libmsi / qvice >= 10 at 200k rows"
