#include "checks/uwp/com_file_type.h"

#include "database/registry_inventory.h"
#include "database/views.h"

namespace {

using NoCase = _stringx<qv::char_traitsi>;

// Each prefix ends in a backslash: the bare CLSID key is no COM data.
const wchar_t* const kClassesRootPrefixes[] = {L"CLSID\\", L"Interface\\", L"TypeLib\\"};
const wchar_t* const kSoftwarePrefixes[] = {
    L"Software\\Classes\\CLSID\\",
    L"Software\\Classes\\Interface\\",
    L"Software\\Classes\\TypeLib\\",
    L"Software\\Wow6432Node\\Classes\\CLSID\\",
    L"Software\\Wow6432Node\\Classes\\Interface\\",
    L"Software\\Wow6432Node\\Classes\\TypeLib\\",
};

template <size_t N>
bool StartsWithOne(const _stringx<>& text, const wchar_t* const (&prefixes)[N])
{
    const NoCase key(text.c_str(), text.size());
    for (const wchar_t* prefix : prefixes) {
        const size_t length = std::char_traits<wchar_t>::length(prefix);
        if (key.size() >= length && qv::char_traitsi::compare(key.c_str(), prefix, length) == 0)
            return true;
    }
    return false;
}

}  // namespace

CQVAppx10::CQVAppx10(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx10::~CQVAppx10() = default;
_stringx<> CQVAppx10::GetName() const { return Name; }
_stringx<> CQVAppx10::GetDescription() const { return LoadMessage(DescriptionId); }

bool CQVAppx10::IsComRegistryKey(const RegistryEntry& entry)
{
    switch (entry.root) {
    case 0:
        return StartsWithOne(entry.keyPath, kClassesRootPrefixes);
    case 1:
    case 2:
        return StartsWithOne(entry.keyPath, kSoftwarePrefixes);
    default:
        return false;  // HKEY_USERS and the per-user-or-machine root
    }
}

void CQVAppx10::Validate()
{
    for (const wchar_t* table : {L"Class", L"ProgId", L"TypeLib", L"SelfReg", L"QVSelfReg"}) {
        if (TableEmptyOrAbsent(m_database, table))
            continue;
        m_location = {table};
        ReportMessage(281, table, Severity);
    }
    RegistryInventory registry(this);
    for (const RegistryEntry* entry : registry.GetEntries()) {
        if (!IsComRegistryKey(*entry))
            continue;
        m_location = {L"Registry", L"Registry", entry->key};
        ReportMessage(282, entry->FullKey(), entry->component, Severity);
    }
}
QV_CHECK_EXPORT(QVUWP10, CQVAppx10)

CQVAppx20::CQVAppx20(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx20::~CQVAppx20() = default;
_stringx<> CQVAppx20::GetName() const { return Name; }
_stringx<> CQVAppx20::GetDescription() const { return LoadMessage(DescriptionId); }

// The reserved extensions are rows of _QvViceFileTestEntries for this check,
// looked up whole and without regard to case; the Extension column has no
// dot, so neither may the tests.
void CQVAppx20::Validate()
{
    FileTestMap tests;
    LoadFileTests(GetName(), tests);
    if (!TablePresent(m_database, L"Extension"))
        return;
    ForEachRow(
        m_database,
        [&](MSIHANDLE record) {
            const _stringx<> extension = RecordFieldString(record, 1);
            if (tests.find(NoCase(extension.c_str(), extension.size())) == tests.end())
                return;
            const _stringx<> component = RecordFieldString(record, 2);
            m_location = {L"Extension", L"Extension", extension, component};
            ReportMessage(301, extension, component, Severity);
        },
        L"SELECT * FROM `%s`", L"Extension");
}
QV_CHECK_EXPORT(QVUWP20, CQVAppx20)
