// Component and file checks: table walks over components and features, and
// walks of the package's files through a content inspector in Sequence order.
#include "checks/bp/component_file.h"

#include <cwchar>
#include <map>
#include <set>

#include "database/com_exception.h"
#include "database/directory.h"
#include "database/views.h"
#include "inspect/content_inspector.h"

namespace {

constexpr HRESULT kOutOfMemory = static_cast<HRESULT>(0x8007000E);

bool EndsWithNoCase(const _stringx<>& text, const wchar_t* suffix)
{
    const _stringx<qv::char_traitsi> folded(text.c_str());
    const size_t length = std::wcslen(suffix);
    const size_t last = folded.rfind(suffix);
    return last != _stringx<qv::char_traitsi>::npos && last + length == folded.size();
}

bool ContainsNoCase(const _stringx<>& text, const wchar_t* part)
{
    return _stringx<qv::char_traitsi>(text.c_str()).find(part) != _stringx<qv::char_traitsi>::npos;
}

// Reports every row of table as a self-registered file, field 1 the key.
void ReportSelfRegistered(CQVIceBase& check, MSIHANDLE database, const wchar_t* table, const wchar_t* column)
{
    if (!TablePresent(database, table))
        return;
    ForEachRow(
        database,
        [&](MSIHANDLE record) {
            const _stringx<> key = RecordFieldString(record, 1);
            check.Location() = {table, column, key};
            check.ReportMessage(190, key, 1);
        },
        L"SELECT * FROM `%s`", table);
}

// QVBP18 and QVBP19: every executable file's imports against one API kind.
void CheckApiKind(CQVIceBase& check, int kind, UINT messageId)
{
    ContentInspector inspector(&check);
    for (const auto& [owned, file] : inspector.GetFiles(kExecutableExtension)) {
        check.Location() = {L"File", L"File", file->GetKey()};
        file->CheckImportedApis(kind, messageId, 1);
    }
}

}  // namespace

CQVBP07::CQVBP07(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP07::~CQVBP07() = default;
_stringx<> CQVBP07::GetName() const { return Name; }
_stringx<> CQVBP07::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP07::Validate()
{
    for (const wchar_t* table : {L"Feature", L"Component", L"FeatureComponents"}) {
        if (!TablePresent(m_database, table))
            return;
    }
    // A feature or component with no FeatureComponents row installs nothing
    // or is never installed.
    const struct {
        const wchar_t* table;
        const wchar_t* column;
        UINT message;
    } walks[] = {{L"Feature", L"Feature_", 178}, {L"Component", L"Component_", 179}};
    for (const auto& walk : walks) {
        ForEachRow(
            m_database,
            [&](MSIHANDLE record) {
                const _stringx<> key = RecordFieldString(record, 1);
                qv::msi_handle view, row;
                if (TryFetchFirst(view.ref(), m_database, row.ref(), L"SELECT * FROM `%s` WHERE `%s`='%s'",
                                  L"FeatureComponents", walk.column, key) != ERROR_SUCCESS) {
                    m_location = {walk.table, walk.table, key};
                    ReportMessage(walk.message, key, 2);
                }
            },
            L"SELECT * FROM `%s`", walk.table);
    }
}
QV_CHECK_EXPORT(QVBP07, CQVBP07)

CQVBP11::CQVBP11(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP11::~CQVBP11() = default;
_stringx<> CQVBP11::GetName() const { return Name; }
_stringx<> CQVBP11::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP11::Validate()
{
    if (!TablePresent(m_database, L"File"))
        return;
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kAllFiles)) {
        if (!file)
            throw com_exception(kOutOfMemory);
        if (EndsWithNoCase(file->GetFileName(), L".ni.dll")) {
            m_location = {L"File", L"File", file->GetKey()};
            ReportMessage(187, file->GetKey(), 2);
        }
    }
}
QV_CHECK_EXPORT(QVBP11, CQVBP11)

