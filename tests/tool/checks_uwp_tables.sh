#!/usr/bin/env bash
# Runs `qvice --no-reference --checks` over fixture packages of the startup,
# permission and folder checks (QVICE22, QVICE23, QVICE25) and the app package
# table, shortcut, COM and file type checks (QVUWP01, QVUWP03-05, QVUWP10,
# QVUWP20), comparing every line, banners included.
# Usage: checks_uwp_tables.sh QVICE WORKDIR
source "$(dirname "$0")/lib/checks.bash" "$@"

REG="CREATE TABLE \`Registry\` (\`Registry\` CHAR(72) NOT NULL, \`Root\` SHORT NOT NULL, \`Key\` CHAR(255) NOT NULL LOCALIZABLE, \`Name\` CHAR(255) LOCALIZABLE, \`Value\` LONGCHAR LOCALIZABLE, \`Component_\` CHAR(72) NOT NULL PRIMARY KEY \`Registry\`)"
reg_row() { echo "INSERT INTO \`Registry\` (\`Registry\`, \`Root\`, \`Key\`, \`Component_\`) VALUES ('$1', $2, '$3', 'Main')"; }
SC="CREATE TABLE \`Shortcut\` (\`Shortcut\` CHAR(72) NOT NULL, \`Directory_\` CHAR(72) NOT NULL, \`Name\` CHAR(128) NOT NULL, \`Component_\` CHAR(72) NOT NULL, \`Target\` CHAR(72) NOT NULL PRIMARY KEY \`Shortcut\`)"
sc_row() { echo "INSERT INTO \`Shortcut\` (\`Shortcut\`, \`Directory_\`, \`Name\`, \`Component_\`, \`Target\`) VALUES ('$1', '$2', '$1', 'Main', '$3')"; }
comp_row() { echo "INSERT INTO \`Component\` (\`Component\`, \`ComponentId\`, \`Directory_\`, \`Attributes\`) VALUES ('$1', '{11111111-1111-1111-1111-111111111111}', '$2', 0)"; }
LOCK="CREATE TABLE \`LockPermissions\` (\`LockObject\` CHAR(72) NOT NULL, \`Table\` CHAR(32) NOT NULL, \`Domain\` CHAR(255), \`User\` CHAR(255) NOT NULL, \`Permission\` LONG PRIMARY KEY \`LockObject\`, \`Table\`, \`Domain\`, \`User\`)"
lock_row() { echo "INSERT INTO \`LockPermissions\` (\`LockObject\`, \`Table\`, \`Domain\`, \`User\`, \`Permission\`) VALUES ('$1', '$2', '$3', '$4', $5)"; }
FEATURE="CREATE TABLE \`Feature\` (\`Feature\` CHAR(38) NOT NULL, \`Feature_Parent\` CHAR(38), \`Title\` CHAR(64) LOCALIZABLE, \`Display\` SHORT, \`Level\` SHORT NOT NULL, \`Directory_\` CHAR(72), \`Attributes\` SHORT NOT NULL PRIMARY KEY \`Feature\`)"
key_table() { echo "CREATE TABLE \`$1\` (\`$1\` CHAR(72) NOT NULL PRIMARY KEY \`$1\`)"; }
key_row() { echo "INSERT INTO \`$1\` (\`$1\`) VALUES ('$2')"; }
RUN='Software\Microsoft\Windows\CurrentVersion\Run'

# QVICE22: a Run key below HKLM's in capitals, HKCU's RunOnce, and shortcuts
# two levels below the Startup folder and in the Programs menu.
new_package startup "$REG" "$(reg_row below 2 'SOFTWARE\Microsoft\Windows\CurrentVersion\Run\Quill')" \
    "$(reg_row once 1 "${RUN}Once")" "$(reg_row undefined -1 "$RUN")" "$DIR" "$(dir_row TARGETDIR '' SourceDir)" \
    "$(dir_row StartupFolder TARGETDIR .)" "$(dir_row Sub StartupFolder Sub)" "$(dir_row Deep Sub Deep)" \
    "$(dir_row ProgramMenuFolder TARGETDIR .)" "$SC" "$(sc_row deep Deep '[#f]')" "$(sc_row menu ProgramMenuFolder '[#f]')" || exit 1
