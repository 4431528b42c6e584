#include "inspect/content_inspector.h"

#include <cwchar>

#include "database/views.h"
#include "framework/check_base.h"
#include "inspect/imports.h"

namespace {

constexpr int kAttributeNoncompressed = 0x2000;
constexpr int kAttributeCompressed = 0x4000;

bool EqualNoCase(const _stringx<>& a, const wchar_t* b) noexcept
{
    const size_t length = std::wcslen(b);
    return a.size() == length && qv::char_traitsi::compare(a.c_str(), b, length) == 0;
}

// Long name of the FileName column (3) of a File record.
_stringx<> RecordLongName(MSIHANDLE record)
{
    RecordString name(record, 3);
    return LongFileNamePart(_stringx<>(name.Text()));
}

NoCaseString WithLeadingDot(const _stringx<>& text)
{
    NoCaseString extension;
    if (text.empty() || text[0] != L'.')
        extension = L".";
    extension.append(text.c_str(), text.size());
    return extension;
}

}  // namespace

_stringx<> LongFileNamePart(const _stringx<>& fileName)
{
    const size_t bar = fileName.find(L'|');
    return bar == _stringx<>::npos ? fileName : fileName.substr(bar + 1);
}

_stringx<> FileNameExtension(const _stringx<>& longName)
{
    const size_t dot = longName.rfind(L'.');
    if (dot == _stringx<>::npos)
        return _stringx<>();
    const size_t slash = longName.rfind(L'\\');
    if (slash != _stringx<>::npos && slash > dot)
        return _stringx<>();
    return longName.substr(dot);
}

// ---- PackageFile ----------------------------------------------------------------

PackageFile::PackageFile(ContentInspector* inspector, MSIHANDLE record)
    : m_inspector(inspector),
      m_key(RecordFieldString(record, 1)),
      m_fileName(RecordFieldString(record, 3)),
      m_component(RecordFieldString(record, 2)),
      m_version(RecordFieldString(record, 5)),
      m_sequence(MsiRecordGetInteger(record, 8)),
      m_attributes(MsiRecordGetInteger(record, 7))
{
}

bool PackageFile::IsCompressed() const noexcept
{
    // Neither bit means compressed: the summary word count is not consulted.
    if (HasAttribute(kAttributeCompressed))
        return true;
    return !HasAttribute(kAttributeNoncompressed);
}

bool PackageFile::HasSelfRegistration() const { return m_inspector->IsSelfRegistered(m_key); }

_stringx<> PackageFile::GetTargetPath() const
{
    CQVIceBase* owner = m_inspector->Owner();
    return owner ? owner->FormatTargetPath(qv::Format(L"[#%s]", m_key)) : _stringx<>();
}

_stringx<> PackageFile::ResolveFilePath(TemporaryPath& temporary) const
{
    CQVIceBase* owner = m_inspector->Owner();
    if (!owner)
        return _stringx<>();
    _stringx<> path;
    if (IsCompressed()) {
        owner->DebugLine(L"Extracting file %s to temp location", m_key);
        path = m_inspector->Cabinets().ExtractFile(*this);
        owner->DebugLine(L"Extracted file %s to temp location: %s", m_key, path);
        temporary = path;
    } else {
        path = m_inspector->Resolver().GetPath(*this);
        owner->DebugLine(L"Uncompressed file path %s", path);
    }
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || attributes == FILE_ATTRIBUTE_DIRECTORY) {
        auto& location = owner->Location();
        location.clear();
        location.push_back(L"File");
        location.push_back(L"File");
        location.push_back(m_key);
        owner->ReportMessage(162, GetFileName(), m_component, 1);
        path.clear();
    }
    return path;
}

_stringx<> PackageFile::GetFileVersion() const
{
    TemporaryPath temporary;
    const _stringx<> path = ResolveFilePath(temporary);
    if (path.empty())
        return _stringx<>();
    wchar_t buffer[MAX_PATH];
    DWORD size = MAX_PATH;
    const UINT result = MsiGetFileVersionW(path.c_str(), buffer, &size, nullptr, nullptr);
    if (result == ERROR_FILE_INVALID)
        return _stringx<>();
    CheckInstallerResult(result, L"MsiGetFileVersion");
    return _stringx<>(buffer);
}

namespace {

// Debug lines and findings go to the check; the two API questions are
// answered from the inspector's _QVDeprecatedApi lists.
class InspectorHost : public qv::CheckInspectionHost {
public:
    InspectorHost(CQVIceBase& check, ContentInspector& inspector)
        : qv::CheckInspectionHost(check), m_inspector(inspector)
    {
    }
    bool IsApiKindByOrdinal(int kind, const _stringx<>& module, WORD ordinal) override
    {
        return static_cast<int>(m_inspector.LookupApi(module, static_cast<uint16_t>(ordinal))) == kind;
    }
    bool IsApiKindByName(int kind, const _stringx<>& module, const _stringx<>& name) override
    {
        return static_cast<int>(m_inspector.LookupApi(module, name)) == kind;
    }

private:
    ContentInspector& m_inspector;
};

}  // namespace

