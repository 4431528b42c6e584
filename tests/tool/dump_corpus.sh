#!/usr/bin/env bash
# Builds a corpus of packages with msibuild and wixl and checks that
# `qvice dump` prints every table exactly as `msiinfo export` does.
# Usage: dump_corpus.sh QVICE WORKDIR
set -uo pipefail
qvice=$(realpath "$1")
work=$2
here=$(cd "$(dirname "$0")/.." && pwd)
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1

make_package() {  # name codepage idt-files...
    local name=$1 cp=$2
    shift 2
    printf '\r\n\r\n%s\t_ForceCodepage\r\n' "$cp" > _ForceCodepage.idt
    local args=()
    [ "$cp" != 0 ] && args+=(-i _ForceCodepage.idt)
    for f in "$@"; do args+=(-i "$f"); done
    # msibuild reads -s only after the imports.
    msibuild "$name.msi" "${args[@]}" -s "Corpus $(basename "$name")" "qvice tests" "Intel;1033" \
        "{11111111-2222-3333-4444-555555555555}" || { echo "msibuild failed for $name"; exit 1; }
}

# Tables shared by several packages.
mkdir -p base && cd base
printf 'Property\tValue\r\ns72\tl0\r\nProperty\tProperty\r\nProductName\tQV Corpus\r\nProductVersion\t1.0.0\r\nEmptyish\t \r\n' > Property.idt
printf 'Name\tData\r\ns72\tv0\r\nBinary\tName\r\nsmall\tsmall.bin\r\nbig\tbig.bin\r\nempty\t\r\n' > Binary.idt
mkdir -p Binary
printf 'tiny' > Binary/small.bin
head -c 70000 /dev/urandom > Binary/big.bin
printf 'K\tA\tB\tL\r\ns72\ti2\tI4\tL0\r\nNumbers\tK\r\none\t1\t-5\thello\r\ntwo\t-32767\t2147483647\tworld\r\nthree\t0\t\t\r\nfour\t32767\t-2147483647\tx\r\n' > Numbers.idt
printf 'A\tB\tC\r\ns72\ti2\tS0\r\nTwoKey\tA\tB\r\nk.one\t5\tv\r\nk.one\t6\t\r\n' > TwoKey.idt
printf 'Id\tNote\r\ns38\tS255\r\nNothing\tId\r\n' > Nothing.idt
{
    cols=() types=()
    for i in $(seq 1 30); do cols+=("C$i"); if [ $((i % 3)) = 0 ]; then types+=("I2"); else types+=("S40"); fi; done
    (IFS=$'\t'; printf '%s\r\n' "${cols[*]}"; printf '%s\r\n' "${types[*]}"; printf 'Wide\tC1\r\n')
    for r in 1 2 3; do
        vals=()
        for i in $(seq 1 30); do if [ $((i % 3)) = 0 ]; then vals+=("$((r * i))"); else vals+=("r${r}c${i}"); fi; done
        (IFS=$'\t'; printf '%s\r\n' "${vals[*]}")
    done
} > Wide.idt
cd ..

(cd base && make_package ../neutral 0 Property.idt Binary.idt Numbers.idt TwoKey.idt Nothing.idt Wide.idt)

text_package() {  # name codepage text
    mkdir -p "t_$1" && cd "t_$1"
    printf 'Property\tValue\r\ns72\tl0\r\nProperty\tProperty\r\nProductName\t%s\r\nPlain\tascii\r\n' "$3" > Property.idt
    make_package "../$1" "$2" Property.idt
    cd ..
}
text_package cp1252 1252 $'Caf\xc3\xa9 cr\xc3\xa8me br\xc3\xbbl\xc3\xa9e \xe2\x82\xac'
text_package cp932 932 $'\xe6\x97\xa5\xe6\x9c\xac\xe8\xaa\x9e\xe3\x83\x86\xe3\x82\xad\xe3\x82\xb9\xe3\x83\x88'
text_package cp65001 65001 $'Gr\xc3\xbc\xc3\x9fe \xce\xa9 \xe4\xb8\xad\xe6\x96\x87'
text_package cp1255 1255 $'\xd7\xa9\xd7\x9c\xd7\x95\xd7\x9d'
text_package cp1251 1251 $'\xd0\x9f\xd1\x80\xd0\xb8\xd0\xb2\xd0\xb5\xd1\x82'

