#!/usr/bin/env bash
# The Windows product against the native tool: for every fixture package that
# the check tests built (FIXTURES/tool_checks_*/), qvice.exe under Wine (the
# cub's actions run by Wine's msi.dll, which loads QvIce.dll for each) and the
# native qvice must print the same lines and exit with the same status.
#
# Where Wine's installer cannot do what Windows does, the lines of that check
# are left out of the comparison on both sides, and the test prints the
# difference, its reason and how many lines it covered.
#
#   differential.sh QVICE_NATIVE WINDOWS_BUILD FIXTURES
set -uo pipefail
native=$1 windows=$2 fixtures=$3
export QV_WINEPREFIX="${QV_WINEPREFIX:-$windows/wineprefix}"
. "$(dirname "$0")/wine-env.sh"

# Check name, then why Wine differs from Windows for it.
declare -A known=(
  [QVICE02]="Wine's MsiGetFileSignatureInformationW cannot verify an Authenticode signature"
  [QVBP11]="no .NET runtime in the Wine prefix: mscoree cannot open assembly metadata"
  [QVUWP13]="no .NET runtime in the Wine prefix: mscoree cannot open assembly metadata"
)
known_pattern="^($(IFS='|'; echo "${!known[*]}"))"$'\t'

packages=()
while IFS= read -r p; do packages+=("$p"); done < <(find "$fixtures" -path '*/tool_checks_*' \( -name '*.msi' -o -name '*.msm' \) | sort)
if [ ${#packages[@]} -eq 0 ]; then
  echo "FAIL: no fixture packages under $fixtures/tool_checks_* (run the tool tests of the native build first)"
  exit 1
fi

out=$(mktemp -d)
declare -A covered=()
same=0 differ=0
for p in "${packages[@]}"; do
  name=${p#"$fixtures"/}
  "$native" "$p" > "$out/native" 2> "$out/native.err"; ns=$?
  wine "$windows/qvice.exe" "$(winepath -w "$p")" > "$out/wine" 2> "$out/wine.err"; ws=$?
  for c in "${!known[@]}"; do
    n=$(grep -c "^$c"$'\t' "$out/native")
    covered[$c]=$(( ${covered[$c]:-0} + n ))
  done
  grep -Ev "$known_pattern" "$out/native" > "$out/native.cmp"
  grep -Ev "$known_pattern" "$out/wine" > "$out/wine.cmp"
  if [ $ns -eq $ws ] && cmp -s "$out/native.cmp" "$out/wine.cmp"; then
    same=$((same + 1))
  else
    differ=$((differ + 1))
    echo "DIFFERS: $name (native exit $ns, qvice.exe exit $ws)"
    diff "$out/native.cmp" "$out/wine.cmp" | head -20
    head -5 "$out/wine.err"
  fi
done
rm -rf "$out"
for c in $(printf '%s\n' "${!known[@]}" | sort); do
  echo "known difference: $c (${covered[$c]} native lines not compared): ${known[$c]}"
done
echo "differential: $same of ${#packages[@]} fixture packages identical, $differ differ"
[ $differ -eq 0 ]
