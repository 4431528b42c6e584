// App package executable content checks. QVUWP08 and QVUWP09 (manifests)
// run their banner only until their reader lands.
#include "checks/uwp/executable_content.h"

#include "inspect/content_inspector.h"

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
void CQVAppx08::Validate() {}
QV_CHECK_EXPORT_NAMED(QVUWP08, CQVAppx08)

CQVAppx09::CQVAppx09(MSIHANDLE hInstall) : CQVAppx08(hInstall, Name) {}
CQVAppx09::~CQVAppx09() = default;
_stringx<> CQVAppx09::GetName() const { return Name; }
_stringx<> CQVAppx09::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx09::Validate() {}
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
