#!/usr/bin/env bash
# Runs `qvice --no-reference --checks NAME` over fixture packages of the
# virtualization checks, built with msibuild, and compares every output
# line, banner included. Each package carries its own file tests and
# severities.
# Usage: checks_vice.sh QVICE WORKDIR
source "$(dirname "$0")/lib/checks.bash" "$@"

FILE="CREATE TABLE \`File\` (\`File\` CHAR(72) NOT NULL, \`Component_\` CHAR(72) NOT NULL, \`FileName\` CHAR(255) NOT NULL, \`FileSize\` LONG NOT NULL, \`Version\` CHAR(72), \`Language\` CHAR(20), \`Attributes\` SHORT, \`Sequence\` SHORT NOT NULL PRIMARY KEY \`File\`)"
file_row() { echo "INSERT INTO \`File\` (\`File\`, \`Component_\`, \`FileName\`, \`FileSize\`, \`Sequence\`) VALUES ('$1', 'Main', '$2', $3, $4)"; }
TESTS="CREATE TABLE \`_QvViceFileTestEntries\` (\`Vice\` CHAR(72) NOT NULL, \`Test\` CHAR(255) NOT NULL, \`Value\` CHAR(255) PRIMARY KEY \`Vice\`, \`Test\`)"
test_row() { echo "INSERT INTO \`_QvViceFileTestEntries\` (\`Vice\`, \`Test\`) VALUES ('$1', '$2')"; }
SEV="CREATE TABLE \`_QvViceSeverity\` (\`Vice\` CHAR(72) NOT NULL, \`Severity\` SHORT PRIMARY KEY \`Vice\`)"
sev_row() { echo "INSERT INTO \`_QvViceSeverity\` (\`Vice\`, \`Severity\`) VALUES ('$1', $2)"; }
REG="CREATE TABLE \`Registry\` (\`Registry\` CHAR(72) NOT NULL, \`Root\` SHORT NOT NULL, \`Key\` CHAR(255) NOT NULL, \`Name\` CHAR(255), \`Value\` LONGCHAR, \`Component_\` CHAR(72) NOT NULL PRIMARY KEY \`Registry\`)"
reg_row() { echo "INSERT INTO \`Registry\` (\`Registry\`, \`Root\`, \`Key\`, \`Name\`, \`Value\`, \`Component_\`) VALUES ('$1', $2, '$3', '$4', '$5', 'Main')"; }

# File patterns: a whole-name expression and an extension, severity 2 for
# QVVICE03; a name that only contains the expression is not reported.
new_package files "$FILE" "$TESTS" "$SEV" \
    "$(file_row f1 'SETUP~1.APP|Setup.application' 10 1)" "$(file_row f2 'APP.EXE|app.exe.deploy' 10 2)" \
    "$(file_row f3 'readme.txt' 10 3)" "$(file_row f4 'mscoree.dll.old' 10 4)" "$(file_row f5 'MSCOREE.DLL' 10 5)" \
    "$(test_row QVVICE03 .application)" "$(test_row QVVICE03 '.*\.deploy')" \
    "$(test_row QVVICE01 'mscoree\.dll')" "$(sev_row QVVICE03 2)" || exit 1
expect files QVVICE03 "QVVICE03${T}3${T}QVVICE03 - Checks for the presence of ClickOnce deployment files" \
    "QVVICE03${T}2${T}The file 'Setup.application' appears to be a ClickOnce deployment file. ClickOnce is a per-user installation format that is often incompatible with the per-machine nature of virtual packages. A ClickOnce application also may try to automatically update itself, which can result in invalid versioning in virtual application management systems.${T}${T}File${T}FileName${T}f1" \
    "QVVICE03${T}2${T}The file 'app.exe.deploy' appears to be a ClickOnce deployment file. ClickOnce is a per-user installation format that is often incompatible with the per-machine nature of virtual packages. A ClickOnce application also may try to automatically update itself, which can result in invalid versioning in virtual application management systems.${T}${T}File${T}FileName${T}f2"
expect files QVVICE01 "QVVICE01${T}3${T}QVVICE01 - Checks for the presence of files that may normally be part of the Windows operating system" \
    "QVVICE01${T}1${T}The file 'MSCOREE.DLL' appears to be a file that is closely integrated with the OS. The files that make up applications like Internet Explorer or Windows Media Player, or frameworks like the .NET Framework, do not make good candidates for virtualization. These files should instead be installed locally on the machine.${T}${T}File${T}FileName${T}f5"
