#!/usr/bin/env bash
# Runs `qvice --no-reference --checks NAME` over fixture packages of signed
# images and .NET assemblies made here (mingw, openssl, osslsigncode, mcs,
# gcab) and compares every output line: QVICE02, QVUWP12, QVUWP13.
# Usage: checks_trust.sh QVICE WORKDIR
source "$(dirname "$0")/lib/checks.bash" "$@"

mkdir -p files && cd files || exit 1
echo 'int main(void) { return 7; }' > a.c
i686-w64-mingw32-gcc -O1 -s a.c -o app.exe || exit 1
openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 3650 -subj '/CN=qvice script root' \
    -addext 'basicConstraints=critical,CA:TRUE' -addext 'keyUsage=critical,keyCertSign' >/dev/null 2>&1 || exit 1
openssl req -newkey rsa:2048 -nodes -keyout code.key -out code.csr -subj '/CN=qvice script signer' >/dev/null 2>&1 || exit 1
printf 'basicConstraints=CA:FALSE\nextendedKeyUsage=codeSigning\n' > code.ext
openssl x509 -req -in code.csr -CA ca.pem -CAkey ca.key -CAcreateserial -out code.pem -days 3650 \
    -extfile code.ext >/dev/null 2>&1 || exit 1
osslsigncode sign -certs code.pem -key code.key -h sha256 -in app.exe -out signed.exe >/dev/null 2>&1 || exit 1
tfa='[assembly: System.Runtime.Versioning.TargetFramework'
main='class P { static void Main() {} }'
echo "$tfa(\".NETFramework,Version=v4.6\", FrameworkDisplayName = \".NET Framework 4.6\")] $main" > fx.cs
echo "$tfa(\".NETCoreApp,Version=v1.0\")]" > core.cs
echo "$main" > none.cs
mcs -sdk:4 -out:fx.exe fx.cs >/dev/null 2>&1 && mcs -sdk:4 -target:library -out:core.dll core.cs >/dev/null 2>&1 &&
    mcs -sdk:4 -out:none.exe none.cs >/dev/null 2>&1 || exit 1
# A CLR 2 assembly: the metadata version text rewritten (only the version 4
# profile is installed).
python3 -c "import sys; b = open('none.exe', 'rb').read(); open('clr2.exe', 'wb').write(b.replace(b'v4.0.30319', b'v2.0.50727', 1))"
cd .. || exit 1

file_row() { echo "INSERT INTO \`File\` (\`File\`, \`Component_\`, \`FileName\`, \`FileSize\`, \`Attributes\`, \`Sequence\`) VALUES ('$1', 'Main', '$2', 1, $3, $4)"; }
FILE="CREATE TABLE \`File\` (\`File\` CHAR(72) NOT NULL, \`Component_\` CHAR(72) NOT NULL, \`FileName\` CHAR(255) NOT NULL LOCALIZABLE, \`FileSize\` LONG NOT NULL, \`Version\` CHAR(72), \`Language\` CHAR(20), \`Attributes\` SHORT, \`Sequence\` SHORT NOT NULL PRIMARY KEY \`File\`)"
MAIN="INSERT INTO \`Component\` (\`Component\`, \`ComponentId\`, \`Directory_\`, \`Attributes\`) VALUES ('Main', '{11111111-1111-1111-1111-111111111111}', 'INSTALLDIR', 0)"
BASE=("$DIR" "$(dir_row TARGETDIR '' SourceDir)" "$(dir_row INSTALLDIR TARGETDIR App)" "$COMP" "$FILE" "$MAIN")
located() { echo "$1${T}$2${T}$3${T}${T}File${T}File${T}$4"; }

# QVICE02: the extensions of _QVSignedExtension; the image signed by a root
# that is not trusted is as unsigned as the plain one; a text file is not asked.
SIGNED="CREATE TABLE \`_QVSignedExtension\` (\`Extension\` CHAR(32) NOT NULL PRIMARY KEY \`Extension\`)"
new_package ice02 "${BASE[@]}" "$SIGNED" "INSERT INTO \`_QVSignedExtension\` (\`Extension\`) VALUES ('EXE')" \
    "$(file_row Signed signed.exe 8192 1)" "$(file_row Plain 'PLAIN.EXE|Plain Tool.exe' 8192 2)" \
    "$(file_row Note note.txt 8192 3)" || exit 1
