#!/usr/bin/env bash
# The output formats, several packages and --jobs, check selection, the type
# filter, exit codes and the status line of qvice.
# Usage: cli_formats.sh QVICE WORKDIR
root=$(cd "$(dirname "$0")/../.." && pwd)
sarif_check=$root/tools/sarif-check
source "$(dirname "$0")/lib/checks.bash" "$@"

# fx.msi: features ALL and all (QVBP01, type 1), property MsiCustom (QVICE05,
# type 1, quotes in its text), a Winlogon registry entry (QVBP20, type 2, a
# backslash in its text).
printf 'Feature\tFeature_Parent\tTitle\tDescription\tDisplay\tLevel\tDirectory_\tAttributes\r\ns38\tS38\tL64\tL255\tI2\ti2\tS72\ti2\r\nFeature\tFeature\r\nALL\t\t\t\t\t1\t\t0\r\nall\t\t\t\t\t1\t\t0\r\n' > Feature.idt
printf 'Property\tValue\r\ns72\tl0\r\nProperty\tProperty\r\nMsiCustom\tx\r\n' > Property.idt
printf 'Registry\tRoot\tKey\tName\tValue\tComponent_\r\ns72\ti2\tl255\tL255\tL0\ts72\r\nRegistry\tRegistry\r\nwinlogon\t2\tSoftware\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon\tShell\tx.exe\tMain\r\n' > Registry.idt
msibuild fx.msi -i Feature.idt -i Property.idt -i Registry.idt
msibuild good.msi -i Property.idt
cp fx.msi 'a b:c.msi'
printf 'not a package\n' > text.msi
sample=$(dirname "$qvice")/samples/sample.msi
[ -f "$sample" ] || sample=fx.msi

three=(--checks QVBP01,QVICE05,QVBP20 fx.msi)
check "json: one object per line, split on TAB, escaped" '[
{"package":"fx.msi","check":"QVBP01","type":3,"text":"QVBP01 - Reports an error if a feature is named '"'ALL'"'","help":"","table":"","column":"","keys":[]},
{"package":"fx.msi","check":"QVBP01","type":1,"text":"Feature ALL conflicts with the installation meta-feature ALL.","help":"","table":"Feature","column":"Feature","keys":["ALL"]},
{"package":"fx.msi","check":"QVBP01","type":1,"text":"Feature ALL conflicts with the installation meta-feature ALL.","help":"","table":"Feature","column":"Feature","keys":["all"]},
{"package":"fx.msi","check":"QVICE05","type":3,"text":"QVICE05 - Validate that there are no properties or custom tables that begin with \"MSI\" (case-insensitive)","help":"","table":"","column":"","keys":[]},
{"package":"fx.msi","check":"QVICE05","type":1,"text":"MSI property MsiCustom begins with reserved characters. MSI property names cannot start with \"MSI\" (case-insensitive)","help":"","table":"Property","column":"Property","keys":["MsiCustom"]},
{"package":"fx.msi","check":"QVBP20","type":3,"text":"QVBP20 - Verifies that no registry entries contained in the Registry table attempt to remove root level registry keys (such as HKLM\\Software) or other keys which could cause adverse issues on target machines.","help":"","table":"","column":"","keys":[]},
{"package":"fx.msi","check":"QVBP20","type":2,"text":"Registry entry winlogon installs to a key that is not recommended for installation with software applications. Installing this entry could have an adverse effect on target machines (HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Winlogon).","help":"","table":"Registry","column":"Key","keys":["winlogon"]}
]
[stderr] 
[exit] 1' "$(run --format json "${three[@]}")"
# Without reference data QVICE05 fails (type 0) with a line break in its text.
check "json: --min-type 0, a newline escaped" '[
{"package":"fx.msi","check":"QVICE05","type":0,"text":"An unexpected exception occurred in running QVICE05. -2147023281:  Windows Installer Error 2228: , _QVMsiProperty, SELECT * FROM `_QVMsiProperty`\nMsiOpenDatabaseView()","help":"","table":"","column":"","keys":[]}
]
[stderr] 
[exit] 1' "$(run --format=json --no-reference --min-type 0 --checks QVICE05 fx.msi)"
check "json: no lines" $'[\n]\n[stderr] \n[exit] 0' "$(run --format json --min-type 2 --checks QVBP01 good.msi)"

