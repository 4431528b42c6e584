#!/usr/bin/env bash
# Runs `qvice --no-reference --checks NAME` over fixture packages of the
# component and file checks, built with msibuild (and gcab for an embedded
# cabinet), and compares every output line, banner included.
# Usage: checks_component_file.sh QVICE WORKDIR
source "$(dirname "$0")/lib/checks.bash" "$@"

PROP="CREATE TABLE \`Property\` (\`Property\` CHAR(72) NOT NULL, \`Value\` LONGCHAR NOT NULL PRIMARY KEY \`Property\`)"
comp_row() { echo "INSERT INTO \`Component\` (\`Component\`, \`ComponentId\`, \`Directory_\`, \`Attributes\`) VALUES ('$1', '{11111111-1111-1111-1111-111111111111}', '$2', $3)"; }
FILE="CREATE TABLE \`File\` (\`File\` CHAR(72) NOT NULL, \`Component_\` CHAR(72) NOT NULL, \`FileName\` CHAR(255) NOT NULL, \`FileSize\` LONG NOT NULL, \`Version\` CHAR(72), \`Language\` CHAR(20), \`Attributes\` SHORT, \`Sequence\` SHORT NOT NULL PRIMARY KEY \`File\`)"
file_row() { echo "INSERT INTO \`File\` (\`File\`, \`Component_\`, \`FileName\`, \`FileSize\`, \`Version\`, \`Attributes\`, \`Sequence\`) VALUES ('$1', 'Main', '$2', 10, '$3', 0, $4)"; }
MEDIA="CREATE TABLE \`Media\` (\`DiskId\` SHORT NOT NULL, \`LastSequence\` SHORT NOT NULL, \`DiskPrompt\` CHAR(64), \`Cabinet\` CHAR(255), \`VolumeLabel\` CHAR(32), \`Source\` CHAR(72) PRIMARY KEY \`DiskId\`)"
FEAT="CREATE TABLE \`Feature\` (\`Feature\` CHAR(38) NOT NULL, \`Feature_Parent\` CHAR(38), \`Title\` CHAR(64), \`Description\` CHAR(255), \`Display\` SHORT, \`Level\` SHORT NOT NULL, \`Directory_\` CHAR(72), \`Attributes\` SHORT NOT NULL PRIMARY KEY \`Feature\`)"
FC="CREATE TABLE \`FeatureComponents\` (\`Feature_\` CHAR(38) NOT NULL, \`Component_\` CHAR(72) NOT NULL PRIMARY KEY \`Feature_\`, \`Component_\`)"
HASH="CREATE TABLE \`MsiFileHash\` (\`File_\` CHAR(72) NOT NULL, \`Options\` SHORT NOT NULL, \`HashPart1\` LONG NOT NULL, \`HashPart2\` LONG NOT NULL, \`HashPart3\` LONG NOT NULL, \`HashPart4\` LONG NOT NULL PRIMARY KEY \`File_\`)"

# QVBP07: one linked feature and component, one of each without a link.
new_package bp07 "$FEAT" "$COMP" "$FC" \
    "INSERT INTO \`Feature\` (\`Feature\`, \`Level\`, \`Attributes\`) VALUES ('Linked', 1, 0)" \
    "INSERT INTO \`Feature\` (\`Feature\`, \`Level\`, \`Attributes\`) VALUES ('Empty', 1, 0)" \
    "$(comp_row Used TARGETDIR 0)" "$(comp_row Orphan TARGETDIR 0)" \
    "INSERT INTO \`FeatureComponents\` (\`Feature_\`, \`Component_\`) VALUES ('Linked', 'Used')" || exit 1
expect bp07 QVBP07 "QVBP07${T}3${T}QVBP07 - Reports a warning for a Feature or a Component not associated with any Components or Features" \
    "QVBP07${T}2${T}Feature Empty has no components.${T}${T}Feature${T}Feature${T}Empty" \
    "QVBP07${T}2${T}Component Orphan is not associated with any features.${T}${T}Component${T}Component${T}Orphan"

# QVBP11 and QVBP17 over names only.
new_package names "$FILE" "$(file_row Native 'N.DLL|Lib.NI.dll' '' 1)" "$(file_row Later 'lib.ni.dll.old' '' 2)" \
    "$(file_row Help 'guide.HLP' '' 3)" "$(file_row Runtime 'WinHlp32.exe' '' 4)" || exit 1
expect names QVBP11 "QVBP11${T}3${T}QVBP11 - Reports a warning for each file that appears to be a precompiled .NET assembly" \
    "QVBP11${T}2${T}File 'Native' appears to be a precompiled native image of a .NET assembly. This may decrease the efficiency compared to precompiling on the target machine.${T}${T}File${T}File${T}Native"
help=("QVBP17${T}3${T}QVBP17 - Validate that no .hlp files or WinHelp run-time files are included in the installation."
    "QVBP17${T}1${T}File guide.HLP in Component Main is a WinHelp file and may not be distributed to Windows Vista or later${T}${T}File${T}File${T}Help"
    "QVBP17${T}1${T}File WinHlp32.exe in Component Main is a WinHelp run-time file and may not be distributed to Windows Vista or later${T}${T}File${T}File${T}Runtime")