CQVBP12::CQVBP12(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP12::~CQVBP12() = default;
_stringx<> CQVBP12::GetName() const { return Name; }
_stringx<> CQVBP12::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP12::Validate()
{
    ReportSelfRegistered(*this, m_database, L"SelfReg", L"File_");
    ReportSelfRegistered(*this, m_database, L"QVSelfReg", L"FileKey");
    if (!TablePresent(m_database, L"CustomAction"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            if (!ContainsNoCase(RecordFieldString(record, 4), L"regsvr32.exe"))
                return;
            // Bit 2 is set in the types that run an executable.
            if (!(MsiRecordGetInteger(record, 2) & 2))
                return;
            const _stringx<> action = RecordFieldString(record, 1);
            m_location = {L"CustomAction", L"Target", action};
            ReportMessage(188, action, 1);
        },
        L"SELECT * FROM `%s`", L"CustomAction");
}
QV_CHECK_EXPORT(QVBP12, CQVBP12)

CQVBP14::CQVBP14(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP14::~CQVBP14() = default;
_stringx<> CQVBP14::GetName() const { return Name; }
_stringx<> CQVBP14::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP14::Validate()
{
    if (!TablePresent(m_database, L"File"))
        return;
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kAllFiles)) {
        if (!file)
            throw com_exception(kOutOfMemory);
        const _stringx<> key = file->GetKey();
        const _stringx<> version = file->GetVersion();
        if (version.empty()) {
            // Without a version only a hash row lets a patch tell the file apart.
            qv::msi_handle view, row;
            if (TryFetchFirst(view.ref(), m_database, row.ref(), L"SELECT * FROM `%s` WHERE `%s`='%s'",
                              L"MsiFileHash", L"File_", key) != ERROR_SUCCESS) {
                m_location = {L"File", L"File", key};
                ReportMessage(194, key, 1);
            }
            continue;
        }
        // A companion file key in Version is compared as text all the same.
        const _stringx<> actual = file->GetFileVersion();
        if (actual != version) {
            m_location = {L"File", L"Version", key};
            ReportMessage(195, key, version, actual, 1);
        }
    }
}
QV_CHECK_EXPORT(QVBP14, CQVBP14)

CQVBP16::CQVBP16(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP16::~CQVBP16() = default;
_stringx<> CQVBP16::GetName() const { return Name; }
_stringx<> CQVBP16::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP16::Validate()
{
    if (!TablePresent(m_database, L"Component") || !TablePresent(m_database, L"Directory"))
        return;
    // The second name is misspelt as the rule has always compared it, so the
    // real common files folder is not recognised.
    const std::set<_stringx<>> folders = {L"ProgramFiles64Folder", L"CommonmFiles64Folder", L"System64Folder"};
    std::map<_stringx<>, bool> known;
    ForEachRow(
        m_database,
        [&](MSIHANDLE record) {
            const _stringx<> directory = RecordFieldString(record, 3);
            if (directory.empty())
                return;
            auto found = known.find(directory);
            if (found == known.end()) {
                _stringx<> top;
                if (!FindTopDirectory(m_database, directory, top))
                    top = directory;
                found = known.emplace(directory, folders.count(top) != 0).first;
            }
            if (found->second && !(MsiRecordGetInteger(record, 4) & 0x100)) {
                const _stringx<> component = RecordFieldString(record, 1);
                m_location = {L"Component", L"Attributes", component};
                ReportMessage(199, component, directory, 1);
            }
        },
        L"SELECT * FROM `%s`", L"Component");
}
QV_CHECK_EXPORT(QVBP16, CQVBP16)

CQVBP17::CQVBP17(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP17::~CQVBP17() = default;
_stringx<> CQVBP17::GetName() const { return Name; }
_stringx<> CQVBP17::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP17::Validate()
{
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kHelpFile)) {
        if (!file)
            continue;
        const _stringx<> name = file->GetFileName();
        m_location = {L"File", L"File", file->GetKey()};
        ReportMessage(EndsWithNoCase(name, L".hlp") ? 132 : 133, name, file->GetComponent(), 1);
    }
}
QV_CHECK_EXPORT(QVBP17, CQVBP17)

CQVBP18::CQVBP18(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP18::~CQVBP18() = default;
_stringx<> CQVBP18::GetName() const { return Name; }
_stringx<> CQVBP18::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP18::Validate() { CheckApiKind(*this, 2, 137); }
QV_CHECK_EXPORT(QVBP18, CQVBP18)

CQVBP19::CQVBP19(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP19::~CQVBP19() = default;
_stringx<> CQVBP19::GetName() const { return Name; }
_stringx<> CQVBP19::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP19::Validate() { CheckApiKind(*this, 1, 138); }
QV_CHECK_EXPORT(QVBP19, CQVBP19)