# Enough distinct strings for 3-byte string references.
mkdir -p big && cd big
{
    printf 'Key\tValue\r\ns72\tS255\r\nBig\tKey\r\n'
    awk 'BEGIN { for (i = 0; i < 36000; i++) printf "key%06d\tvalue%06d\r\n", i, i }'
} > Big.idt
printf 'Property\tValue\r\ns72\tl0\r\nProperty\tProperty\r\nProductName\tBig\r\n' > Property.idt
make_package ../longrefs 0 Big.idt Property.idt
cd ..

# Packages written by wixl: a product with an embedded cabinet, and a merge module.
(cd "$here/../samples" && wixl -o "$work/sample.msi" sample.wxs) || { echo "wixl failed"; exit 1; }
# A merge module (wixl builds none, so its tables are written here).
mkdir -p msm && cd msm
printf 'ModuleID\tLanguage\tVersion\r\ns72\ti2\ts32\r\nModuleSignature\tModuleID\tLanguage\r\nQvCorpus.0A1B2C3D_4E5F_4A6B_8C7D_9E0F1A2B3C4D\t1033\t1.0.0\r\n' > ModuleSignature.idt
printf 'Component\tModuleID\tLanguage\r\ns72\ts72\ti2\r\nModuleComponents\tComponent\tModuleID\tLanguage\r\nModComp.0A1B2C3D_4E5F_4A6B_8C7D_9E0F1A2B3C4D\tQvCorpus.0A1B2C3D_4E5F_4A6B_8C7D_9E0F1A2B3C4D\t1033\r\n' > ModuleComponents.idt
printf 'Directory\tDirectory_Parent\tDefaultDir\r\ns72\tS72\tl255\r\nDirectory\tDirectory\r\nTARGETDIR\t\tSourceDir\r\nMergeRedirectFolder\tTARGETDIR\t.\r\n' > Directory.idt
printf 'Component\tComponentId\tDirectory_\tAttributes\tCondition\tKeyPath\r\ns72\tS38\ts72\ti2\tS255\tS72\r\nComponent\tComponent\r\nModComp.0A1B2C3D_4E5F_4A6B_8C7D_9E0F1A2B3C4D\t{1F2E3D4C-5B6A-4978-8695-A4B3C2D1E0F9}\tMergeRedirectFolder\t0\t\tModFile.0A1B2C3D_4E5F_4A6B_8C7D_9E0F1A2B3C4D\r\n' > Component.idt
printf 'File\tComponent_\tFileName\tFileSize\tVersion\tLanguage\tAttributes\tSequence\r\ns72\ts72\tl255\ti4\tS72\tS20\tI2\ti2\r\nFile\tFile\r\nModFile.0A1B2C3D_4E5F_4A6B_8C7D_9E0F1A2B3C4D\tModComp.0A1B2C3D_4E5F_4A6B_8C7D_9E0F1A2B3C4D\tmodule.txt\t13\t\t\t512\t1\r\n' > File.idt
make_package ../module 0 ModuleSignature.idt ModuleComponents.idt Directory.idt Component.idt File.idt
mv ../module.msi ../module.msm
cd ..

passed=0
failed=0
compare() {  # package table expected-file actual-file
    if cmp -s "$3" "$4"; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "DIFFERENT: $1 $2"
        diff <(od -c "$3" | head -40) <(od -c "$4" | head -40) | head -20
    fi
}
for pkg in *.msi *.msm; do
    tables=$(msiinfo tables "$pkg" 2>/dev/null | grep -v -x -e _SummaryInformation -e _ForceCodepage)
    for t in $tables _Tables _Columns _ForceCodepage; do
        msiinfo export "$pkg" "$t" 2>/dev/null | tr -d '\000' > expected.idt
        "$qvice" dump "$pkg" "$t" > actual.idt 2> actual.err
        compare "$pkg" "$t" expected.idt actual.idt
    done
    msiinfo export "$pkg" _SummaryInformation > expected.idt 2>/dev/null
    "$qvice" dump --summary "$pkg" > actual.idt 2> actual.err
    compare "$pkg" _SummaryInformation expected.idt actual.idt
done
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]
