#!/usr/bin/env bash
# The command-line contract of qvice: exit codes, the one-line reason for a
# package that cannot be opened, options, and the QVBP01 run end to end.
# Usage: cli.sh QVICE WORKDIR
source "$(dirname "$0")/lib/checks.bash" "$@"

# Packages that cannot be opened: one line on stderr, exit 2.
printf 'this is not a package\n' > text.msi
check "not a compound file" $'\n[stderr] qvice: cannot open text.msi: not a compound file\n[exit] 2' "$(run text.msi)"
head -c 300 "$(dirname "$qvice")/samples/sample.msi" > cut.msi 2>/dev/null || printf '\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1' > cut.msi
check "truncated file" $'\n[stderr] qvice: cannot open cut.msi: truncated file\n[exit] 2' "$(run cut.msi)"
check "missing file" $'\n[stderr] qvice: cannot open none.msi: no such file\n[exit] 2' "$(run none.msi)"
check "dump of a bad file" $'\n[stderr] qvice: cannot open text.msi: not a compound file\n[exit] 2' "$(run dump text.msi)"
check "unknown option" $'\n[stderr] qvice: unknown option --frobnicate (see qvice --help)\n[exit] 2' "$(run --frobnicate x.msi)"
check "unknown check" $'\n[stderr] qvice: unknown check QVBP99 (see qvice list)\n[exit] 2' "$(run --checks QVBP99 x.msi)"
check "no package" $'\n[stderr] qvice: no package given (see qvice --help)\n[exit] 2' "$(run --quiet)"

# A database without a string pool is not a package either.
printf 'Property\tValue\r\ns72\tl0\r\nProperty\tProperty\r\nA\tB\r\n' > Property.idt
msibuild good.msi -i Property.idt
python3 - good.msi nopool.msi <<'PY'
import sys
data = bytearray(open(sys.argv[1], 'rb').read())
# Rename the _StringPool stream's directory entry (its packed name starts 0x4840 0x3F3F 0x4577).
needle = bytes.fromhex('4048 3f3f 7745'.replace(' ', ''))
at = data.find(needle)
assert at >= 0
data[at + 2] = 0x40
open(sys.argv[2], 'wb').write(data)
PY
check "missing string pool" $'\n[stderr] qvice: cannot open nopool.msi: missing string pool\n[exit] 2' "$(run nopool.msi)"

# QVBP01 over features "ALL" and "all": the banner and two findings, exit 1.
printf 'Feature\tFeature_Parent\tTitle\tDescription\tDisplay\tLevel\tDirectory_\tAttributes\r\ns38\tS38\tL64\tL255\tI2\ti2\tS72\ti2\r\nFeature\tFeature\r\nALL\t\t\t\t\t1\t\t0\r\nall\t\t\t\t\t1\t\t0\r\nMain\t\t\t\t\t1\t\t0\r\n' > Feature.idt
msibuild features.msi -i Feature.idt
T=$'\t'
expected="QVBP01${T}3${T}QVBP01 - Reports an error if a feature is named 'ALL'
QVBP01${T}1${T}Feature ALL conflicts with the installation meta-feature ALL.${T}${T}Feature${T}Feature${T}ALL
QVBP01${T}1${T}Feature ALL conflicts with the installation meta-feature ALL.${T}${T}Feature${T}Feature${T}all
[stderr] 
[exit] 1"
check "QVBP01 end to end" "$expected" "$(run --no-reference --checks QVBP01 features.msi)"
check "--quiet drops the banner" "$(printf '%s\n' "$expected" | sed 1d)" "$(run --no-reference --quiet --checks QVBP01 features.msi)"
check "no finding: exit 0" "QVBP01${T}3${T}QVBP01 - Reports an error if a feature is named 'ALL'
[stderr] 
[exit] 0" "$(run --no-reference --checks QVBP01 good.msi)"
check "QVICE14 runs QVBP18 under its own banner" "QVBP18${T}3${T}QVBP18 - Validate that no obsolete APIs are imported." \
    "$("$qvice" --no-reference --checks QVICE14 good.msi | head -1)"
check "--debug adds the closing debug line" "QVBP01${T}3${T}Finished ICE QVBP01" \
    "$("$qvice" --no-reference --debug --checks QVBP01 good.msi | tail -1)"
check "list has 85 checks" "85" "$("$qvice" list | wc -l | tr -d ' ')"
check "list line" "QVICE13${T}ice${T}Validate that no .hlp files or WinHelp run-time files are included in the installation." \
    "$("$qvice" list | grep '^QVICE13')"

finish