# SARIF: the exact log of fx.msi with --min-type 1 (QVBP20's warning left out).
result() {  # rule index key
    printf '        {\n          "ruleId": "%s",\n          "ruleIndex": %s,\n          "level": "error",\n          "message": {"text": "%s"},\n          "locations": [{\n            "physicalLocation": {"artifactLocation": {"uri": "a%%20b%%3Ac.msi"}},\n            "logicalLocations": [{"name": "%s", "fullyQualifiedName": "%s[%s].%s", "kind": "object", "properties": {"table": "%s", "column": "%s", "keys": ["%s"]}}]\n          }],\n          "properties": {"type": 1}\n        }' "$1" "$2" "$3" "$5" "$4" "$6" "$5" "$4" "$5" "$6"
}
expected='{
  "$schema": "https://docs.oasis-open.org/sarif/sarif/v2.1.0/errata01/os/schemas/sarif-schema-2.1.0.json",
  "version": "2.1.0",
  "runs": [
    {
      "tool": {
        "driver": {
          "name": "qvice",
          "version": "'$("$qvice" --version | cut -d' ' -f2)'",
          "rules": [
            {"id": "QVBP01", "shortDescription": {"text": "Reports an error if a feature is named '"'ALL'"'"}},
            {"id": "QVICE05", "shortDescription": {"text": "Validate that there are no properties or custom tables that begin with \"MSI\" (case-insensitive)"}},
            {"id": "QVBP20", "shortDescription": {"text": "Verifies that no registry entries contained in the Registry table attempt to remove root level registry keys (such as HKLM\\Software) or other keys which could cause adverse issues on target machines."}}
          ]
        }
      },
      "results": [
'"$(result QVBP01 0 'Feature ALL conflicts with the installation meta-feature ALL.' Feature Feature ALL),
$(result QVBP01 0 'Feature ALL conflicts with the installation meta-feature ALL.' Feature Feature all),
$(result QVICE05 1 'MSI property MsiCustom begins with reserved characters. MSI property names cannot start with \"MSI\" (case-insensitive)' Property Property MsiCustom)"'
      ],
      "invocations": [{"executionSuccessful": true}]
    }
  ]
}'
check "sarif: rules by check, results of type 0-2, logical locations" "$expected
[stderr] 
[exit] 1" "$(run --format sarif --min-type 1 --checks QVBP01,QVICE05,QVBP20 'a b:c.msi')"

# The published schema accepts what qvice writes: fixtures, every check over
# the sample package, a run without results, a failure (type 0) and a warning.
if [ ! -d "$sarif_check/node_modules/ajv-draft-04" ]; then
    (cd "$sarif_check" && npm ci --no-audit --no-fund > /dev/null 2>&1)
fi
"$qvice" --format sarif "${three[@]}" > fx.sarif
"$qvice" --format sarif --no-reference "${three[@]}" > failed.sarif
"$qvice" --format sarif "$sample" > sample.sarif
"$qvice" --format sarif --checks QVBP01 good.msi > empty.sarif
"$qvice" --format sarif --checks QVBP01 good.msi missing.msi text.msi > unusable.sarif 2> /dev/null
check "sarif: valid against the SARIF 2.1.0 schema" "fx.sarif: valid SARIF 2.1.0
failed.sarif: valid SARIF 2.1.0
sample.sarif: valid SARIF 2.1.0
empty.sarif: valid SARIF 2.1.0
unusable.sarif: valid SARIF 2.1.0" \
    "$(node "$sarif_check/validate.js" fx.sarif failed.sarif sample.sarif empty.sarif unusable.sarif 2>&1)"
check "sarif: packages that cannot be used fail the invocation" '      "invocations": [{"executionSuccessful": false, "toolExecutionNotifications": [
          {"level": "error", "message": {"text": "qvice: cannot open missing.msi: no such file"}},
          {"level": "error", "message": {"text": "qvice: cannot open text.msi: not a compound file"}}
        ]}]' "$(sed -n '/"invocations"/,/]}]/p' unusable.sarif)"