expect names QVBP17 "${help[@]}"
expect names QVICE13 "${help[@]}"

# QVBP12: SelfReg, then a RegSvr32 action whose type runs an executable.
new_package bp12 "CREATE TABLE \`SelfReg\` (\`File_\` CHAR(72) NOT NULL, \`Cost\` SHORT PRIMARY KEY \`File_\`)" \
    "INSERT INTO \`SelfReg\` (\`File_\`) VALUES ('Ocx')" \
    "CREATE TABLE \`CustomAction\` (\`Action\` CHAR(72) NOT NULL, \`Type\` SHORT NOT NULL, \`Source\` CHAR(72), \`Target\` CHAR(255) PRIMARY KEY \`Action\`)" \
    "INSERT INTO \`CustomAction\` (\`Action\`, \`Type\`, \`Source\`, \`Target\`) VALUES ('Reg', 34, 'x', 'REGSVR32.exe /s a.ocx')" \
    "INSERT INTO \`CustomAction\` (\`Action\`, \`Type\`, \`Source\`, \`Target\`) VALUES ('Dll', 1, 'x', 'regsvr32.exe')" || exit 1
expect bp12 QVBP12 "QVBP12${T}3${T}QVBP12 - Reports an error for each file that is self-registered" \
    "QVBP12${T}1${T}File 'Ocx' is self-registered. Best practices encourage authoring COM and Registry table data into the installer package.${T}${T}SelfReg${T}File_${T}Ocx" \
    "QVBP12${T}1${T}Custom Action 'Reg' appears to invoke self-registration via RegSvr32. Best practices encourage authoring COM and Registry table data into the installer package.${T}${T}CustomAction${T}Target${T}Reg"

# QVBP14: a text file out of an embedded cabinet recorded with a version,
# an unversioned file with a hash row and one without. The ProductCode row
# makes it a product: a merge module's files are looked for in its own cabinet.
mkdir -p cab && printf 'text' > cab/Text && (cd cab && gcab -c -z ../files.cab Text >/dev/null 2>&1) || { echo "gcab failed"; exit 1; }
new_package bp14 "$PROP" "INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('ProductCode', '{22222222-2222-2222-2222-222222222222}')" "$DIR" "$(dir_row TARGETDIR '' SourceDir)" "$(dir_row INSTALLDIR TARGETDIR App)" \
    "$COMP" "$(comp_row Main INSTALLDIR 0)" "$FILE" "$MEDIA" "$HASH" \
    "$(file_row Text 'text.txt' '1.0' 1)" "$(file_row Hashed 'h.txt' '' 2)" "$(file_row Bare 'b.txt' '' 3)" \
    "INSERT INTO \`Media\` (\`DiskId\`, \`LastSequence\`, \`Cabinet\`) VALUES (1, 3, '#files.cab')" \
    "INSERT INTO \`MsiFileHash\` (\`File_\`, \`Options\`, \`HashPart1\`, \`HashPart2\`, \`HashPart3\`, \`HashPart4\`) VALUES ('Hashed', 0, 1, 2, 3, 4)" || exit 1
msibuild bp14.msi -a files.cab files.cab >/dev/null 2>&1 || { echo "msibuild -a failed"; exit 1; }
PATCH="This may require the source package when installing a patch."
expect bp14 QVBP14 "QVBP14${T}3${T}QVBP14 - Reports an error for each file without either a file version or an MsiFileHash record" \
    "QVBP14${T}1${T}File 'Text' is recorded as version '1.0' but is actually version ''. $PATCH${T}${T}File${T}Version${T}Text" \
    "QVBP14${T}1${T}File 'Bare' has neither a file version nor an MsiFileHash record. $PATCH${T}${T}File${T}File${T}Bare"

# QVBP16: straight under ProgramFiles64Folder, below it, marked 64-bit, and
# the correctly spelt common files folder, which is not recognised.
new_package bp16 "$DIR" "$(dir_row TARGETDIR '' SourceDir)" "$(dir_row ProgramFiles64Folder TARGETDIR .)" \
    "$(dir_row App ProgramFiles64Folder App)" "$(dir_row CommonFiles64Folder TARGETDIR .)" \
    "$COMP" "$(comp_row Top ProgramFiles64Folder 0)" "$(comp_row Below App 0)" "$(comp_row Wide App 256)" \
    "$(comp_row Common CommonFiles64Folder 0)" || exit 1
W64="is not marked with the 64-bit component attribute. This may allow files to be installed to an incorrect location."
expect bp16 QVBP16 "QVBP16${T}3${T}QVBP16 - Reports an error for each component installed to a 64-bit location and is not set as a 64-bit component" \
    "QVBP16${T}1${T}Component Top installed to 64-bit location ProgramFiles64Folder $W64${T}${T}Component${T}Attributes${T}Top" \
    "QVBP16${T}1${T}Component Below installed to 64-bit location App $W64${T}${T}Component${T}Attributes${T}Below"

finish
