#!/usr/bin/env bash
# Full-run benchmark: a package with 200k Registry rows, 20k File rows and
# 5k real files (40 KB each, half noise) in two embedded MSZIP cabinets, and
# the same at a quarter of the size. Times `qvice PACKAGE` (all 85 checks,
# the built-in reference data) against the floor: one `qvice dump` of every
# table plus one `cabextract -t` of every cabinet. Prints the ratio (target
# <= 3), the growth from a quarter to the full size (target <= 4.5) and the
# page faults of the check run.
# The File rows beyond the 5k real files lie past the last Media row, as in a
# package whose other files come from elsewhere.
# Usage: bench/full_run.sh [BUILD_DIR] [DIVISOR]   (default build/native, 1;
#        a DIVISOR of 10 makes every size ten times smaller, for a quick look)
#        QV_BENCH_RUNS=N times each command N times and keeps the best (default 3);
#        QV_BENCH_SLOWEST=N adds a second run that lists the N slowest checks;
#        QV_BENCH_WORK=DIR builds the packages there and keeps them.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/native}
divisor=${2:-1}
qvice=$build/qvice
[ -x "$qvice" ] || { echo "build $qvice first (cmake --build --preset native)"; exit 2; }
for tool in msibuild gcab cabextract python3; do
    command -v $tool > /dev/null || { echo "needs $tool"; exit 2; }
done
if [ -n "${QV_BENCH_WORK:-}" ]; then
    work=$QV_BENCH_WORK  # kept afterwards, with the packages, for a closer look
    mkdir -p "$work"
else
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
fi

generate() {  # DIR REGISTRY_ROWS FILE_ROWS REAL_FILES
    local dir=$1
    rm -rf "$dir" && mkdir -p "$dir/one" "$dir/two"
    python3 - "$@" <<'PY'
import os, random, sys
dir, registry, files, real = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4])
components = files
rnd = random.Random(20000)
def idt(name, header, types, keys, rows):
    with open(os.path.join(dir, name + '.idt'), 'w', newline='') as f:
        f.write('\t'.join(header) + '\r\n' + '\t'.join(types) + '\r\n' + name + '\t' + '\t'.join(keys) + '\r\n')
        for row in rows:
            f.write('\t'.join(str(c) for c in row) + '\r\n')
idt('Property', ['Property', 'Value'], ['s72', 'l0'], ['Property'], [
    ('ProductCode', '{22222222-2222-2222-2222-222222222222}'), ('ProductName', 'Full run'),
    ('ProductVersion', '1.0.0'), ('Manufacturer', 'Quillvane'), ('ProductLanguage', '1033'),
    ('UpgradeCode', '{33333333-3333-3333-3333-333333333333}')])
idt('Directory', ['Directory', 'Directory_Parent', 'DefaultDir'], ['s72', 'S72', 'l255'], ['Directory'], [
    ('TARGETDIR', '', 'SourceDir'), ('ProgramFilesFolder', 'TARGETDIR', '.'),
    ('INSTALLDIR', 'ProgramFilesFolder', 'FullRun')])
idt('Component', ['Component', 'ComponentId', 'Directory_', 'Attributes', 'Condition', 'KeyPath'],
    ['s72', 'S38', 's72', 'i2', 'S255', 'S72'], ['Component'],
    (('Comp%05d' % i, '{%08X-0000-0000-0000-%012X}' % (i, i), 'INSTALLDIR', 0, '', 'file%05d' % i)
     for i in range(components)))
idt('Feature', ['Feature', 'Feature_Parent', 'Title', 'Description', 'Display', 'Level', 'Directory_', 'Attributes'],
    ['s38', 'S38', 'L64', 'L255', 'I2', 'i2', 'S72', 'i2'], ['Feature'], [('Main', '', 'Main', '', 1, 1, 'INSTALLDIR', 0)])
idt('FeatureComponents', ['Feature_', 'Component_'], ['s38', 's72'], ['Feature_', 'Component_'],
    (('Main', 'Comp%05d' % i) for i in range(components)))
idt('Registry', ['Registry', 'Root', 'Key', 'Name', 'Value', 'Component_'], ['s72', 'i2', 'l255', 'L255', 'L0', 's72'],
    ['Registry'], (('reg%07d' % i, i % 4, 'Software\\Quillvane\\Bench\\Key%05d' % (i % 5000), 'Name%07d' % i,
                    'value %d' % i, 'Comp%05d' % (i % components)) for i in range(registry)))
