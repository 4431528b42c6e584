#!/usr/bin/env bash
# Runs `qvice --no-reference --checks NAME` over a handful of fixture
# packages built with msibuild and compares every output line, banner
# included, with the lines the unit tests of these checks assert.
# Usage: checks_groupA.sh QVICE WORKDIR
source "$(dirname "$0")/lib/checks.bash" "$@"

# Sets the summary Word Count (property 15) in place.
set_word_count() {
    python3 - "$1" "$2" <<'PY'
import struct, sys
path, value = sys.argv[1], int(sys.argv[2])
d = bytearray(open(path, 'rb').read())
i = d.find(bytes.fromhex('e0859ff2f94f6810ab9108002b27b3d9'))
sec = i - 28 + struct.unpack_from('<I', d, i + 16)[0]
for k in range(struct.unpack_from('<I', d, sec + 4)[0]):
    pid, off = struct.unpack_from('<II', d, sec + 8 + 8 * k)
    if pid == 15:
        struct.pack_into('<i', d, sec + off + 4, value)
open(path, 'wb').write(d)
PY
}

CA="CREATE TABLE \`CustomAction\` (\`Action\` CHAR(72) NOT NULL, \`Type\` SHORT NOT NULL, \`Source\` CHAR(72), \`Target\` CHAR(255) PRIMARY KEY \`Action\`)"
ca_row() { echo "INSERT INTO \`CustomAction\` (\`Action\`, \`Type\`, \`Source\`) VALUES ('$1', $2, '$3')"; }
SEQ="CREATE TABLE \`InstallExecuteSequence\` (\`Action\` CHAR(72) NOT NULL, \`Condition\` CHAR(255), \`Sequence\` SHORT PRIMARY KEY \`Action\`)"
seq_row() { echo "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Sequence\`) VALUES ('$1', $2)"; }
REG="CREATE TABLE \`Registry\` (\`Registry\` CHAR(72) NOT NULL, \`Root\` SHORT NOT NULL, \`Key\` CHAR(255) NOT NULL, \`Name\` CHAR(255), \`Value\` LONGCHAR, \`Component_\` CHAR(72) NOT NULL PRIMARY KEY \`Registry\`)"
reg_row() { echo "INSERT INTO \`Registry\` (\`Registry\`, \`Root\`, \`Key\`, \`Value\`, \`Component_\`) VALUES ('$1', $2, '$3', '$4', '$5')"; }

# QVBP02: only the upper-case DATABASE.
new_package bp02 "$DIR" "$(dir_row TARGETDIR '' SourceDir)" "$(dir_row DATABASE TARGETDIR db)" \
    "$(dir_row Database TARGETDIR db2)" || exit 1
expect bp02 QVBP02 "QVBP02${T}3${T}QVBP02 - Reports an error if a directory is named 'DATABASE'" \
    "QVBP02${T}1${T}Directory DATABASE conflicts with Windows Installer's undocumented directory DATABASE.${T}${T}Directory${T}Directory${T}DATABASE"

# QVBP08: sequenced before CostFinalize.
new_package bp08 "$CA" "$SEQ" "$(ca_row SetArp 51 ARPINSTALLLOCATION)" "$(seq_row SetArp 999)" \
    "$(seq_row CostFinalize 1000)" || exit 1
expect bp08 QVBP08 "QVBP08${T}3${T}QVBP08 - Reports a warning if ARPINSTALLLOCATION does not appear to be set" \
    "QVBP08${T}2${T}There does not appear to be a Type 51 action setting ARPINSTALLLOCATION after CostFinalize in the InstallExecuteSequence.${T}${T}InstallExecuteSequence${T}Sequence${T}SetArp"

# QVBP13: a dialog property without default, twice in one value.
new_package bp13 \
    "CREATE TABLE \`Control\` (\`Dialog_\` CHAR(72) NOT NULL, \`Control\` CHAR(50) NOT NULL, \`Type\` CHAR(20) NOT NULL, \`X\` SHORT NOT NULL, \`Y\` SHORT NOT NULL, \`Width\` SHORT NOT NULL, \`Height\` SHORT NOT NULL, \`Attributes\` LONG, \`Property\` CHAR(72), \`Text\` LONGCHAR PRIMARY KEY \`Dialog_\`, \`Control\`)" \
    "INSERT INTO \`Control\` (\`Dialog_\`, \`Control\`, \`Type\`, \`X\`, \`Y\`, \`Width\`, \`Height\`, \`Property\`) VALUES ('Dlg', 'E', 'Edit', 0, 0, 1, 1, 'USERNAME')" \
    "$REG" "$(reg_row r1 2 'Software\Quill' '[USERNAME]/[USERNAME]' Main)" || exit 1
F192="Property 'USERNAME' has no default, is set by a dialog control, and is used in table Registry. This may not be populated in a silent or reduced UI installation.${T}${T}Registry${T}Value${T}r1"
expect bp13 QVBP13 "QVBP13${T}3${T}QVBP13 - Reports a warning for each unset property tied to a dialog control and used as data for the installation" \
    "QVBP13${T}2${T}$F192" "QVBP13${T}2${T}$F192"

# QVICE03: exact nested types only.
new_package ice03 "$CA" "$(ca_row Nested 7 x)" "$(ca_row Hidden 1031 x)" || exit 1
expect ice03 QVICE03 "QVICE03${T}3${T}QVICE03 - Validate that there are no nested-installation custom actions (type 7, 23, and 39)." \
    "QVICE03${T}1${T}Nested custom action Nested of type 7 is not allowed${T}${T}CustomAction${T}Type${T}Nested"

# QVICE08: no CustomAction table ends in message 124.
new_package ice08 "CREATE TABLE \`Property\` (\`Property\` CHAR(72) NOT NULL, \`Value\` LONGCHAR NOT NULL PRIMARY KEY \`Property\`)" || exit 1
expect ice08 QVICE08 "QVICE08${T}3${T}QVICE08 - Validate that deferred custom actions do not have the impersonate bit set" \
    "QVICE08${T}0${T}An unexpected exception occurred in running QVICE08. -2147023281:  Windows Installer Error 2228: , CustomAction, SELECT * FROM \`CustomAction\`" \
    "MsiOpenDatabaseView()"

# QVICE20: a non-elevated package (Word Count 10) with a machine-wide key of
# an unknown component, which goes out with message type -1.
new_package ice20 "$COMP" "$REG" "$(reg_row hklm 2 Software x Main)" "$(reg_row hkcu 1 Software x Main)" || exit 1
set_word_count ice20.msi 10 || exit 1
expect ice20 QVICE20 "QVICE20${T}3${T}QVICE20 - Validate that no machine-wide settings are installed by a non-privileged installation" \
    "QVICE20${T}-1${T}Row hklm of Table Registry: installing, modifying, or deleting a registry key in root 2 requires elevated privileges, but this package does not request elevated privileges${T}${T}Registry${T}Root${T}hklm"
set_word_count ice20.msi 2 || exit 1
expect ice20 QVICE20 "QVICE20${T}3${T}QVICE20 - Validate that no machine-wide settings are installed by a non-privileged installation"

finish