template <typename Result, typename Operation>
Result PackageFile::Inspect(Result fallback, Operation operation) const
{
    TemporaryPath temporary;
    _stringx<> path = ResolveFilePath(temporary);
    if (path.empty())
        return fallback;
    InspectorHost host(*m_inspector->Owner(), *m_inspector);
    const qv::InspectedFile file{GetKey(), GetFileName(), GetComponent(), std::move(path)};
    return operation(host, file);
}

bool PackageFile::Is16Bit() const
{
    return Inspect(false, [](qv::InspectionHost& host, const qv::InspectedFile& file) {
        return qv::Is16Bit(host, file);
    });
}

bool PackageFile::Is32Bit() const
{
    return Inspect(false, [](qv::InspectionHost& host, const qv::InspectedFile& file) {
        return qv::Is32Bit(host, file);
    });
}

bool PackageFile::IsDotNetAssembly() const
{
    return Inspect(false, [](qv::InspectionHost& host, const qv::InspectedFile& file) {
        return qv::IsDotNetAssembly(host, file);
    });
}

void PackageFile::CheckImportedApis(int kind, UINT messageId, int type) const
{
    Inspect(0, [&](qv::InspectionHost& host, const qv::InspectedFile& file) {
        qv::CheckImportedApis(host, file, kind, messageId, type);
        return 0;
    });
}

void PackageFile::CheckVb6Dependency(UINT messageId, int type) const
{
    Inspect(0, [&](qv::InspectionHost& host, const qv::InspectedFile& file) {
        qv::CheckVb6Dependency(host, file, messageId, type);
        return 0;
    });
}

void PackageFile::CheckAppSecurity(UINT messageId, int type) const
{
    Inspect(0, [&](qv::InspectionHost& host, const qv::InspectedFile& file) {
        qv::CheckAppSecurity(host, file, messageId, type);
        return 0;
    });
}

// ---- SourcePathResolver ---------------------------------------------------------

_stringx<> SourcePathResolver::GetPath(const PackageFile& file)
{
    qv::msi_handle view;
    qv::msi_handle record;
    if (TryFetchFirst(view.ref(), m_owner->Database(), record.ref(), L"SELECT * FROM `%s` WHERE `%s` = '%s'",
                      L"Component", L"Component", file.GetComponent()) != ERROR_SUCCESS)
        return _stringx<>();
    const _stringx<> directory = RecordFieldString(record, 3);
    if (directory.empty())
        return _stringx<>();
    auto found = m_folders.find(directory);
    if (found == m_folders.end())
        found = m_folders.emplace(directory, m_owner->GetSessionProperty(directory)).first;
    _stringx<> path = found->second;
    if (path.empty() || path.back() != L'\\')
        path += L'\\';
    path += file.GetLongFileName();
    return path;
}

// ---- ContentInspector -----------------------------------------------------------

ContentInspector::OwnedFiles::~OwnedFiles()
{
    for (auto& [owned, file] : list) {
        if (owned)
            delete file;
    }
}

ContentInspector::ContentInspector(CQVIceBase* owner) : m_owner(owner), m_resolver(owner), m_cabinets(owner) {}

ContentInspector::~ContentInspector() = default;

void ContentInspector::SetOwner(CQVIceBase* owner) noexcept
{
    m_owner = owner;
    m_resolver.SetOwner(owner);
    m_cabinets.SetOwner(owner);
}

ContentInspector::FileList& ContentInspector::GetFiles(int filter)
{
    if (!m_needsFileLoad)
        return m_files.list;
    m_needsFileLoad = false;
    if (!TablePresent(m_owner->Database(), L"File"))
        return m_files.list;
    ForEachRow(
        m_owner->Database(),
        [this, filter](MSIHANDLE record) {
            if (Keep(filter, record))
                m_files.list.emplace_back(true, new PackageFile(this, record));
        },
        L"SELECT * FROM `%s` ORDER BY `%s`", L"File", L"Sequence");
    return m_files.list;
}

bool ContentInspector::Keep(int filter, MSIHANDLE record)
{
    switch (filter) {
    case kAllFiles: return true;
    case kSignedExtension: return HasSignedExtension(record);
    case kManifestExtension: return HasManifestExtension(record);
    case kExecutableExtension: return IsExecutableExtension(record);
    case kHelpFile: return IsHelpFile(record);
    case kExeExtension: return IsExeExtension(record);
    case kConfigExtension: return IsConfigExtension(record);
    default: return false;
    }
}

bool ContentInspector::IsExecutableExtension(MSIHANDLE record) const
{
    const _stringx<> extension = FileNameExtension(RecordLongName(record));
    for (const wchar_t* listed : {L".exe", L".dll", L".ocx", L".sys", L".cpl", L".drv", L".scr", L".ax"}) {
        if (EqualNoCase(extension, listed))
            return true;
    }
    return false;
}

