#include "inspect/imports.h"

#include "framework/check_base.h"
#include "inspect/pe_image.h"

namespace qv {

namespace {

constexpr DWORD kImportDirectory = 1;
constexpr DWORD kDescriptorSize = 20;
constexpr WORD kMachineI386 = 0x14C;

const wchar_t* const kNoImports = L"File has no Imports section";
const wchar_t* const kMissingImports = L"File missing Imports section";

bool HasImportDirectory(const PeImage& image)
{
    return image.GetNtHeaders() != nullptr && image.GetDirectorySize(kImportDirectory) != 0;
}

}  // namespace

void CheckInspectionHost::DebugLine(const _stringx<>& text) { m_check.DebugLine(text); }

void CheckInspectionHost::ReportMessage(UINT id, const _stringx<>& arg1, const _stringx<>& arg2,
                                        const _stringx<>& arg3, int type)
{
    m_check.ReportMessage(id, arg1, arg2, arg3, type);
}

_stringx<> WidenImageText(const std::string& text)
{
    if (text.empty())
        return _stringx<>();
    const int length = MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<size_t>(length > 0 ? length : 0), L'\0');
    if (length > 0)
        MultiByteToWideChar(CP_ACP, 0, text.data(), static_cast<int>(text.size()), wide.data(), length);
    return _stringx<>(std::wstring_view(wide));
}

bool Is16Bit(InspectionHost& host, const InspectedFile& file)
{
    host.DebugLine(qv::Format(L"Checking if file %s is 16-bit", file.key));
    const ExeFile image(file.path.c_str());
    return image.GetExeStatus() == ExeFile::Classified &&
           (image.GetExeClass() == ExeClassDos || image.GetExeClass() == ExeClassNe);
}

bool Is32Bit(InspectionHost& host, const InspectedFile& file)
{
    host.DebugLine(qv::Format(L"Checking if file %s is 32-bit", file.key));
    const PeImage image(file.path.c_str());
    return image.GetNtHeaders() != nullptr && image.GetMachine() == kMachineI386;
}

bool IsDotNetAssembly(InspectionHost& host, const InspectedFile& file)
{
    host.DebugLine(qv::Format(L"Checking if file %s is a .NET assembly", file.key));
    const PeImage image(file.path.c_str());
    return image.GetNtHeaders() != nullptr && image.IsManaged();
}

bool WalkImports(InspectionHost& host, const PeImage& image, bool wide, const ImportVisitor& visit)
{
    const BYTE* directory = image.GetDirectory(kImportDirectory);
    if (!directory) {
        host.DebugLine(kMissingImports);
        return false;
    }
    for (uint64_t index = 0;; ++index) {
        const BYTE* descriptor = PeImage::Advance(directory, index * kDescriptorSize);
        const DWORD lookupTable = image.ReadDword(descriptor);
        const DWORD nameRva = image.ReadDword(descriptor + 12);
        if (lookupTable == 0 || nameRva == 0)
            break;
        // A name no section holds is read through a null pointer, which the
        // checked read turns into the end of the check.
        const _stringx<> module = WidenImageText(image.ReadNarrow(image.RvaToPointer(nameRva)));
        const BYTE* thunks = image.RvaToPointer(lookupTable);
        if (!thunks)
            continue;
        const uint64_t thunkSize = wide ? 8 : 4;
        for (uint64_t slot = 0;; ++slot) {
            const BYTE* at = PeImage::Advance(thunks, slot * thunkSize);
            const ULONGLONG thunk = wide ? image.ReadQword(at) : image.ReadDword(at);
            if (thunk == 0)
                break;
            const bool byOrdinal = wide ? (thunk >> 32) & 0x80000000u : (thunk & 0x80000000u);
            if (byOrdinal) {
                visit(module, static_cast<int>(thunk & 0xFFFF), _stringx<>());
                continue;
            }
            if (wide && (thunk >> 32) != 0) {
                host.DebugLine(qv::Format(L"Skipping import from %s because of large RVA", module));
                continue;
            }
            // Past the hint word; a null pointer reads at address 2 and ends
            // the check.
            const BYTE* hintName = image.RvaToPointer(static_cast<DWORD>(thunk));
            visit(module, -1, WidenImageText(image.ReadNarrow(PeImage::Advance(hintName, 2))));
        }
    }
    return true;
}

void CheckImportedApis(InspectionHost& host, const InspectedFile& file, int kind, UINT messageId, int type)
{
    host.DebugLine(qv::Format(L"Checking imported APIs for file %s", file.key));
    const PeImage image(file.path.c_str());
    const wchar_t* closing = kNoImports;
    if (HasImportDirectory(image)) {
        const ExeClass exeClass = image.GetExeClass();
        const bool wide = exeClass == ExeClassPe64 || exeClass == ExeClassPeIa64;
        WalkImports(host, image, wide, [&](const _stringx<>& module, int ordinal, const _stringx<>& name) {
            _stringx<> function;
            bool listed;
            if (ordinal >= 0) {
                function = qv::Format(L"%d", ordinal);
                listed = host.IsApiKindByOrdinal(kind, module, static_cast<WORD>(ordinal));
            } else {
                function = name;
                listed = host.IsApiKindByName(kind, module, name);
            }
            if (listed)
                host.ReportMessage(messageId, file.fileName, file.component,
                                   qv::Format(L"%s!%s", module, function), type);
        });
        closing = L"Done checking imported APIs";
    }
    host.DebugLine(closing);
}

void CheckVb6Dependency(InspectionHost& host, const InspectedFile& file, UINT messageId, int type)
{
    host.DebugLine(qv::Format(L"Checking %s for VB6 runtime dependency", file.key));
    const PeImage image(file.path.c_str());
    if (!HasImportDirectory(image)) {
        host.DebugLine(kNoImports);
        return;
    }
    const BYTE* directory = image.GetDirectory(kImportDirectory);
    if (!directory) {
        host.DebugLine(kMissingImports);
        return;
    }
    for (uint64_t index = 0;; ++index) {
        const BYTE* descriptor = PeImage::Advance(directory, index * kDescriptorSize);
        const DWORD lookupTable = image.ReadDword(descriptor);
        const DWORD nameRva = image.ReadDword(descriptor + 12);
        if (lookupTable == 0 || nameRva == 0)
            return;
        const _stringx<qv::char_traitsi> module(
            WidenImageText(image.ReadNarrow(image.RvaToPointer(nameRva))).c_str());
        if (module == L"msvbvm60.dll") {
            host.ReportMessage(messageId, file.fileName, file.component, qv::Format(L"%s", file.path), type);
            return;
        }
    }
}

void CheckAppSecurity(InspectionHost& host, const InspectedFile& file, UINT messageId, int type)
{
    host.DebugLine(qv::Format(L"Checking %s for App Security violations", file.key));
    const PeImage image(file.path.c_str());
    // Read whether or not the file is a PE image: through a null header
    // this raises and ends the check.
    const WORD characteristics = image.GetDllCharacteristics();
    if (!(characteristics & kDynamicBase))
        host.ReportMessage(messageId, file.key, file.component, L"DYNAMICBASE", type);
    if (!(characteristics & kNxCompat))
        host.ReportMessage(messageId, file.key, file.component, L"NXCOMPAT", type);
    if (characteristics & kNoSeh)
        host.ReportMessage(messageId, file.key, file.component, L"safeSEH", type);
}

}  // namespace qv