expect startup QVICE22 "QVICE22${T}3${T}QVICE22 - Verifies that the application is not set to start automatically on system startup" \
    "QVICE22${T}1${T}Registry key 'HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run\\Quill' in Component 'Main' sets a Run key.${T}${T}Registry${T}Key${T}below" \
    "QVICE22${T}1${T}Shortcut 'deep' in Component 'Main' targets the startup folder.${T}${T}Shortcut${T}Directory_${T}deep"

# QVICE23: delete child is insecure for a folder but not for a file; a
# bracketed user is skipped; of two rows for one object the last one fetched
# (Administrators) stands; a bracketed domain reaches the location intact.
new_package locks "$LOCK" "$(lock_row f File '' Users 64)" "$(lock_row d CreateFolder '' Users 64)" \
    "$(lock_row r Registry '' '[LogonUser]' 268435456)" "$(lock_row o File '' Administrators 2)" \
    "$(lock_row o File '' Guest 2)" "$(lock_row w File '[Domain]' Users 1073741824)" || exit 1
expect locks QVICE23 "QVICE23${T}3${T}QVICE23 - Verifies that all executable files, directories, and registry keys have strong and appropriate ACLs." \
    "QVICE23${T}1${T}LockObject 'd' in Component '' sets insecure permissions.${T}${T}LockPermissions${T}Permission${T}d${T}CreateFolder${T}${T}Users" \
    "QVICE23${T}1${T}LockObject 'w' in Component '' sets insecure permissions.${T}${T}LockPermissions${T}Permission${T}w${T}File${T}[Domain]${T}Users"

# QVICE25: a component in the Windows folder with no files, one two levels
# below the System folder, one in Program Files.
new_package windows "$DIR" "$(dir_row TARGETDIR '' SourceDir)" "$(dir_row WindowsFolder TARGETDIR .)" \
    "$(dir_row SystemFolder TARGETDIR .)" "$(dir_row Sub SystemFolder Sub)" "$(dir_row Deep Sub Deep)" \
    "$(dir_row ProgramFilesFolder TARGETDIR .)" "$COMP" "$(comp_row Win WindowsFolder)" "$(comp_row Deep Deep)" \
    "$(comp_row App ProgramFilesFolder)" || exit 1
expect windows QVICE25 "QVICE25${T}3${T}QVICE25 - Verifies that the installation does not install any files to the Windows directory or its subdirectories." \
    "QVICE25${T}1${T}The desintation of Component 'Deep' is the Windows folder or one of its subfolders.${T}${T}Component${T}Component${T}Deep" \
    "QVICE25${T}1${T}The desintation of Component 'Win' is the Windows folder or one of its subfolders.${T}${T}Component${T}Component${T}Win"

# QVUWP01, 03, 04, 05: a service, and two advertised shortcuts on a feature
# beside one on a missing feature.
new_package shortcuts "$FEATURE" "INSERT INTO \`Feature\` (\`Feature\`, \`Level\`, \`Attributes\`) VALUES ('Complete', 1, 0)" \
    "$SC" "$(sc_row one INSTALLDIR Complete)" "$(sc_row two INSTALLDIR Complete)" "$(sc_row gone INSTALLDIR Partial)" \
    "$(key_table ServiceInstall)" "$(key_row ServiceInstall svc)" || exit 1
