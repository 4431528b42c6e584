#!/usr/bin/env bash
# Two actions of one session, one process: the installer loads QvIce.dll
# afresh for each custom action, so the process-wide statics start over.
# The package gets a second custom action, QVICE07.again, on the same export
# QVICE07, whose findings come from the components that LoadComponents reads
# once per load behind a process-wide guard. Run after QVICE07, the second
# action must report the same findings; had the library stayed loaded, the
# guard would be set and its component map empty, and only the banner would
# follow.
#
#   reload.sh WINDOWS_BUILD FIXTURES
set -uo pipefail
windows=$1 fixtures=$2
export QV_WINEPREFIX="${QV_WINEPREFIX:-$windows/wineprefix}"
. "$(dirname "$0")/wine-env.sh"

source_package="$fixtures/tool_checks_executable/ice07.msi"
[ -f "$source_package" ] || { echo "FAIL: $source_package missing (run the tool tests of the native build first)"; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"; wineserver -k >/dev/null 2>&1 || true' EXIT
cp "$source_package" "$work/ice07.msi"
cp -r "$(dirname "$source_package")"/. "$work/" 2>/dev/null
if ! msiinfo export "$work/ice07.msi" CustomAction >/dev/null 2>&1; then
  msibuild "$work/ice07.msi" -q "CREATE TABLE \`CustomAction\` (\`Action\` CHAR(72) NOT NULL, \`Type\` SHORT NOT NULL, \`Source\` CHAR(72), \`Target\` CHAR(255) PRIMARY KEY \`Action\`)"
fi
msibuild "$work/ice07.msi" -q "INSERT INTO \`CustomAction\` (\`Action\`, \`Type\`, \`Source\`, \`Target\`) VALUES ('QVICE07.again', 1, 'QvIce.dll', 'QVICE07')"

actual=$(wine "$windows/qvice.exe" --checks QVICE07,QVICE07.again "$(winepath -w "$work/ice07.msi")")
once="QVICE07	3	QVICE07 - Validate that MSI components are authored for proper installation and uninstallation
QVICE07	1	Component.ComponentId for Component Null is null. All components must have a valid ComponentId for proper installation and uninstallation. If this is left null, justification must be documented.		Component	ComponentId	Null
QVICE07	1	Component Two has more than one file as the target of a Desktop or Start Menu shortcut.		Component	Component	Two"
expected="$once
$once"
if [ "$actual" != "$expected" ]; then
  echo "FAIL: two actions of QVICE07 in one session"
  diff <(echo "$expected") <(echo "$actual")
  exit 1
fi
echo "reload: QVICE07 twice in one session, both runs report the 2 component findings"