check "sarif: a usable run succeeds" '      "invocations": [{"executionSuccessful": true}]' "$(grep '"invocations"' fx.sarif)"
check "sarif: a failure is an error, a warning a warning" "error warning" \
    "$(grep -o '"level": "[a-z]*"' failed.sarif fx.sarif | sed 's/.*: "//; s/"//' | sort -u | tr '\n' ' ' | sed 's/ $//')"

# Several packages: --jobs gives the output of the sequential run, in
# command-line order, and the worst exit code; the same through --output.
packages=("$sample" fx.msi missing.msi good.msi text.msi "$sample" fx.msi)
for format in text json sarif; do
    sequential=$(run --format $format "${packages[@]}")
    check "--jobs 3 = sequential ($format)" "$sequential" "$(run --format $format --jobs 3 "${packages[@]}")"
done
check "sequential: the reasons on stderr in order, exit 2" "[stderr] qvice: cannot open missing.msi: no such file
qvice: cannot open text.msi: not a compound file
[exit] 2" "$(run -j4 "${packages[@]}" | sed -n '/^\[stderr\]/,$p')"
# Every process, forked or not, removes its scratch folder (extracted files,
# cached entries) when it ends.
mkdir -p scratch
TMPDIR=$PWD/scratch "$qvice" -j2 "$sample" fx.msi good.msi > /dev/null 2>&1
TMPDIR=$PWD/scratch "$qvice" "$sample" fx.msi > /dev/null 2>&1
check "no scratch folder is left behind" "" "$(ls -A scratch)"
"$qvice" -j2 --format json -o out.json "$sample" fx.msi > stdout.txt
check "--output: the file has what stdout would" "$("$qvice" --format json "$sample" fx.msi)" "$(cat out.json; cat stdout.txt)"
check "worst of 0 and 1 is 1" "[exit] 1" "$(run -j2 --checks QVBP01 good.msi fx.msi | tail -1)"
check "only clean packages: 0" "[exit] 0" "$(run -j2 --checks QVBP01 good.msi good.msi | tail -1)"
check "--min-type 0 leaves out the errors, and they do not count" $'\n[stderr] \n[exit] 0' \
    "$(run --min-type 0 --checks QVBP01 fx.msi)"
check "cannot write the output" "[stderr] qvice: cannot write nodir/x.json: No such file or directory
[exit] 2" "$(run --output nodir/x.json fx.msi | tail -2)"

# The cabinet cache: the checks of a package share one decompression of each
# entry; the lines are the same without it.
mkdir cab && for i in 1 2 3 4; do head -c $((3000 * i)) /dev/urandom > cab/f$i; done
(cd cab && gcab -c -z -n ../files.cab f1 f2 f3 f4)
printf 'File\tComponent_\tFileName\tFileSize\tVersion\tLanguage\tAttributes\tSequence\r\ns72\ts72\tl255\ti4\tS72\tS20\tI2\ti2\r\nFile\tFile\r\n' > File.idt
for i in 1 2 3 4; do printf 'f%d\tMain\tf%d.dll\t%d\t\t\t16384\t%d\r\n' $i $i $((3000 * i)) $i >> File.idt; done
printf 'DiskId\tLastSequence\tDiskPrompt\tCabinet\tVolumeLabel\tSource\r\ni2\ti2\tL64\tS255\tS32\tS72\r\nMedia\tDiskId\r\n1\t4\t\t#files.cab\t\t\r\n' > Media.idt
printf 'Component\tComponentId\tDirectory_\tAttributes\tCondition\tKeyPath\r\ns72\tS38\ts72\ti2\tS255\tS72\r\nComponent\tComponent\r\nMain\t\tTARGETDIR\t0\t\tf1\r\n' > Component.idt
printf 'Directory\tDirectory_Parent\tDefaultDir\r\ns72\tS72\tl255\r\nDirectory\tDirectory\r\nTARGETDIR\t\tSourceDir\r\n' > Directory.idt
mkdir product && printf 'Property\tValue\r\ns72\tl0\r\nProperty\tProperty\r\nProductCode\t{22222222-2222-2222-2222-222222222222}\r\n' > product/Property.idt
msibuild cab.msi -i product/Property.idt -i Directory.idt -i Component.idt -i File.idt -i Media.idt -a files.cab files.cab
"$qvice" --cache-stats cab.msi > cached.txt 2> cached.err
"$qvice" --no-cache --cache-stats cab.msi > uncached.txt 2> uncached.err
check "cache: the same lines with and without it" "$(cat uncached.txt)" "$(cat cached.txt)"
check "cache: each entry decompressed once" "qvice: note: cab.msi: 4 cabinet entries decompressed, $(($(cut -d' ' -f4 uncached.err) - 4)) served from the cache" \
    "$(cat cached.err)"
