#!/bin/bash
# The built-in reference data: what qvice carries equals data/reference, it
# exports and reads back unchanged, and qvice with it runs every check on the
# packages that wixl builds from tests/data/wxs (and the README's sample)
# without a failed check, with output equal to tests/data/golden.
# Usage: reference_golden.sh QVICE WORKDIR   (QV_UPDATE_GOLDEN=1 rewrites the golden files)
set -u
QVICE=$1
WORK=$2
ROOT=$(cd "$(dirname "$0")/../.." && pwd)
DATA=$ROOT/data/reference
GOLDEN=$ROOT/tests/data/golden
rm -rf "$WORK" && mkdir -p "$WORK"
pass=0
fail=0
ok() { pass=$((pass + 1)); }
bad() { echo "FAIL: $*"; fail=$((fail + 1)); }

# 1. Every table built in equals its file, header lines and rows, and no
#    table is built in that has no file.
if "$QVICE" reference --export "$WORK/export"; then ok; else bad "reference --export"; fi
for file in "$DATA"/*.idt; do
    name=$(basename "$file")
    exported=$WORK/export/$name
    if [ ! -f "$exported" ]; then bad "$name not exported"; continue; fi
    # An exported stream cell names its file <Table>.<key>; the source names it <key>.
    if diff <(tr -d '\r' < "$file") <(tr -d '\r' < "$exported" | sed 's/\tBinary\./\t/') > "$WORK/$name.diff"; then ok
    else bad "built-in $name differs from data/reference:"; head -5 "$WORK/$name.diff"; fi
done
if [ "$(ls "$WORK/export" | grep -c '\.idt$')" = "$(ls "$DATA" | grep -c '\.idt$')" ]; then ok
else bad "exported $(ls "$WORK/export" | grep -c '\.idt$') tables for $(ls "$DATA" | grep -c '\.idt$') files"; fi
if cmp -s "$DATA/Binary/_QVFilters.xml" "$WORK/export/Binary/Binary._QVFilters.xml"; then ok
else bad "exported filter document differs from data/reference/Binary/_QVFilters.xml"; fi

# 2. The export reads back as the same tables.
"$QVICE" reference --list > "$WORK/builtin.list"
if "$QVICE" reference --list "$WORK/export" > "$WORK/export.list" && diff "$WORK/builtin.list" "$WORK/export.list"; then ok
else bad "exported tables read back differently"; fi
if [ "$(wc -l < "$WORK/builtin.list")" = 13 ]; then ok; else bad "expected 13 built-in tables"; cat "$WORK/builtin.list"; fi

# 3. Packages built by wixl: all checks, exit 0 or 1, no failed check, no
#    unmerged reference table, QVICE04 finds every standard table standard,
#    and the lines equal the golden file.
if ! command -v wixl > /dev/null; then
    echo "wixl not found: package tests skipped"
    echo "$pass passed, $fail failed"
    [ "$fail" = 0 ]
    exit
fi
build() {  # build NAME SOURCE_DIR WXS
    (cd "$2" && wixl -o "$WORK/$1.msi" "$3" 2> "$WORK/$1.wixl") || { bad "wixl $3"; cat "$WORK/$1.wixl"; return 1; }
}
# The packages' executables (.exe, .dll, .sys) are real 32-bit images, built
# here, so that the checks that read images judge real headers.
wxsdir=$WORK/wxs
rm -rf "$wxsdir" && cp -r "$ROOT/tests/data/wxs" "$wxsdir"
printf 'int main(void) { return 0; }\n' > "$WORK/main.c"
printf 'int __stdcall DllMain(void* h, unsigned r, void* p) { return 1; }\n' > "$WORK/dll.c"
if i686-w64-mingw32-gcc -O2 -s -o "$WORK/image.exe" "$WORK/main.c" &&
   i686-w64-mingw32-gcc -O2 -s -shared -o "$WORK/image.dll" "$WORK/dll.c"; then
    ok
    for f in "$wxsdir"/files/*.exe; do cp "$WORK/image.exe" "$f"; done
    for f in "$wxsdir"/files/*.dll "$wxsdir"/files/*.sys; do cp "$WORK/image.dll" "$f"; done
else
    bad "the mingw-w64 cross compiler could not build the test images"
fi
packages=()
build sample "$ROOT/samples" sample.wxs && packages+=(sample)
for wxs in "$wxsdir"/*.wxs; do
    name=$(basename "$wxs" .wxs)
    build "$name" "$wxsdir" "$name.wxs" && packages+=("$name")
done
for name in "${packages[@]}"; do
    out=$WORK/$name.out
    "$QVICE" "$WORK/$name.msi" > "$out" 2> "$WORK/$name.err"
    rc=$?
    if [ $rc = 0 ] || [ $rc = 1 ]; then ok; else bad "$name: exit code $rc"; cat "$WORK/$name.err"; fi
    if grep -P '\t0\t(An unexpected exception occurred in running|An unhandled exception occurred)' "$out"; then
        bad "$name: a check failed (message 121 or 124)"
    else ok; fi
    if [ -s "$WORK/$name.err" ]; then bad "$name: qvice wrote to stderr:"; cat "$WORK/$name.err"; else ok; fi
    if grep -P '^QVICE04\t[012]\t' "$out"; then bad "$name: QVICE04 finds a wixl table non-standard"; else ok; fi
    if [ "${QV_UPDATE_GOLDEN:-0}" = 1 ]; then cp "$out" "$GOLDEN/$name.txt"; fi
    if diff "$GOLDEN/$name.txt" "$out" > "$WORK/$name.diff"; then ok
    else bad "$name: output differs from tests/data/golden/$name.txt:"; head -20 "$WORK/$name.diff"; fi
done

# 4. The exported tables are a validation database for other tools: msibuild
#    imports them, and qvice --reference with that file finds what the
#    built-in data finds.
if command -v msibuild > /dev/null && [ ${#packages[@]} -gt 0 ]; then
    if (cd "$WORK/export" && msibuild "$WORK/QvIce.cub" -i *.idt); then ok; else bad "msibuild of the exported tables"; fi
    for name in "${packages[@]}"; do
        checks=QVBP20,QVICE04,QVICE05,QVICE17,QVICE20
        "$QVICE" --checks $checks "$WORK/$name.msi" > "$WORK/$name.builtin" 2>&1
        "$QVICE" --reference "$WORK/QvIce.cub" --checks $checks "$WORK/$name.msi" > "$WORK/$name.cub" 2>&1
        if diff "$WORK/$name.builtin" "$WORK/$name.cub"; then ok; else bad "$name: --reference QvIce.cub differs from the built-in data"; fi
    done
fi

# 5. The stored schemas do find a column added to a standard table, and only
#    that table: a package made by msibuild with a Property table of three
#    columns and a standard Media table.
if command -v msibuild > /dev/null; then
    mkdir -p "$WORK/extra"
    printf 'Property\tValue\tNote\ns72\tl0\tS64\nProperty\tProperty\nProductCode\t{11111111-2222-3333-4444-555555555555}\tx\n' \
        > "$WORK/extra/Property.idt"
    printf 'DiskId\tLastSequence\tDiskPrompt\tCabinet\tVolumeLabel\tSource\ni2\ti4\tL64\tS255\tS32\tS72\nMedia\tDiskId\n1\t0\t\t\t\t\n' \
        > "$WORK/extra/Media.idt"
    (cd "$WORK/extra" && msibuild "$WORK/extra.msi" -i Property.idt Media.idt)
    "$QVICE" --checks QVICE04 "$WORK/extra.msi" | grep -vP '^QVICE04\t3\t' > "$WORK/extra.out"
    printf 'QVICE04\t1\tThe standard MSI table Property does not match the MSI schema defined in schema.msi\t\tProperty\t\t\n' \
        > "$WORK/extra.expected"
    if diff "$WORK/extra.expected" "$WORK/extra.out"; then ok; else bad "QVICE04 on a Property table with an added column"; fi
fi

echo "$pass passed, $fail failed"
[ "$fail" = 0 ]
