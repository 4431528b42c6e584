#!/usr/bin/env bash
# Runs `qvice --no-reference --checks NAME` over fixture packages with real
# i686 images beside them (manifests linked in with windres) and a filter
# document in the Binary table: QVUWP08, QVUWP09, QVICE11, QVICE06, QVICE12.
# Usage: checks_manifest.sh QVICE WORKDIR
source "$(dirname "$0")/lib/checks.bash" "$@"

manifest() {
    printf '%s' "<assembly xmlns='urn:schemas-microsoft-com:asm.v1' manifestVersion='1.0'><trustInfo xmlns='urn:schemas-microsoft-com:asm.v3'><security><requestedPrivileges><requestedExecutionLevel level='$1'$2/></requestedPrivileges></security></trustInfo></assembly>"
}
# image NAME LEVEL UIACCESS: an i686 program with that manifest as resource 1.
image() {
    manifest "$2" "$3" >"$1.xml"
    printf '1 24 "%s.xml"\n' "$1" >"$1.rc"
    i686-w64-mingw32-windres "$1.rc" -O coff -o "$1.res.o" && i686-w64-mingw32-gcc -s a.o "$1.res.o" -o "$1.exe"
}
echo 'int main(void) { return 0; }' >a.c
i686-w64-mingw32-gcc -c a.c -o a.o || exit 1
image admin requireAdministrator " uiAccess='false'" && image nouia asInvoker '' && image fine asInvoker " uiAccess='false'" || exit 1

comp_row() { echo "INSERT INTO \`Component\` (\`Component\`, \`ComponentId\`, \`Directory_\`, \`Attributes\`) VALUES ('$1', '{11111111-1111-1111-1111-111111111111}', '$2', 0)"; }
FILE="CREATE TABLE \`File\` (\`File\` CHAR(72) NOT NULL, \`Component_\` CHAR(72) NOT NULL, \`FileName\` CHAR(255) NOT NULL LOCALIZABLE, \`FileSize\` LONG NOT NULL, \`Version\` CHAR(72), \`Language\` CHAR(20), \`Attributes\` SHORT, \`Sequence\` SHORT NOT NULL PRIMARY KEY \`File\`)"
file_row() { echo "INSERT INTO \`File\` (\`File\`, \`Component_\`, \`FileName\`, \`FileSize\`, \`Attributes\`, \`Sequence\`) VALUES ('$1', '$2', '$3', 1, 8192, $4)"; }
MAN="CREATE TABLE \`_QVManifest\` (\`Extension\` CHAR(16) NOT NULL, \`XPath\` CHAR(255) NOT NULL, \`Attributes\` SHORT, \`Message\` LONGCHAR PRIMARY KEY \`Extension\`, \`XPath\`)"
man_row() { echo "INSERT INTO \`_QVManifest\` (\`Extension\`, \`XPath\`, \`Attributes\`, \`Message\`) VALUES ('$1', '$2', $3, '$4')"; }

new_package apps "$DIR" "$(dir_row TARGETDIR '' SourceDir)" "$(dir_row INSTALLDIR TARGETDIR App)" "$COMP" "$FILE" \
    "$(comp_row Main INSTALLDIR)" "$(file_row Admin Main admin.exe 1)" "$(file_row NoUia Main nouia.exe 2)" \
    "$(file_row Fine Main fine.exe 3)" "$(file_row Bare Main bare.exe 4)" "$(file_row Lib Main admin.dll 5)" \
    "$MAN" "$(man_row exe ' ' 0 'File %1 in Component %2 has no manifest.')" \
    "$(man_row .EXE '/v1:assembly/v3:trustInfo/v3:security/v3:requestedPrivileges/v3:requestedExecutionLevel' 1 'File %1 has no level (%3).')" || exit 1
mkdir -p App && cp admin.exe nouia.exe fine.exe App/ && cp a.o App/bare.exe && cp admin.exe App/admin.dll
at() { echo "${T}${T}File${T}File${T}$1"; }
expect apps QVUWP08 "QVUWP08${T}3${T}QVUWP08 - Checks for the presence of applications that require elevated privileges" \
    "QVUWP08${T}1${T}File admin.exe in Component Main is an application executable file that requires elevated privileges. Windows Store does not allow applications that require administrative privileges.$(at Admin)"
