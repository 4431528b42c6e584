// Import and security inspection of a delivered executable: is it 16-bit,
// 32-bit or managed, which listed APIs it imports, whether it needs the
// Visual Basic 6 runtime, whether its header opts in to the exploit
// mitigations.
//
// These run over a file already on disk (the content inspector resolves
// and extracts it first, and returns before calling them when it cannot).
// What they need from the running check - debug lines, findings and the
// API lists of _QVDeprecatedApi - comes through an InspectionHost.
//
// Reads go through PeImage, so a malformed offset raises
// qv::view_access_error, which ends the check through its catch-all.
#pragma once

#include <functional>
#include <string>

#include "foundation/stringx.h"
#include "platform/platform.h"

class CQVIceBase;
class PeImage;

namespace qv {

class InspectionHost {
public:
    virtual ~InspectionHost() = default;
    virtual void DebugLine(const _stringx<>& text) = 0;
    virtual void ReportMessage(UINT id, const _stringx<>& arg1, const _stringx<>& arg2, const _stringx<>& arg3,
                               int type) = 0;
    // Whether the import is listed with exactly this kind (an unlisted
    // module or function has kind 0). Module names ignore case, function
    // names do not.
    virtual bool IsApiKindByOrdinal(int kind, const _stringx<>& module, WORD ordinal) = 0;
    virtual bool IsApiKindByName(int kind, const _stringx<>& module, const _stringx<>& name) = 0;
};

// A host whose lines and findings go to a check; the API lists stay to the
// class that holds them.
class CheckInspectionHost : public InspectionHost {
public:
    explicit CheckInspectionHost(CQVIceBase& check) : m_check(check) {}
    void DebugLine(const _stringx<>& text) override;
    void ReportMessage(UINT id, const _stringx<>& arg1, const _stringx<>& arg2, const _stringx<>& arg3,
                       int type) override;

protected:
    CQVIceBase& m_check;
};

// The file an operation looks at: its File key, long file name, component
// and the path of its bytes on disk.
struct InspectedFile {
    _stringx<> key;
    _stringx<> fileName;
    _stringx<> component;
    _stringx<> path;
};

// DYNAMICBASE, NXCOMPAT and the no-SEH bit of DllCharacteristics.
constexpr WORD kDynamicBase = 0x0040;
constexpr WORD kNxCompat = 0x0100;
constexpr WORD kNoSeh = 0x0400;

// A DOS program (class 1) or an NE image (class 2).
bool Is16Bit(InspectionHost& host, const InspectedFile& file);
// A PE image of class 5 or 6 for machine 0x14C.
bool Is32Bit(InspectionHost& host, const InspectedFile& file);
// A PE image whose CLR directory lies in a section.
bool IsDotNetAssembly(InspectionHost& host, const InspectedFile& file);

// Reports messageId (file name, component, "module!function", type) for
// each import of directory 1 listed with exactly this kind.
void CheckImportedApis(InspectionHost& host, const InspectedFile& file, int kind, UINT messageId, int type);
// Reports messageId (file name, component, path, type) once when the image
// imports msvbvm60.dll.
void CheckVb6Dependency(InspectionHost& host, const InspectedFile& file, UINT messageId, int type);
// Reports messageId (key, component, bit name, type) for DYNAMICBASE clear,
// NXCOMPAT clear, then the no-SEH bit set, in that order. A file that is
// no PE image ends the check (its header is read regardless).
void CheckAppSecurity(InspectionHost& host, const InspectedFile& file, UINT messageId, int type);

// The import walk itself over an open image: calls visit(module, ordinal,
// name) for each thunk of directory 1 (ordinal imports with an empty name,
// name imports with ordinal -1). Descriptors end at the first with a zero
// OriginalFirstThunk or Name. In the 64-bit walk a name thunk of 2^32 or
// more is skipped with the debug line "Skipping import from %s because of
// large RVA". False with "File missing Imports section" when the import
// directory lies in no section.
using ImportVisitor = std::function<void(const _stringx<>& module, int ordinal, const _stringx<>& name)>;
bool WalkImports(InspectionHost& host, const PeImage& image, bool wide, const ImportVisitor& visit);

// Narrow text of an image (code page 1252) as wide text.
_stringx<> WidenImageText(const std::string& text);

}  // namespace qv