bool ContentInspector::IsExeExtension(MSIHANDLE record) const
{
    return EqualNoCase(FileNameExtension(RecordLongName(record)), L".exe");
}

bool ContentInspector::IsConfigExtension(MSIHANDLE record) const
{
    return EqualNoCase(FileNameExtension(RecordLongName(record)), L".config");
}

bool ContentInspector::IsHelpFile(MSIHANDLE record) const
{
    const _stringx<> name = RecordLongName(record);
    return EqualNoCase(FileNameExtension(name), L".hlp") || EqualNoCase(name, L"WinHelp.exe") ||
           EqualNoCase(name, L"WinHlp32.exe");
}

bool ContentInspector::HasManifestExtension(MSIHANDLE record)
{
    const _stringx<> extension = FileNameExtension(RecordLongName(record));
    const auto& set = ManifestExtensions();
    return set.count(NoCaseString(extension)) != 0;
}

bool ContentInspector::HasSignedExtension(MSIHANDLE record)
{
    const _stringx<> extension = FileNameExtension(RecordLongName(record));
    const auto& set = SignedExtensions();
    return set.count(NoCaseString(extension)) != 0;
}

// A set loads whenever it is still empty: an absent or empty table is asked
// again at each use, and a failing query keeps nothing and says nothing.
void ContentInspector::LoadExtensions(std::set<NoCaseString>& target, const wchar_t* table)
{
    if (!target.empty())
        return;
    qv::msi_handle view;
    wchar_t query[qv::kQueryCapacity];
    qv::FormatQuery(query, L"SELECT * FROM `%s`", table);
    if (MsiDatabaseOpenViewW(m_owner->Database(), query, &view.ref()) != ERROR_SUCCESS ||
        MsiViewExecute(view, 0) != ERROR_SUCCESS)
        return;
    qv::msi_handle record;
    while (MsiViewFetch(view, &record.ref()) == ERROR_SUCCESS) {
        RecordString text(record, 1);
        if (text.Text())
            target.insert(WithLeadingDot(_stringx<>(text.Text())));
        record.reset();
    }
}

const std::set<NoCaseString>& ContentInspector::ManifestExtensions()
{
    LoadExtensions(m_manifestExtensions, L"_QVManifest");
    return m_manifestExtensions;
}

const std::set<NoCaseString>& ContentInspector::SignedExtensions()
{
    LoadExtensions(m_signedExtensions, L"_QVSignedExtension");
    return m_signedExtensions;
}

bool ContentInspector::IsSelfRegistered(const _stringx<>& key)
{
    if (m_needsSelfRegLoad) {
        m_needsSelfRegLoad = false;
        for (const wchar_t* table : {L"QVSelfReg", L"SelfReg"}) {
            if (!TablePresent(m_owner->Database(), table))
                continue;
            ForEachRow(
                m_owner->Database(),
                [this](MSIHANDLE record) { m_selfRegistered[RecordFieldString(record, 1)] = true; },
                L"SELECT * FROM `%s`", table);
        }
    }
    return m_selfRegistered.count(key) != 0;
}

void ContentInspector::LoadApis()
{
    if (!m_apisByName.empty() || !m_apisByOrdinal.empty())
        return;
    if (!TablePresent(m_owner->Database(), L"_QVDeprecatedApi"))
        return;
    ForEachRow(
        m_owner->Database(),
        [this](MSIHANDLE record) {
            const NoCaseString module(RecordFieldString(record, 1));
            const _stringx<> function = RecordFieldString(record, 2);
            const auto kind = static_cast<ImportKind>(MsiRecordGetInteger(record, 3));
            const auto ordinal = static_cast<uint16_t>(std::wcstoul(function.c_str(), nullptr, 10));
            if (ordinal == 0)
                m_apisByName[module][function] = kind;
            else
                m_apisByOrdinal[module][ordinal] = kind;
        },
        L"SELECT * FROM `%s`", L"_QVDeprecatedApi");
}

ImportKind ContentInspector::LookupApi(const _stringx<>& module, const _stringx<>& function)
{
    LoadApis();
    const auto byModule = m_apisByName.find(NoCaseString(module));
    if (byModule == m_apisByName.end())
        return ImportKind::None;
    const auto found = byModule->second.find(function);
    return found == byModule->second.end() ? ImportKind::None : found->second;
}

ImportKind ContentInspector::LookupApi(const _stringx<>& module, uint16_t ordinal)
{
    LoadApis();
    const auto byModule = m_apisByOrdinal.find(NoCaseString(module));
    if (byModule == m_apisByOrdinal.end())
        return ImportKind::None;
    const auto found = byModule->second.find(ordinal);
    return found == byModule->second.end() ? ImportKind::None : found->second;
}