check "cache: several checks read the files" "1" "$(awk -v n="$(cut -d' ' -f4 uncached.err)" 'BEGIN {print (n >= 8)}')"

# --checks: families, exclusions, order and repeats.
banners() { "$qvice" --no-reference "$@" good.msi | awk -F'\t' '$2 == 3 && $3 ~ / - / {print $1}' | tr '\n' ' '; }
check "families in the order given, a repeat once" "QVBP02 QVBP01 QVBP03 QVBP04 QVBP05 QVBP06 QVBP07 QVBP08 QVBP09 QVBP10 QVBP11 QVBP12 QVBP13 QVBP14 QVBP15 QVBP16 QVBP17 QVBP18 QVBP19 QVBP20 " \
    "$(banners --checks QVBP02,bp)"
check "-NAME and -FAMILY leave out" "QVVICE01 QVVICE03 " "$(banners --checks vice,-uwp,-QVVICE02 --min-type 3 | cut -d' ' -f1-2) "
check "only exclusions: every other check" "84 banners, 0 of QVBP01" \
    "$("$qvice" --checks -QVBP01 fx.msi | awk -F'\t' '$2 == 3 && $3 ~ / - / {n++; m += $1 == "QVBP01"} END {print n " banners, " m + 0 " of QVBP01"}')"
check "bad values" "qvice: unknown check ice2 (see qvice list)
qvice: --format needs text, json or sarif
qvice: --min-type needs a message type from 0 to 3
qvice: --jobs needs a number from 1 to 256" \
    "$("$qvice" --checks bp,ice2 fx.msi 2>&1; "$qvice" --format xml fx.msi 2>&1; "$qvice" --min-type 4 fx.msi 2>&1;
       "$qvice" -j0 fx.msi 2>&1)"

# The status line: on a terminal only, one frame per check, erased at the end.
frames() { sed 's/[0-9]*\.[0-9] s/T s/g' | tr '\r' '\n' | grep -v '^$' | grep -v $'^\033\[K$' | sed $'s/^\033\\[K//' | uniq; }
check "status line on a terminal" "qvice: QVBP01 on fx.msi (0/2 done), T s
qvice: QVBP02 on fx.msi (0/2 done), T s
qvice: QVBP01 on good.msi (1/2 done), T s
qvice: QVBP02 on good.msi (1/2 done), T s" \
    "$(script -qec "'$qvice' --checks QVBP01,QVBP02 fx.msi good.msi > /dev/null" /dev/null < /dev/null | frames)"
check "status line with --jobs" "qvice: QVBP01 on fx.msi" \
    "$(script -qec "'$qvice' -j2 --checks QVBP01 fx.msi good.msi > /dev/null" /dev/null < /dev/null | frames | sed 's/ (.*//' | sort | head -1)"
check "no status line when stderr is no terminal" "" "$("$qvice" --checks QVBP01,QVBP02 fx.msi 2>&1 > /dev/null)"

# The help, the README and the man page name the same options.
options() { grep -o -- '--[a-z][a-z-]*' | sort -u | tr '\n' ' '; }
check "README's Usage names the options of --help" "$("$qvice" --help | options)" \
    "$({ sed -n '/^## Usage/,/^## Building/p' "$root/README.md" | grep -v 'option=value'; echo --help --version; } | options)"
check "the man page names the options of --help" "$("$qvice" --help | options)" \
    "$(sed 's/\\-/-/g' "$root/docs/qvice.1" | grep -v 'option' | options)"

finish