size = 40000
rows = []
for i in range(files):
    name = 'file%05d' % i
    if i < real:
        # Executable names, so that the checks that read executables open every real file.
        line = ('line of file %d with some repeated words in it\n' % i).encode()
        data = rnd.randbytes(size // 2) + (line * (size // len(line) + 1))[:size - size // 2]
        with open(os.path.join(dir, 'one' if i < real // 2 else 'two', name), 'wb') as f:
            f.write(data)
        rows.append((name, 'Comp%05d' % i, '%s.dll' % name, size, '', '', 16384, i + 1))
    else:
        rows.append((name, 'Comp%05d' % i, 'f%05d.txt|File %05d.txt' % (i, i), 1000 + i, '', '', 512, i + 1))
idt('File', ['File', 'Component_', 'FileName', 'FileSize', 'Version', 'Language', 'Attributes', 'Sequence'],
    ['s72', 's72', 'l255', 'i4', 'S72', 'S20', 'I2', 'i2'], ['File'], rows)
idt('Media', ['DiskId', 'LastSequence', 'DiskPrompt', 'Cabinet', 'VolumeLabel', 'Source'],
    ['i2', 'i2', 'L64', 'S255', 'S32', 'S72'], ['DiskId'],
    [(1, real // 2, '', '#one.cab', '', ''), (2, real, '', '#two.cab', '', '')])
PY
    (cd "$dir/one" && gcab -c -z -n ../one.cab -- *)
    (cd "$dir/two" && gcab -c -z -n ../two.cab -- *)
    (cd "$dir" && msibuild p.msi -s 'Full run' qvice ';1033' '{11111111-2222-3333-4444-555555555555}' &&
        msibuild p.msi -i Property.idt -i Directory.idt -i Component.idt -i Feature.idt -i FeatureComponents.idt \
            -i Registry.idt -i File.idt -i Media.idt -a one.cab one.cab -a two.cab two.cab)
}

seconds() { local s e; s=$(date +%s.%N); "$@" > /dev/null; e=$(date +%s.%N); echo "$e - $s" | bc -l; }
# The best of QV_BENCH_RUNS timings (default 3): a shared machine only ever
# makes a run slower.
best() {
    local best='' t i
    for ((i = 0; i < ${QV_BENCH_RUNS:-3}; i++)); do
        t=$(seconds "$@")
        if [ -z "$best" ] || [ "$(echo "$t < $best" | bc -l)" = 1 ]; then best=$t; fi
    done
    echo "$best"
}

# Page faults (minor and major) of one run of COMMAND..., its output discarded.
page_faults() {
    python3 -c 'import resource, subprocess, sys
subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
usage = resource.getrusage(resource.RUSAGE_CHILDREN)
print(usage.ru_minflt + usage.ru_majflt)' "$@"
}

declare -A total floor lines
for size in quarter full; do
    if [ $size = full ]; then f=1; else f=4; fi
    d=$((f * divisor))
    dir=$work/$size
    generate "$dir" $((200000 / d)) $((20000 / d)) $((5000 / d)) > /dev/null
    t=$(best bash -c "'$qvice' '$dir/p.msi' > '$dir/out.txt' 2> '$dir/err.txt'; [ \$? -le 1 ]")
    dump=$(best "$qvice" dump "$dir/p.msi")
    cab=$(best cabextract -q -t "$dir/one.cab" "$dir/two.cab")
    total[$size]=$t
    floor[$size]=$(echo "$dump + $cab" | bc -l)
    lines[$size]=$(wc -l < "$dir/out.txt")
    faults=$(page_faults "$qvice" "$dir/p.msi")
    printf '%-8s %7d Registry, %6d File rows, %5d real files, %5.1f MB of cabinets\n' $size \
        $((200000 / d)) $((20000 / d)) $((5000 / d)) \
        "$(echo "($(stat -c %s "$dir/one.cab") + $(stat -c %s "$dir/two.cab")) / 1000000" | bc -l)"
    printf '         all checks %8.2f s (%d lines); floor %6.2f s (dump %.2f s + cabextract -t %.2f s); ratio %.2f\n' \
        "$t" "${lines[$size]}" "${floor[$size]}" "$dump" "$cab" "$(echo "$t / ${floor[$size]}" | bc -l)"
    # Fresh memory is dear on a virtual machine: each first touch of a page
    # costs a fault, and the count tells at once whether the heap got huge pages.
    printf '         page faults of all checks: %d\n' "$faults"
    if [ -n "${QV_BENCH_SLOWEST:-}" ]; then
        # Where the time goes: qvice's status line (on a terminal) tells when each check starts.
        printf '         slowest checks:'
        { script -qec "'$qvice' '$dir/p.msi' > /dev/null" /dev/null < /dev/null || true; } | tr '\r' '\n' |
            sed -n 's/^.*qvice: \([A-Z0-9]*\) on .*, \([0-9.]*\) s$/\1 \2/p' |
            awk '!seen[$1]++ {if (n) d[name] = $2 - t; name = $1; t = $2; n++} {last = $2}
                 END {d[name] = last - t; for (c in d) print d[c], c}' |
            sort -rn | awk -v n="$QV_BENCH_SLOWEST" 'NR <= n {printf " %s %.1f s", $2, $1} END {print ""}'
    fi
    rm -rf "$dir/one" "$dir/two"
done
printf 'ratio all checks / floor at the full size: %.2f (target <= 3)\n' \
    "$(echo "${total[full]} / ${floor[full]}" | bc -l)"
printf 'growth quarter -> full size (4x): %.2fx in time (target <= 4.5)\n' \
    "$(echo "${total[full]} / ${total[quarter]}" | bc -l)"
