#!/usr/bin/env bash
# End to end: qvice --no-reference --checks over fixture packages of the
# table checks QVICE17, QVICE18, QVICE19, QVICE04, QVICE05 and QVBP20, each
# package carrying its own reference tables; the printed lines must be
# exactly the expected ones.
# Usage: checks_groupB.sh QVICE WORKDIR
set -u
qvice=$1
work=$2
rm -rf "$work" && mkdir -p "$work"
passed=0
failed=0

# build NAME QUERY...: a package from SQL statements, one msibuild run each.
build() {
    local msi=$work/$1.msi
    shift
    msibuild "$msi" -s fixture qvice ';1033' '{11111111-2222-3333-4444-555555555555}' >/dev/null 2>&1 || return 1
    local q
    for q in "$@"; do
        msibuild "$msi" -q "$q" >/dev/null 2>&1 || { echo "msibuild failed: $q"; return 1; }
    done
}

# expect NAME CHECKS LINE...: qvice's output over NAME.msi must be the lines.
expect() {
    local name=$1 checks=$2
    shift 2
    local want=$work/$name.$checks.want got=$work/$name.$checks.got
    printf '%b\n' "$@" >"$want"
    "$qvice" --no-reference --checks "$checks" "$work/$name.msi" >"$got" 2>&1
    if cmp -s "$want" "$got"; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAIL: $checks over $name"
        diff "$want" "$got"
    fi
}

property='CREATE TABLE `Property` (`Property` CHAR(72) NOT NULL, `Value` LONGCHAR NOT NULL LOCALIZABLE PRIMARY KEY `Property`)'
sequence='CREATE TABLE `InstallExecuteSequence` (`Action` CHAR(72) NOT NULL, `Condition` CHAR(255), `Sequence` SHORT PRIMARY KEY `Action`)'

B17='QVICE17\t3\tQVICE17 - Validate that the installation does not force a reboot'
B18='QVICE18\t3\tQVICE18 - Validate that the MsiRMFilesInUse dialog is included'
B19='QVICE19\t3\tQVICE19 - Validate properties related to upgrades, that the Upgrade table is present, and that the installation prevents downgrades'
B04='QVICE04\t3\tQVICE04 - Validate that there are no custom columns added to standard MSI tables'
B05='QVICE05\t3\tQVICE05 - Validate that there are no properties or custom tables that begin with "MSI" (case-insensitive)'
B20='QVBP20\t3\tQVBP20 - Verifies that no registry entries contained in the Registry table attempt to remove root level registry keys (such as HKLM\\Software) or other keys which could cause adverse issues on target machines.'

# ---- QVICE17 and QVICE18 ----------------------------------------------------------
build reboot \
    'CREATE TABLE `_QVDisallowedAction` (`Action` CHAR(72) NOT NULL PRIMARY KEY `Action`)' \
    "INSERT INTO \`_QVDisallowedAction\` (\`Action\`) VALUES ('ForceReboot')" \
    "$sequence" \
    "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Condition\`, \`Sequence\`) VALUES ('ForceReboot', '0', 6600)" \
    'CREATE TABLE `ControlEvent` (`Dialog_` CHAR(72) NOT NULL, `Control_` CHAR(50) NOT NULL, `Event` CHAR(50) NOT NULL, `Argument` CHAR(255) NOT NULL, `Condition` CHAR(255), `Ordering` SHORT PRIMARY KEY `Dialog_`, `Control_`, `Event`, `Argument`, `Condition`)' \
    "INSERT INTO \`ControlEvent\` (\`Dialog_\`, \`Control_\`, \`Event\`, \`Argument\`, \`Condition\`) VALUES ('Done', 'Finish', 'DoAction', 'ForceReboot', '1')" \
    "INSERT INTO \`ControlEvent\` (\`Dialog_\`, \`Control_\`, \`Event\`, \`Argument\`, \`Condition\`) VALUES ('Done', 'Back', 'NewDialog', 'ForceReboot', '1')"
