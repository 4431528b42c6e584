#include "checks/uwp/table_shortcut.h"

#include "database/views.h"
#include "inspect/content_inspector.h"

namespace {

// One finding, at the table, when the table holds any row.
void ReportTableRows(CQVViceBase& check, const wchar_t* table, UINT messageId)
{
    if (TableEmptyOrAbsent(check.Database(), table))
        return;
    check.Location() = {table};
    check.ReportMessage(messageId, check.Severity);
}

// One finding, at the Shortcut table, when the count calls for it.
void ReportShortcuts(CQVViceBase& check, bool found, UINT messageId)
{
    if (!found)
        return;
    check.Location() = {L"Shortcut"};
    check.ReportMessage(messageId, check.Severity);
}

}  // namespace

CQVAppx01::CQVAppx01(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx01::~CQVAppx01() = default;
_stringx<> CQVAppx01::GetName() const { return Name; }
_stringx<> CQVAppx01::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx01::Validate() { ReportTableRows(*this, L"ServiceInstall", 264); }
QV_CHECK_EXPORT(QVUWP01, CQVAppx01)

CQVAppx03::CQVAppx03(MSIHANDLE hInstall, const _stringx<>& name) : CQVViceBase(name, hInstall) {}
CQVAppx03::~CQVAppx03() = default;
_stringx<> CQVAppx03::GetName() const { return Name; }
_stringx<> CQVAppx03::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx03::Validate() { ReportShortcuts(*this, CountApplicationShortcuts() == 0, 267); }

int CQVAppx03::CountApplicationShortcuts()
{
    LoadShortcuts();
    LoadFeatures();
    int count = 0;
    for (const auto& [key, holder] : m_shortcuts) {
        if (IsApplicationShortcut(*holder.get()))
            ++count;
    }
    return count;
}

bool CQVAppx03::IsApplicationShortcut(const Shortcut& shortcut)
{
    const _stringx<>& target = shortcut.target;
    // An advertised shortcut names a feature. A target that is neither
    // formatted nor a feature still goes on to the path test.
    if ((target.empty() || target[0] != L'[') && m_features.find(target) != m_features.end())
        return true;
    const auto& installed = InstalledTargets();
    const _stringx<> path = FormatTargetPath(target);
    const _stringx<qv::char_traitsi> extension(FileNameExtension(path).c_str());
    if (extension != L".exe")
        return false;
    const _stringx<qv::char_traitsi> wanted(path.c_str(), path.size());
    for (const auto& candidate : installed) {
        if (candidate == wanted)
            return true;
    }
    return false;
}
QV_CHECK_EXPORT_NAMED(QVUWP03, CQVAppx03)

CQVAppx04::CQVAppx04(MSIHANDLE hInstall) : CQVAppx03(hInstall, Name) {}
CQVAppx04::~CQVAppx04() = default;
_stringx<> CQVAppx04::GetName() const { return Name; }
_stringx<> CQVAppx04::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx04::Validate() { ReportShortcuts(*this, CountApplicationShortcuts() >= 2, 269); }
QV_CHECK_EXPORT(QVUWP04, CQVAppx04)

CQVAppx05::CQVAppx05(MSIHANDLE hInstall) : CQVAppx03(hInstall, Name) {}
CQVAppx05::~CQVAppx05() = default;
_stringx<> CQVAppx05::GetName() const { return Name; }
_stringx<> CQVAppx05::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx05::Validate() { ReportShortcuts(*this, CountApplicationShortcuts() > 0, 271); }
QV_CHECK_EXPORT(QVUWP05, CQVAppx05)

CQVAppx16::CQVAppx16(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx16::~CQVAppx16() = default;
_stringx<> CQVAppx16::GetName() const { return Name; }
_stringx<> CQVAppx16::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx16::Validate() { ReportTableRows(*this, L"QVSQLScriptFile", 293); }
QV_CHECK_EXPORT(QVUWP16, CQVAppx16)

CQVAppx17::CQVAppx17(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx17::~CQVAppx17() = default;
_stringx<> CQVAppx17::GetName() const { return Name; }
_stringx<> CQVAppx17::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx17::Validate() { ReportTableRows(*this, L"QVSearchReplace", 295); }
QV_CHECK_EXPORT(QVUWP17, CQVAppx17)

CQVAppx18::CQVAppx18(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx18::~CQVAppx18() = default;
_stringx<> CQVAppx18::GetName() const { return Name; }
_stringx<> CQVAppx18::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx18::Validate() { ReportTableRows(*this, L"QVXmlElement", 297); }
QV_CHECK_EXPORT(QVUWP18, CQVAppx18)

CQVAppx19::CQVAppx19(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx19::~CQVAppx19() = default;
_stringx<> CQVAppx19::GetName() const { return Name; }
_stringx<> CQVAppx19::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx19::Validate() { ReportTableRows(*this, L"QVScheduledTasks", 299); }
QV_CHECK_EXPORT(QVUWP19, CQVAppx19)