# Without a Shortcut table; 10 bytes of files are far below 4 GB.
expect files QVVICE11,QVVICE16 \
    "QVVICE11${T}3${T}QVVICE11 - Checks the package to ensure that it contains at least one shortcut" \
    "QVVICE11${T}1${T}This package contains no shortcuts. Shortcuts are usually necessary to define the entry point into the virtual application.${T}${T}Shortcut" \
    "QVVICE16${T}3${T}QVVICE16 - Checks to ensure that the total installed file size is less than 4 GB"

# A bad expression ends the check through the catch-all.
new_package badtest "$FILE" "$TESTS" "$(file_row f1 'a.txt' 1 1)" "$(test_row QVVICE05 '(')" || exit 1
expect badtest QVVICE05 "QVVICE05${T}3${T}QVVICE05 - Checks for the presence of files that are part of WMI providers" \
    "QVVICE05${T}0${T}An unhandled exception occurred."

# Registry shapes: a shell extension under the classes root, a surrogate,
# a boot start service value.
new_package registry "$REG" \
    "$(reg_row r1 0 'Folder\ShellEx\{00000000-0000-0000-0000-000000000001}' '' '')" \
    "$(reg_row r2 2 'Software\Classes\AppID\{2}' 'DllSurrogate' 'host.exe')" \
    "$(reg_row r3 2 'System\CurrentControlSet\Services\Quill' 'Start' '#0')" || exit 1
expect registry QVVICE12,QVVICE15,QVVICE18 \
    "QVVICE12${T}3${T}QVVICE12 - Checks for the presence of shell extensions" \
    "QVVICE12${T}1${T}This package contains a shell extension (key 'Folder\ShellEx\{00000000-0000-0000-0000-000000000001}'). Shell extensions extend Windows Explorer and cannot be loaded from a virtual package. This extension may be critical to the use of this application, and if so this application will not function when virtualized. However, if this extension is non-critical, the application can still be used.${T}${T}Registry${T}Registry${T}r1" \
    "QVVICE15${T}3${T}QVVICE15 - Checks for the presence of boot start services" \
    "QVVICE15${T}1${T}This package contains a service (name 'Quill'), which starts at boot time. Virtualized services are limited to the lifetime of the virtual application so services that must start at boot time do not make good candidates for virtualization. It may be possible to extract this service such that it can be installed locally on the machine and allow the rest of the package to be virtualized.${T}${T}Registry${T}Registry${T}r3" \
    "QVVICE18${T}3${T}QVVICE18 - Checks for the presence of COM DLL surrogate files" \
    "QVVICE18${T}1${T}This package contains a COM DLL surrogate (registry key 'Software\Classes\AppID\{2}'), which is not supported, so the application may not work correctly if virtualized.${T}${T}Registry${T}Key${T}Software\Classes\AppID\{2}"

# A 64-bit Template: type 1 and no location although the severity says 3.
new_package_with_template x64 'x64;1033' "$SEV" "$(sev_row QVVICE19 3)" || exit 1
expect x64 QVVICE19 "QVVICE19${T}3${T}QVVICE19 - Checks to see if this is a 64-bit package. ThinApp and XenApp do not support 64-bit applications." \
    "QVVICE19${T}1${T}The package is 64-bit. ThinApp and XenApp do not support 64-bit applications."

# A file tests table without its Vice column: QVVICE01's constructor fails,
# qvice says so, runs the next check and ends with status 2.
BROKEN="CREATE TABLE \`_QvViceFileTestEntries\` (\`Check\` CHAR(72) NOT NULL, \`Test\` CHAR(255) NOT NULL PRIMARY KEY \`Check\`, \`Test\`)"
new_package broken "$BROKEN" "INSERT INTO \`_QvViceFileTestEntries\` (\`Check\`, \`Test\`) VALUES ('QVVICE01', 'x')" \
    "$SEV" "$(sev_row QVVICE19 2)" || exit 1
got=$("$qvice" --no-reference --checks QVVICE01,QVVICE19 broken.msi 2>&1)
status=$?
want="qvice: QVVICE01 on broken.msi ended with an exception that escaped the check; its findings may be incomplete
QVVICE19${T}3${T}QVVICE19 - Checks to see if this is a 64-bit package. ThinApp and XenApp do not support 64-bit applications."
if [ "$status" -eq 2 ] && [ "$got" == "$want" ]; then
    passed=$((passed + 1))
else
    failed=$((failed + 1))
    echo "FAIL an exception out of a constructor: status $status"
    diff <(echo "$want") <(echo "$got")
fi

finish