expect apps QVUWP09 "QVUWP09${T}3${T}QVUWP09 - Checks for the presence of applications that are allowed to bypass UI protection levels" \
    "QVUWP09${T}1${T}File nouia.exe in Component Main is an application executable file that is allowed to bypass UI protection levels to drive input to higher privilege windows on the desktop. UWP app packages do not support applications that are allowed to bypass UI protection levels.$(at NoUia)"
expect apps QVICE11 "QVICE11${T}3${T}QVICE11 - Validate that .exe files have embedded manifests with required information." \
    "QVICE11${T}2${T}File bare.exe in Component Main has no manifest.$(at Bare)"

# The protected resource checks over one filter document.
cat >filters.xml <<'XML'
<Filters><Exclude>
  <File name="shared.dll" path="[SystemFolder]"><Known filekey="Known"/></File>
  <File name="gone.dll" path="[SystemFolder]"/>
  <Registry wrp="1" key="HKEY_LOCAL_MACHINE\Software\Guarded"/>
  <Registry key="HKEY_LOCAL_MACHINE\Software\Plain"/>
</Exclude><Include><File name="gone.dll" path="[SYSTEMFOLDER]"/></Include></Filters>
XML
REG="CREATE TABLE \`Registry\` (\`Registry\` CHAR(72) NOT NULL, \`Root\` SHORT NOT NULL, \`Key\` CHAR(255) NOT NULL LOCALIZABLE, \`Name\` CHAR(255) LOCALIZABLE, \`Value\` LONGCHAR LOCALIZABLE, \`Component_\` CHAR(72) NOT NULL PRIMARY KEY \`Registry\`)"
reg_row() { echo "INSERT INTO \`Registry\` (\`Registry\`, \`Root\`, \`Key\`, \`Component_\`) VALUES ('$1', 2, '$2', 'Sys')"; }
new_package wrp "$DIR" "$(dir_row TARGETDIR '' SourceDir)" "$(dir_row SystemFolder TARGETDIR .)" \
    "$(dir_row Deep SystemFolder Deep)" "$(dir_row INSTALLDIR TARGETDIR App)" "$COMP" "$FILE" \
    "$(comp_row Sys SystemFolder)" "$(comp_row Sub Deep)" "$(comp_row Main INSTALLDIR)" \
    "$(file_row Shared Sys shared.dll 1)" "$(file_row Known Sys shared.dll 2)" "$(file_row Deeper Sub SHARED.DLL 3)" \
    "$(file_row Private Main shared.dll 4)" "$(file_row Gone Sys gone.dll 5)" "$REG" \
    "$(reg_row Under 'Software\Guarded\Settings')" "$(reg_row Over 'Software')" "$(reg_row Plain 'Software\Plain')" || exit 1
mkdir -p Binary && cp filters.xml Binary/_QVFilters.xml
printf 'Name\tData\ns72\tv0\nBinary\tName\n_QVFilters.xml\t_QVFilters.xml\n' >Binary.idt
msibuild wrp.msi -i Binary.idt || exit 1
expect wrp QVICE06 "QVICE06${T}3${T}QVICE06 - Validate that the installation does not include any files protected by Windows Resource Protection" \
    "QVICE06${T}1${T}File shared.dll in Component Sys is a Windows Protected File. Protected files may not be distributed to Windows Vista and later.$(at Shared)" \
    "QVICE06${T}2${T}File SHARED.DLL in Component Sub has the same file name as a Windows Protected File, but appears to be distributed to a different path.$(at Deeper)"
expect wrp QVICE12 "QVICE12${T}3${T}QVICE12 - Validates that no protected registry keys are modified." \
    "QVICE12${T}1${T}Registry key HKEY_LOCAL_MACHINE\\Software\\Guarded\\Settings in Component Sys is a protected registry key. Protected registry keys may not be modified on Windows Vista and later.${T}${T}Registry${T}Key${T}Under"
# Without the document both checks end in message 124.
expect apps QVICE12 "QVICE12${T}3${T}QVICE12 - Validates that no protected registry keys are modified." \
    "QVICE12${T}0${T}An unexpected exception occurred in running QVICE12. -2147023281:  Windows Installer Error 2228: , Binary, SELECT * FROM \`Binary\` WHERE \`Name\`='_QVFilters.xml'
MsiOpenDatabaseView()"

finish