B03="QVUWP03${T}3${T}QVUWP03 - Checks for the presence of shortcuts. Quillvane requires shortcuts to identify applications. Without shortcuts to identify applications, the package is invalid as there are no ways to start your app."
B04="QVUWP04${T}3${T}QVUWP04 - Checks for the presence of multiple shortcuts for Windows Store applications. Quillvane turns shortcuts into applications, and the Windows Store may disallow multiple applications."
B05="QVUWP05${T}3${T}QVUWP05 - Checks for the presence of shortcuts for Windows Nano Server applications. Quillvane will turn any shortcut into a tile if it points to an .exe installed by the package; however Windows Nano Server cannot display application tiles."
expect shortcuts QVUWP01,QVUWP03,QVUWP04,QVUWP05 \
    "QVUWP01${T}3${T}QVUWP01 - Checks for the presence of Windows services." \
    "QVUWP01${T}1${T}This package contains one or more Windows services. UWP app packages that target other devices than Windows Server do not support Windows services.${T}${T}ServiceInstall" \
    "$B03" "$B04" \
    "QVUWP04${T}1${T}This package contains more than one shortcut. Windows Store may not allow more than one application.${T}${T}Shortcut" \
    "$B05" \
    "QVUWP05${T}1${T}This package contains one or more shortcuts. Windows Nano Server cannot show application tiles.${T}${T}Shortcut"

# QVUWP10 and QVUWP20: an empty SelfReg, a ProgId row, a machine CLSID key
# beside the same key under HKEY_USERS; an extension listed for QVUWP20 in
# other capitals, and one listed with a dot.
new_package com "$(key_table SelfReg)" "$(key_table ProgId)" "$(key_row ProgId Quill.Document)" "$REG" \
    "$(reg_row machine 2 'Software\Classes\CLSID\{0A1B2C3D-0000-0000-0000-000000000001}\LocalServer32')" \
    "$(reg_row users 3 'Software\Classes\CLSID\{0A1B2C3D-0000-0000-0000-000000000001}\LocalServer32')" \
    "CREATE TABLE \`_QvViceFileTestEntries\` (\`Vice\` CHAR(72) NOT NULL, \`Test\` CHAR(255) NOT NULL, \`Value\` CHAR(255) PRIMARY KEY \`Vice\`, \`Test\`)" \
    "INSERT INTO \`_QvViceFileTestEntries\` (\`Vice\`, \`Test\`) VALUES ('QVUWP20', 'LNK')" \
    "INSERT INTO \`_QvViceFileTestEntries\` (\`Vice\`, \`Test\`) VALUES ('QVUWP20', '.url')" \
    "CREATE TABLE \`Extension\` (\`Extension\` CHAR(255) NOT NULL, \`Component_\` CHAR(72) NOT NULL, \`ProgId_\` CHAR(255), \`MIME_\` CHAR(64), \`Feature_\` CHAR(38) NOT NULL PRIMARY KEY \`Extension\`, \`Component_\`)" \
    "INSERT INTO \`Extension\` (\`Extension\`, \`Component_\`, \`Feature_\`) VALUES ('lnk', 'Main', 'Complete')" \
    "INSERT INTO \`Extension\` (\`Extension\`, \`Component_\`, \`Feature_\`) VALUES ('url', 'Main', 'Complete')" || exit 1
expect com QVUWP10,QVUWP20 "QVUWP10${T}3${T}QVUWP10 - Checks for the presence of COM registration" \
    "QVUWP10${T}1${T}Table ProgId contains one or more entries. Applications in UWP app packages cannot expose COM servers to other applications.${T}${T}ProgId" \
    "QVUWP10${T}1${T}Registry key HKEY_LOCAL_MACHINE\\Software\\Classes\\CLSID\\{0A1B2C3D-0000-0000-0000-000000000001}\\LocalServer32 in Component Main is COM data. Applications in UWP app packages cannot expose COM servers to other applications.${T}${T}Registry${T}Registry${T}machine" \
    "QVUWP20${T}3${T}QVUWP20 - Checks for the presence of file type associations that are reserved or forbidden" \
    "QVUWP20${T}1${T}Extension lnk in Component Main is a file type that is reserved or forbidden for UWP app packages.${T}${T}Extension${T}Extension${T}lnk${T}Main"

finish
