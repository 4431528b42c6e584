#!/usr/bin/env bash
# qvice.exe takes the native command line: each case runs both tools with
# the same options and compares standard output, the first line of standard
# error and the exit status.
#
#   options.sh QVICE_NATIVE WINDOWS_BUILD FIXTURES
set -uo pipefail
native=$1 windows=$2 fixtures=$3
export QV_WINEPREFIX="${QV_WINEPREFIX:-$windows/wineprefix}"
. "$(dirname "$0")/wine-env.sh"

a="$fixtures/tool_checks_groupA/bp02.msi" b="$fixtures/tool_checks_component_file/bp07.msi"
wa=$(winepath -w "$a") wb=$(winepath -w "$b")
work=$(mktemp -d)
trap 'rm -rf "$work"; wineserver -k >/dev/null 2>&1 || true' EXIT
failed=0 cases=0
# A package path in a message, in POSIX or Windows form, becomes its name.
base_names() { sed -E 's#[^ ]*[\\/]([^\\/ ]+\.msi)#\1#g'; }
# Native arguments | the same for qvice.exe (paths in Windows form)
while IFS='|' read -r n w; do
  cases=$((cases + 1))
  eval "\"$native\" --reference \"$windows/QvIce.cub\" $n" > "$work/n.out" 2> "$work/n.err"; ns=$?
  eval "wine \"$windows/qvice.exe\" $w" > "$work/w.out" 2> "$work/w.err"; ws=$?
  if [ $ns -ne $ws ] || ! cmp -s "$work/n.out" "$work/w.out" ||
     [ "$(head -1 "$work/n.err" | base_names)" != "$(head -1 "$work/w.err" | base_names)" ]; then
    failed=$((failed + 1))
    echo "FAIL: $n (native exit $ns, qvice.exe exit $ws)"
    diff "$work/n.out" "$work/w.out" | head -10
    head -1 "$work/n.err" "$work/w.err"
  fi
done <<EOF
--checks bp,-QVBP02,-QVBP03 --min-type 2 "$a" "$b"|--checks bp,-QVBP02,-QVBP03 --min-type 2 "$wa" "$wb"
--checks QVBP07,QVBP02,QVBP07 --quiet "$b"|--checks QVBP07,QVBP02,QVBP07 --quiet "$wb"
--checks -bp,-ice,-vice,-QVUWP02 --min-type 1 "$a"|--checks -bp,-ice,-vice,-QVUWP02 --min-type 1 "$wa"
--checks QVBP99 "$a"|--checks QVBP99 "$wa"
--checks QVBP02 "$a" "$work/absent.msi"|--checks QVBP02 "$wa" "$(winepath -w "$work")\\absent.msi"
--min-type 7 "$a"|--min-type 7 "$wa"
EOF
echo "options: $((cases - failed)) of $cases cases as the native qvice"
[ $failed -eq 0 ]