expect reboot QVICE17,QVICE18 \
    "$B17" \
    'QVICE17\t1\tSequence InstallExecuteSequence includes the ForceReboot action. Use of the ForceReboot action requires a waiver from Microsoft.\t\tInstallExecuteSequence\tAction\tForceReboot' \
    'QVICE17\t1\tControl Finish on Dialog Done runs the ForceReboot action. Use of the ForceReboot action requires a waiver from Microsoft.\t\tControlEvent\tArgument\tDone\tFinish\tDoAction\tForceReboot\t1' \
    "$B18" \
    'QVICE18\t1\tDialog MsiRMFilesInUse is not present in the Dialog table\t\tDialog\tTitle\tMsiRMFilesInUse'

build title \
    'CREATE TABLE `Dialog` (`Dialog` CHAR(72) NOT NULL, `HCentering` SHORT NOT NULL, `VCentering` SHORT NOT NULL, `Width` SHORT NOT NULL, `Height` SHORT NOT NULL, `Attributes` LONG, `Title` CHAR(128) LOCALIZABLE, `Control_First` CHAR(50) NOT NULL, `Control_Default` CHAR(50), `Control_Cancel` CHAR(50) PRIMARY KEY `Dialog`)' \
    "INSERT INTO \`Dialog\` (\`Dialog\`, \`HCentering\`, \`VCentering\`, \`Width\`, \`Height\`, \`Title\`, \`Control_First\`) VALUES ('MsiRMFilesInUse', 50, 50, 300, 200, 'Files in use - QUILL', 'Ok')" \
    "$property" "INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('ProductName', 'Quill')"
expect title QVICE18 \
    "$B18" \
    "QVICE18\t1\tThe Title of Dialog MsiRMFilesInUse does not include 'Quill' or '[ProductName]'\t\tDialog\tTitle\tMsiRMFilesInUse"

# ---- QVICE19 ------------------------------------------------------------------------
build upgrade "$property" \
    "INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('Manufacturer', 'Your Company Name')" \
    "INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('ProductCode', '{11111111-2222-3333-4444-555555555555}')" \
    "INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('ProductLanguage', '01033')" \
    "INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('ProductVersion', '1.0')"
expect upgrade QVICE19 \
    "$B19" \
    'QVICE19\t1\tThe property ProductName must not be null or empty\t\tProperty\tValue\tProductName' \
    "QVICE19\t1\tThe property Manufacturer must be provided; 'Your Company Name' is the default value\t\tProperty\tValue\tManufacturer" \
    "QVICE19\t1\tThe property UpgradeCode must be a valid GUID; '' is not a valid GUID\t\tProperty\tValue\tUpgradeCode" \
    "QVICE19\t1\tThe property ProductLanguage must hold a valid numeric LANGID; '01033' is not a numeric LANGID\t\tProperty\tValue\tProductLanguage" \
    "QVICE19\t1\tThe property ProductVersion must hold a valid numeric version in the format Major.Minor.Build; '1.0' is not a version in this format\t\tProperty\tValue\tProductVersion" \
    'QVICE19\t1\tThe table Upgrade is not present in the installation package\t\tUpgrade\t\t'

# ---- QVICE04 and QVICE05 ----------------------------------------------------------
build schema \
    'CREATE TABLE `_QVTableSchema` (`Table` CHAR(64) NOT NULL, `Schema` CHAR(255) PRIMARY KEY `Table`, `Schema`)' \
    "INSERT INTO \`_QVTableSchema\` (\`Table\`, \`Schema\`) VALUES ('Feature', 'Feature(s38)Title(L64)')" \
    "INSERT INTO \`_QVTableSchema\` (\`Table\`, \`Schema\`) VALUES ('Property', 'Property(s72)Value(l0)')" \
    'CREATE TABLE `_QVMsiProperty` (`Property` CHAR(72) NOT NULL PRIMARY KEY `Property`)' \
    "INSERT INTO \`_QVMsiProperty\` (\`Property\`) VALUES ('MsiLogging')" \
    'CREATE TABLE `Feature` (`Feature` CHAR(38) NOT NULL, `Title` CHAR(64) LOCALIZABLE, `Level` SHORT NOT NULL PRIMARY KEY `Feature`)' \
    "$property" \
    "INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('MsiLogging', 'v')" \
    "INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('MSILOGGING', 'v')" \
    'CREATE TABLE `MsiQuill` (`Key` CHAR(10) NOT NULL PRIMARY KEY `Key`)'