mkdir -p App && cp files/signed.exe App/signed.exe && cp files/app.exe 'App/Plain Tool.exe' && cp files/app.exe App/note.txt
unsigned() { located QVICE02 1 "File $1 in Component Main is not digitally signed. All .exe files distributed to Windows Vista and later must be signed." "$2"; }
expect ice02 QVICE02 "QVICE02${T}3${T}QVICE02 - Validate that all executable files included with the installation are digitally signed" \
    "$(unsigned signed.exe Signed)" "$(unsigned 'Plain Tool.exe' Plain)"

# With the script's root trusted through --trust the signed image passes;
# a file that holds no certificate is refused as an option.
EXTRA_ARGS=(--trust files/ca.pem)
expect ice02 QVICE02 "QVICE02${T}3${T}QVICE02 - Validate that all executable files included with the installation are digitally signed" \
    "$(unsigned 'Plain Tool.exe' Plain)"
EXTRA_ARGS=()
got=$("$qvice" --trust files/a.c ice02.msi 2>&1)
status=$?
if [ "$status" -eq 2 ] && [[ "$got" == "qvice: cannot trust files/a.c: "* ]]; then
    passed=$((passed + 1))
else
    failed=$((failed + 1))
    echo "FAIL --trust with a file of no certificate: status $status, $got"
fi

# QVUWP12: a .NET Framework target (the display name's named argument is
# dropped), no target at all, a .NET Core target, and a native image.
new_package uwp12 "${BASE[@]}" "$(file_row Fx fx.exe 8192 1)" "$(file_row None none.exe 8192 2)" \
    "$(file_row Core core.dll 8192 3)" "$(file_row Native app.exe 8192 4)" || exit 1
cp files/fx.exe files/none.exe files/core.dll files/app.exe App/
expect uwp12 QVUWP12 "QVUWP12${T}3${T}QVUWP12 - Checks for the presence of .NET assemblies that are incompatible with Windows Nano Server" \
    "$(located QVUWP12 1 'File Fx in Component Main is a .NET assembly that was compiled against .NETFramework,Version=v4.6. Windows Nano Server supports only .NET Core applications.' Fx)" \
    "$(located QVUWP12 1 'File None in Component Main is a .NET assembly that was compiled against .NET Framework. Windows Nano Server supports only .NET Core applications.' None)"

# QVUWP13, files in an embedded cabinet: a CLR 2 assembly whose configuration
# file opts into version 4 passes, one without it does not; CLR 4 passes.
mkdir -p cab && cp files/clr2.exe cab/Tool && cp files/clr2.exe cab/Old && cp files/none.exe cab/New
printf '<configuration><startup><supportedRuntime version="v2.0.50727"/><supportedRuntime version="v4.0"/></startup></configuration>' > cab/ToolConfig
(cd cab && gcab -c -n ../app.cab Tool ToolConfig Old New >/dev/null 2>&1) || exit 1
MEDIA="CREATE TABLE \`Media\` (\`DiskId\` SHORT NOT NULL, \`LastSequence\` SHORT NOT NULL, \`DiskPrompt\` CHAR(64), \`Cabinet\` CHAR(255), \`VolumeLabel\` CHAR(32), \`Source\` CHAR(72) PRIMARY KEY \`DiskId\`)"
PROP="CREATE TABLE \`Property\` (\`Property\` CHAR(72) NOT NULL, \`Value\` LONGCHAR NOT NULL LOCALIZABLE PRIMARY KEY \`Property\`)"
new_package uwp13 "${BASE[@]}" "$MEDIA" "$PROP" \
    "INSERT INTO \`Property\` (\`Property\`, \`Value\`) VALUES ('ProductCode', '{22222222-2222-2222-2222-222222222222}')" \
    "INSERT INTO \`Media\` (\`DiskId\`, \`LastSequence\`, \`Cabinet\`) VALUES (1, 4, '#app.cab')" \
    "$(file_row Tool Tool.exe 0 1)" "$(file_row ToolConfig tool.EXE.CONFIG 0 2)" "$(file_row Old old.exe 0 3)" \
    "$(file_row New new.exe 0 4)" || exit 1
msibuild uwp13.msi -a app.cab app.cab >/dev/null 2>&1 || exit 1
expect uwp13 QVUWP13 "QVUWP13${T}3${T}QVUWP13 - Checks for the presence of .NET assemblies that do not support the latest version of .NET Framework" \
    "$(located QVUWP13 1 'File Old in Component Main is a .NET assembly that does not support the latest version of .NET Framework. Windows Store applications always run on the latest version of .NET Framework.' Old)"

finish
