// Executable content checks of the logo family.
#include "checks/ice/executable_content.h"

#include <vector>

#include "inspect/content_inspector.h"
#include "inspect/xml_document.h"

namespace {

// Whether the package targets 64-bit systems: a "64" in the platform part of
// the summary Template, before the first ";".
bool TargetsSixtyFourBit(CQVIceBase& check, MSIHANDLE database)
{
    qv::msi_handle summary;
    CheckInstallerResult(MsiGetSummaryInformationW(database, nullptr, 0, &summary.ref()),
                         L"MsiGetSummaryInformation");
    UINT dataType = 0;
    INT intValue = 0;
    FILETIME fileTime{};
    wchar_t buffer[260];
    DWORD size = 260;
    UINT result = MsiSummaryInfoGetPropertyW(summary, 7, &dataType, &intValue, &fileTime, buffer, &size);
    // Every non-zero result raises, ERROR_MORE_DATA included: a Template of
    // 260 characters or more ends the check, and the retry with the reported
    // size below is never reached.
    CheckInstallerResult(result, L"MsiSummaryInfoGetProperty");
    _stringx<> templateText;
    if (result == ERROR_MORE_DATA) {
        std::vector<wchar_t> larger(size + 1);
        DWORD largerSize = size + 1;
        result = MsiSummaryInfoGetPropertyW(summary, 7, &dataType, &intValue, &fileTime, larger.data(), &largerSize);
        if (result == ERROR_SUCCESS)
            templateText = larger.data();
    } else {
        templateText = buffer;
    }
    if (result != ERROR_SUCCESS) {
        check.DebugLine(L"Couldn't load SummaryInfoStream Template; will assume installer does not target 64-bit "
                        L"systems");
        return false;
    }
    return templateText.find(L"64") < templateText.find(L';');
}

}  // namespace

CQVIce02::CQVIce02(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce02::~CQVIce02() = default;
_stringx<> CQVIce02::GetName() const { return Name; }
_stringx<> CQVIce02::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce02::Validate()
{
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kSignedExtension)) {
        if (file->IsSigned())
            continue;
        m_location = {L"File", L"File", file->GetKey()};
        ReportMessage(120, file->GetFileName(), file->GetComponent(), FileNameExtension(file->GetFileName()), 1);
    }
}
QV_CHECK_EXPORT(QVICE02, CQVIce02)

CQVIce11::CQVIce11(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce11::~CQVIce11() = default;
_stringx<> CQVIce11::GetName() const { return Name; }
_stringx<> CQVIce11::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce11::Validate()
{
    LoadRules();
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kManifestExtension)) {
        const _stringx<> manifestPath = file->GetManifestPath();
        // The extracted manifest is the check's to delete.
        TemporaryPath manifest(manifestPath);
        TestFile(*file, manifestPath);
    }
}

void CQVIce11::LoadRules()
{
    // Opened without a presence test: a missing table ends the check.
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            ManifestRule rule;
            rule.xpath = RecordFieldString(record, 2);
            if (rule.xpath == L" ")
                rule.xpath.clear();
            rule.attributes = MsiRecordGetInteger(record, 3);
            rule.message = RecordFieldString(record, 4);
            _stringx<qv::char_traitsi> extension(RecordFieldString(record, 1).c_str());
            if (extension.find(L'.') != 0)
                extension.insert(0, 1, L'.');
            m_rules[extension].push_back(rule);
        },
        L"SELECT * FROM `%s`", L"_QVManifest");
}

void CQVIce11::TestFile(const PackageFile& file, const _stringx<>& manifestPath)
{
    const _stringx<> extension = FileNameExtension(file.GetFileName());
    const auto rules = m_rules.find(_stringx<qv::char_traitsi>(extension.c_str(), extension.size()));
    if (rules == m_rules.end())
        return;

    // A manifest that will not load counts as no manifest.
    qv::XmlDocument document;
    bool haveDocument = false;
    if (!manifestPath.empty()) {
        DebugLine(L"Instantiating MSXML");
        int version = 0;
        if (SUCCEEDED(document.Create(version))) {
            DebugLine(L"Loading manifest file");
            bool loaded = false;
            const HRESULT hr = document.Load(manifestPath, loaded);
            if (FAILED(hr) || !loaded) {
                document.Release();
            } else {
                document.SetProperty(L"SelectionNamespaces",
                                     L"xmlns:v1='urn:schemas-microsoft-com:asm.v1' "
                                     L"xmlns:v2='urn:schemas-microsoft-com:asm.v2' "
                                     L"xmlns:v3='urn:schemas-microsoft-com:asm.v3'");
                haveDocument = true;
            }
        }
    }

    for (const ManifestRule& rule : rules->second) {
        bool found = false;
        if (rule.xpath.empty()) {
            found = haveDocument;
        } else if (!haveDocument) {
            continue;  // content rules are not judged without a manifest
        } else {
            qv::XmlNode node;
            const HRESULT hr = document.SelectSingleNode(rule.xpath.c_str(), node);
            found = SUCCEEDED(hr) && !node.IsNull();
        }
        const bool matchIsFinding = (rule.attributes & 2) != 0;
        if (found != matchIsFinding)
            continue;
        _stringx<> text = rule.message;
        const _stringx<> name = file.GetFileName();
        const _stringx<> component = file.GetComponent();
        const _stringx<>* const args[] = {&name, &component, &rule.xpath};
        FillPlaceholders(text, args, 3);
        m_location = {L"File", L"File", file.GetKey()};
        ReportText(text, (rule.attributes & 1) ? 1 : 2);
    }
}
QV_CHECK_EXPORT(QVICE11, CQVIce11)

CQVIce16::CQVIce16(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce16::~CQVIce16() = default;
_stringx<> CQVIce16::GetName() const { return Name; }
_stringx<> CQVIce16::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce16::Validate()
{
    if (!TargetsSixtyFourBit(*this, m_database))
        return;
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kExecutableExtension)) {
        if (!file->Is16Bit())
            continue;
        m_location = {L"File", L"File", file->GetKey()};
        ReportMessage(139, file->GetFileName(), file->GetComponent(), 1);
    }
}
QV_CHECK_EXPORT(QVICE16, CQVIce16)

CQVIce21::CQVIce21(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce21::~CQVIce21() = default;
_stringx<> CQVIce21::GetName() const { return Name; }
_stringx<> CQVIce21::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce21::Validate()
{
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kExecutableExtension)) {
        m_location = {L"File", L"File", file->GetKey()};
        file->CheckVb6Dependency(209, 1);
    }
}
QV_CHECK_EXPORT(QVICE21, CQVIce21)

CQVIce24::CQVIce24(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce24::~CQVIce24() = default;
_stringx<> CQVIce24::GetName() const { return Name; }
_stringx<> CQVIce24::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce24::Validate()
{
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kExecutableExtension)) {
        if (!file->Is16Bit())
            continue;
        m_location = {L"File", L"File", file->GetKey()};
        ReportMessage(211, file->GetFileName(), file->GetComponent(), 1);
    }
}
QV_CHECK_EXPORT(QVICE24, CQVIce24)

CQVIce26::CQVIce26(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce26::~CQVIce26() = default;
_stringx<> CQVIce26::GetName() const { return Name; }
_stringx<> CQVIce26::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce26::Validate()
{
    // The location is set once per file, so of several findings for one
    // file only the first carries it.
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kExecutableExtension)) {
        m_location = {L"File", L"File", file->GetKey()};
        file->CheckAppSecurity(214, 1);
    }
}
QV_CHECK_EXPORT(QVICE26, CQVIce26)
