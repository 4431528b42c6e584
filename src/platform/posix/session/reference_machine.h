// The one fixed machine every native session runs on: 64-bit Windows 10,
// system drive C:, user "User", an administrator. Every value a session can
// see of "the system" comes from the tables in reference_machine.cpp, so the
// output of a run is the same on every host.
#pragma once

#include <string>
#include <vector>

namespace qv::posix::session {

struct MachineValue {
    const wchar_t* name;
    const wchar_t* value;
};

// Which installation context a folder value belongs to.
enum class FolderContext { PerMachine, PerUser };

struct ReferenceMachine {
    // System properties set in every session, whatever the package says.
    static const std::vector<MachineValue>& properties();
    // Properties the machine sets only when the package does not author them.
    static const std::vector<MachineValue>& defaults();
    // Folder properties that depend on the installation context.
    static const std::vector<MachineValue>& folders(FolderContext context);
    // ProgramFilesFolder and its kin for a dual-purpose package installed per
    // user (ALLUSERS=2 with MSIINSTALLPERUSER=1).
    static const std::vector<MachineValue>& per_user_program_files();
    // The environment block seen by [%Name] and %Name.
    static const std::vector<MachineValue>& environment();
};

}  // namespace qv::posix::session
