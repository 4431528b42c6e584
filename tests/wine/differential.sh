#!/usr/bin/env bash
# The Windows product against the native tool: for every fixture package that
# the check tests built (FIXTURES/tool_checks_*/), qvice.exe under Wine (the
# cub's actions run by Wine's msi.dll, which loads QvIce.dll for each) and the
# native qvice must print the same lines and exit with the same status.
#
# Both merge the same QvIce.cub, so both sessions see its CustomAction and
# Binary rows beside the package's own.
#
# Where Wine's installer cannot do what Windows does, the lines of that check
# (or the whole package) are left out of the comparison when they differ,
# and the test prints the difference, its reason and how many lines or
# packages it covered.
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
# A 64-bit package (Template x64, Intel64 or Arm64): the prefix is a 32-bit
# Windows, whose MsiOpenPackageW refuses it with 1633.
sixty_four="Wine's prefix is a 32-bit Windows, where MsiOpenPackageW refuses a 64-bit package (1633)"
normalize() { python3 "$(dirname "$0")/normalize.py"; }

packages=()
while IFS= read -r p; do packages+=("$p"); done < <(find "$fixtures" -path '*/tool_checks_*' \( -name '*.msi' -o -name '*.msm' \) | sort)
if [ ${#packages[@]} -eq 0 ]; then
  echo "FAIL: no fixture packages under $fixtures/tool_checks_* (run the tool tests of the native build first)"
  exit 1
fi

out=$(mktemp -d)
declare -A covered=()
same=0 differ=0 wide=() beside=() lost=0 described=0 own_binary=() escaped=()
for p in "${packages[@]}"; do
  name=${p#"$fixtures"/}
  if msiinfo suminfo "$p" 2>/dev/null | grep -Eq '^Template: (x64|Intel64|Arm64)'; then
    wide+=("$name")
    continue
  fi
  "$native" --reference "$windows/QvIce.cub" "$p" > "$out/native" 2> "$out/native.err"; ns=$?
  wine "$windows/qvice.exe" "$(winepath -w "$p")" > "$out/wine" 2> "$out/wine.err"; ws=$?
  # Wine itself now and then dies of a signal on a run that otherwise
  # passes: such a run is tried once more, and said so.
  if [ $ws -ge 128 ]; then
    echo "retried: $name (qvice.exe under Wine ended with status $ws)"
    wine "$windows/qvice.exe" "$(winepath -w "$p")" > "$out/wine" 2> "$out/wine.err"; ws=$?
  fi
  # Files beside the package that Wine's session cannot reach (finding 162
  # under Wine only): the package is named, not compared.
  missing=$(( $(grep -c 'could not be found. All tests against this file' "$out/wine") - $(grep -c 'could not be found. All tests against this file' "$out/native") ))
  if [ $missing -gt 0 ]; then
    beside+=("$name"); lost=$((lost + missing))
    continue
  fi
  # A package with its own Binary table: under Wine no action of the cub
  # runs at all (qvice.exe prints nothing), as the merged copy offers no
  # usable QvIce.dll row; the package is named, not compared.
  if [ ! -s "$out/wine" ] && [ -s "$out/native" ] && msiinfo tables "$p" 2>/dev/null | grep -qx Binary; then
    own_binary+=("$name")
    continue
  fi
  # A check whose exception escapes it: the native tool reports it and runs
  # the other checks; under Wine the custom action server ends with it and
  # the actions after it print nothing.
  if grep -q 'ended with an exception that escaped the check' "$out/native.err" &&
     grep -q 'terminate called after throwing' "$out/wine.err"; then
    escaped+=("$name")
    continue
  fi
  # A check of the known differences is left out of this package's
  # comparison only when its lines do differ.
  skip=()
  for c in "${!known[@]}"; do
    if ! cmp -s <(grep "^$c"$'\t' "$out/native") <(grep "^$c"$'\t' "$out/wine"); then
      skip+=("$c")
      covered[$c]=$(( ${covered[$c]:-0} + $(grep -c "^$c"$'\t' "$out/native") ))
    fi
  done
  export QV_KNOWN=$(IFS=,; echo "${skip[*]}")
  normalize < "$out/native" > "$out/native.cmp"
  normalize < "$out/wine" > "$out/wine.cmp"
  described=$(( described + $(grep -c $'^QV[A-Z0-9]*\t0\tAn unexpected exception occurred in running' "$out/native") ))
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
for c in $(printf '%s\n' "${!covered[@]}" | sort); do
  echo "known difference: $c (${covered[$c]} native lines not compared): ${known[$c]}"
done
echo "known difference: message 124 ($described lines compared without their description): Wine's MsiGetLastErrorRecord gives no record after a failed query, so the text is the system message of the HRESULT"
[ ${#beside[@]} -eq 0 ] || echo "known difference: ${beside[*]} (${#beside[@]} packages not compared, $lost files reported missing under Wine only): files beside the package are unreachable, as Wine leaves the directory properties empty after ResolveSource and a file gets no source path"
echo "known difference: QVICE10 lines compared in sorted order: Wine keeps the merged CustomAction rows in another order"
[ ${#wide[@]} -eq 0 ] || echo "known difference: ${wide[*]} (${#wide[@]} packages not compared): $sixty_four"
[ ${#own_binary[@]} -eq 0 ] || echo "known difference: ${own_binary[*]} (${#own_binary[@]} packages not compared): the package has its own Binary table, and under Wine no action of the merged cub runs (qvice.exe prints nothing)"
[ ${#escaped[@]} -eq 0 ] || echo "known difference: ${escaped[*]} (${#escaped[@]} packages not compared): an exception escapes a check's constructor; under Wine it ends the custom action server and the later actions print nothing, where the native tool reports it and runs the other checks"
echo "differential: $same of $(( ${#packages[@]} - ${#wide[@]} - ${#beside[@]} - ${#own_binary[@]} - ${#escaped[@]} )) fixture packages identical, $differ differ"
[ $differ -eq 0 ]