expect schema QVICE04,QVICE05 \
    "$B04" \
    'QVICE04\t1\tThe standard MSI table Feature does not match the MSI schema defined in schema.msi\t\tFeature\t\t' \
    "$B05" \
    'QVICE05\t1\tMSI property MSILOGGING begins with reserved characters. MSI property names cannot start with "MSI" (case-insensitive)\t\tProperty\tProperty\tMSILOGGING' \
    'QVICE05\t1\tTable MsiQuill begins with reserved characters. Custom table names cannot start with "MSI" (case-insensitive)\t\tMsiQuill\t\t'

# ---- QVBP20 -------------------------------------------------------------------------
registry='CREATE TABLE `Registry` (`Registry` CHAR(72) NOT NULL, `Root` SHORT NOT NULL, `Key` CHAR(255) NOT NULL LOCALIZABLE, `Name` CHAR(255) LOCALIZABLE, `Value` CHAR(0) LOCALIZABLE, `Component_` CHAR(72) NOT NULL PRIMARY KEY `Registry`)'
rows=(
    "INSERT INTO \`Registry\` (\`Registry\`, \`Root\`, \`Key\`, \`Name\`, \`Component_\`) VALUES ('r1', 2, 'SOFTWARE', '*', 'Main')"
    "INSERT INTO \`Registry\` (\`Registry\`, \`Root\`, \`Key\`, \`Name\`, \`Component_\`) VALUES ('r2', 1, 'Software\\Microsoft\\Windows\\CurrentVersion\\Run\\Sub', 'Tool', 'Main')"
    "INSERT INTO \`Registry\` (\`Registry\`, \`Root\`, \`Key\`, \`Name\`, \`Component_\`) VALUES ('r3', 2, 'Software\\Quill', '*', 'Main')"
)
build registry \
    'CREATE TABLE `_QvRegistry` (`Root` SHORT NOT NULL, `Key` CHAR(255) NOT NULL, `Name` CHAR(255) PRIMARY KEY `Root`, `Key`, `Name`)' \
    "INSERT INTO \`_QvRegistry\` (\`Root\`, \`Key\`, \`Name\`) VALUES (2, 'Software', '*')" \
    "INSERT INTO \`_QvRegistry\` (\`Root\`, \`Key\`) VALUES (2, 'Software\\Microsoft\\Windows\\CurrentVersion\\Run')" \
    "$registry" "${rows[@]}"
expect registry QVBP20 \
    "$B20" \
    'QVBP20\t1\tRegistry entry r1 contains an asterisk in the Name column. This will cause Windows Installer to attempt to remove a root registry key HKEY_LOCAL_MACHINE\\SOFTWARE.\t\tRegistry\tKey\tr1' \
    'QVBP20\t2\tRegistry entry r2 installs to a key that is not recommended for installation with software applications. Installing this entry could have an adverse effect on target machines (HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Run\\Sub).\t\tRegistry\tKey\tr2'

# Without _QvRegistry the check ends in message 124.
build noreference "$registry" "${rows[@]}"
expect noreference QVBP20 \
    "$B20" \
    'QVBP20\t0\tAn unexpected exception occurred in running QVBP20. -2147023281:  Windows Installer Error 2228: , _QvRegistry, SELECT * FROM `_QvRegistry`\nMsiOpenDatabaseView()'

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
