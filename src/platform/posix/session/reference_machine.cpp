// Every value of the reference machine, in one place. docs/reference-machine.md
// lists the same values; a test keeps the two in step.
#include "reference_machine.h"

namespace qv::posix::session {

const std::vector<MachineValue>& ReferenceMachine::properties() {
    static const std::vector<MachineValue> values = {
        {L"WindowsFolder", L"C:\\Windows\\"},
        {L"WindowsVolume", L"C:\\"},
        {L"SystemFolder", L"C:\\Windows\\SysWOW64\\"},
        {L"System64Folder", L"C:\\Windows\\System32\\"},
        {L"ProgramFilesFolder", L"C:\\Program Files (x86)\\"},
        {L"ProgramFiles64Folder", L"C:\\Program Files\\"},
        {L"CommonFilesFolder", L"C:\\Program Files (x86)\\Common Files\\"},
        {L"CommonFiles64Folder", L"C:\\Program Files\\Common Files\\"},
        {L"CommonAppDataFolder", L"C:\\ProgramData\\"},
        {L"FontsFolder", L"C:\\Windows\\Fonts\\"},
        {L"AppDataFolder", L"C:\\Users\\User\\AppData\\Roaming\\"},
        {L"LocalAppDataFolder", L"C:\\Users\\User\\AppData\\Local\\"},
        {L"PersonalFolder", L"C:\\Users\\User\\Documents\\"},
        {L"FavoritesFolder", L"C:\\Users\\User\\Favorites\\"},
        {L"SendToFolder", L"C:\\Users\\User\\AppData\\Roaming\\Microsoft\\Windows\\SendTo\\"},
        {L"RecentFolder", L"C:\\Users\\User\\AppData\\Roaming\\Microsoft\\Windows\\Recent\\"},
        {L"NetHoodFolder", L"C:\\Users\\User\\AppData\\Roaming\\Microsoft\\Windows\\Network Shortcuts\\"},
        {L"PrintHoodFolder", L"C:\\Users\\User\\AppData\\Roaming\\Microsoft\\Windows\\Printer Shortcuts\\"},
        {L"MyPicturesFolder", L"C:\\Users\\User\\Pictures\\"},
        {L"TempFolder", L"C:\\Users\\User\\AppData\\Local\\Temp\\"},
        {L"VersionNT", L"603"},
        {L"VersionNT64", L"603"},
        {L"WindowsBuild", L"9600"},
        {L"VersionMsi", L"5.00"},
        {L"Intel", L"6"},
        {L"Msix64", L"6"},
        {L"MsiAMD64", L"6"},
        {L"MsiNTProductType", L"1"},
        {L"Privileged", L"1"},
        {L"AdminUser", L"1"},
        {L"LogonUser", L"User"},
        {L"ComputerName", L"QVREF"},
        {L"UserLanguageID", L"1033"},
        {L"SystemLanguageID", L"1033"},
    };
    return values;
}

const std::vector<MachineValue>& ReferenceMachine::defaults() {
    static const std::vector<MachineValue> values = {
        {L"ROOTDRIVE", L"C:\\"},
        {L"INSTALLLEVEL", L"1"},
    };
    return values;
}

const std::vector<MachineValue>& ReferenceMachine::folders(FolderContext context) {
    static const std::vector<MachineValue> per_machine = {
        {L"DesktopFolder", L"C:\\Users\\Public\\Desktop\\"},
        {L"StartMenuFolder", L"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\"},
        {L"ProgramMenuFolder", L"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\"},
        {L"StartupFolder", L"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\StartUp\\"},
        {L"TemplateFolder", L"C:\\ProgramData\\Microsoft\\Windows\\Templates\\"},
        {L"AdminToolsFolder",
         L"C:\\ProgramData\\Microsoft\\Windows\\Start Menu\\Programs\\Administrative Tools\\"},
    };
    static const std::vector<MachineValue> per_user = {
        {L"DesktopFolder", L"C:\\Users\\User\\Desktop\\"},
        {L"StartMenuFolder", L"C:\\Users\\User\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\"},
        {L"ProgramMenuFolder", L"C:\\Users\\User\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs\\"},
        {L"StartupFolder",
         L"C:\\Users\\User\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs\\Startup\\"},
        {L"TemplateFolder", L"C:\\Users\\User\\AppData\\Roaming\\Microsoft\\Windows\\Templates\\"},
        {L"AdminToolsFolder",
         L"C:\\Users\\User\\AppData\\Roaming\\Microsoft\\Windows\\Start Menu\\Programs\\Administrative Tools\\"},
    };
    return context == FolderContext::PerMachine ? per_machine : per_user;
}

const std::vector<MachineValue>& ReferenceMachine::per_user_program_files() {
    static const std::vector<MachineValue> values = {
        {L"ProgramFilesFolder", L"C:\\Users\\User\\AppData\\Local\\Programs\\"},
        {L"ProgramFiles64Folder", L"C:\\Users\\User\\AppData\\Local\\Programs\\"},
        {L"CommonFilesFolder", L"C:\\Users\\User\\AppData\\Local\\Programs\\Common\\"},
        {L"CommonFiles64Folder", L"C:\\Users\\User\\AppData\\Local\\Programs\\Common\\"},
    };
    return values;
}

const std::vector<MachineValue>& ReferenceMachine::environment() {
    static const std::vector<MachineValue> values = {
        {L"ALLUSERSPROFILE", L"C:\\ProgramData"},
        {L"APPDATA", L"C:\\Users\\User\\AppData\\Roaming"},
        {L"CommonProgramFiles", L"C:\\Program Files\\Common Files"},
        {L"CommonProgramFiles(x86)", L"C:\\Program Files (x86)\\Common Files"},
        {L"CommonProgramW6432", L"C:\\Program Files\\Common Files"},
        {L"COMPUTERNAME", L"QVREF"},
        {L"ComSpec", L"C:\\Windows\\system32\\cmd.exe"},
        {L"HOMEDRIVE", L"C:"},
        {L"HOMEPATH", L"\\Users\\User"},
        {L"LOCALAPPDATA", L"C:\\Users\\User\\AppData\\Local"},
        {L"NUMBER_OF_PROCESSORS", L"2"},
        {L"OS", L"Windows_NT"},
        {L"Path", L"C:\\Windows\\system32;C:\\Windows;C:\\Windows\\System32\\Wbem;"
                  L"C:\\Windows\\System32\\WindowsPowerShell\\v1.0\\"},
        {L"PATHEXT", L".COM;.EXE;.BAT;.CMD;.VBS;.VBE;.JS;.JSE;.WSF;.WSH;.MSC"},
        {L"PROCESSOR_ARCHITECTURE", L"AMD64"},
        {L"ProgramData", L"C:\\ProgramData"},
        {L"ProgramFiles", L"C:\\Program Files"},
        {L"ProgramFiles(x86)", L"C:\\Program Files (x86)"},
        {L"ProgramW6432", L"C:\\Program Files"},
        {L"PUBLIC", L"C:\\Users\\Public"},
        {L"SystemDrive", L"C:"},
        {L"SystemRoot", L"C:\\Windows"},
        {L"TEMP", L"C:\\Users\\User\\AppData\\Local\\Temp"},
        {L"TMP", L"C:\\Users\\User\\AppData\\Local\\Temp"},
        {L"USERDOMAIN", L"QVREF"},
        {L"USERNAME", L"User"},
        {L"USERPROFILE", L"C:\\Users\\User"},
        {L"windir", L"C:\\Windows"},
    };
    return values;
}

}  // namespace qv::posix::session
