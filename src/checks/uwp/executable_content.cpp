// App package executable content checks.
#include "checks/uwp/executable_content.h"

#include "inspect/content_inspector.h"
#include "inspect/xml_document.h"

namespace {

// QVUWP06 and QVUWP07: one finding per executable whose image test holds.
template <typename Test>
void ReportImages(CQVViceBase& check, UINT messageId, Test test)
{
    ContentInspector inspector(&check);
    for (const auto& [owned, file] : inspector.GetFiles(kExecutableExtension)) {
        if (file == nullptr || !test(*file))
            continue;
        check.Location() = {L"File", L"File", file->GetKey()};
        check.ReportMessage(messageId, file->GetFileName(), file->GetComponent(), check.Severity);
    }
}

}  // namespace

CQVAppx06::CQVAppx06(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx06::~CQVAppx06() = default;
_stringx<> CQVAppx06::GetName() const { return Name; }
_stringx<> CQVAppx06::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx06::Validate()
{
    ReportImages(*this, 273, [](const PackageFile& file) { return file.Is16Bit(); });
}
QV_CHECK_EXPORT(QVUWP06, CQVAppx06)

CQVAppx07::CQVAppx07(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx07::~CQVAppx07() = default;
_stringx<> CQVAppx07::GetName() const { return Name; }
_stringx<> CQVAppx07::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx07::Validate()
{
    ReportImages(*this, 275, [](const PackageFile& file) { return file.Is32Bit(); });
}
QV_CHECK_EXPORT(QVUWP07, CQVAppx07)

CQVAppx08::CQVAppx08(MSIHANDLE hInstall, const _stringx<>& name) : CQVViceBase(name, hInstall) {}
CQVAppx08::~CQVAppx08() = default;
_stringx<> CQVAppx08::GetName() const { return Name; }
_stringx<> CQVAppx08::GetDescription() const { return LoadMessage(DescriptionId); }
_stringx<> CQVAppx08::GetManifestAttributeName() const { return L"level"; }
_stringx<> CQVAppx08::GetExpectedAttributeValue() const { return L"asInvoker"; }
UINT CQVAppx08::GetFindingMessage() const { return 277; }

void CQVAppx08::Validate()
{
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kExeExtension)) {
        if (file == nullptr)
            continue;
        const _stringx<> manifestPath = file->GetManifestPath();
        if (manifestPath.empty())
            continue;
        // Deletes the extracted manifest after the test.
        TemporaryPath manifest(manifestPath);
        TestManifest(file->GetKey(), file->GetFileName(), file->GetComponent(), manifestPath);
    }
}

// Every DOM failure ends the test for this file with nothing reported: a
// manifest that is no XML, or has no requestedExecutionLevel, is in the
// clear.
void CQVAppx08::TestManifest(const _stringx<>& fileKey, const _stringx<>& fileName, const _stringx<>& component,
                             const _stringx<>& manifestPath)
{
    DebugLine(L"Instantiating MSXML");
    qv::XmlDocument document;
    int version = 0;
    if (FAILED(document.Create(version)))
        return;
    DebugLine(L"Loading manifest file");
    bool loaded = false;
    if (document.Load(manifestPath, loaded) != S_OK || !loaded)
        return;
    if (FAILED(document.SetProperty(L"SelectionLanguage", L"XPath")))
        return;
    qv::XmlNode level;
    if (document.SelectSingleNode(L"//*[local-name() = 'requestedExecutionLevel']", level) != S_OK)
        return;
    // A missing attribute reads as the empty text, which differs from the
    // expected value: so no uiAccess at all is a finding of QVUWP09.
    _stringx<> value;
    if (FAILED(level.GetAttribute(GetManifestAttributeName().c_str(), value)))
        return;
    if (value == GetExpectedAttributeValue())
        return;
    m_location = {L"File", L"File", fileKey};
    ReportMessage(GetFindingMessage(), fileName, component, Severity);
}
QV_CHECK_EXPORT_NAMED(QVUWP08, CQVAppx08)

CQVAppx09::CQVAppx09(MSIHANDLE hInstall) : CQVAppx08(hInstall, Name) {}
CQVAppx09::~CQVAppx09() = default;
_stringx<> CQVAppx09::GetName() const { return Name; }
_stringx<> CQVAppx09::GetDescription() const { return LoadMessage(DescriptionId); }
_stringx<> CQVAppx09::GetManifestAttributeName() const { return L"uiAccess"; }
_stringx<> CQVAppx09::GetExpectedAttributeValue() const { return L"false"; }
UINT CQVAppx09::GetFindingMessage() const { return 279; }
QV_CHECK_EXPORT(QVUWP09, CQVAppx09)

CQVAppx11::CQVAppx11(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx11::~CQVAppx11() = default;
_stringx<> CQVAppx11::GetName() const { return Name; }
_stringx<> CQVAppx11::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx11::Validate()
{
    // The location is set once per file: of several listed imports of one
    // file only the first finding carries it.
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kExecutableExtension)) {
        m_location = {L"File", L"File", file->GetKey()};
        file->CheckImportedApis(static_cast<int>(ImportKind::NotInAppPackage), 284, Severity);
    }
}
QV_CHECK_EXPORT(QVUWP11, CQVAppx11)
