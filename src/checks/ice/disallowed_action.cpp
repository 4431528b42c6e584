// QVICE17: actions listed in _QVDisallowedAction, wherever a sequence
// schedules them or a control event triggers them.
// QVICE18: the MsiRMFilesInUse dialog, with the product's name in its title.
#include "checks/ice/disallowed_action.h"

#include "database/views.h"

namespace {

const wchar_t* const kDoActionEvent = L"DoAction";
const wchar_t* const kFilesInUseDialog = L"MsiRMFilesInUse";
const wchar_t* const kProductNameToken = L"[ProductName]";
const wchar_t* const kProductNameProperty = L"ProductName";

const wchar_t* const kSequenceTables[] = {
    L"InstallExecuteSequence",       L"InstallUISequence",        L"AdminExecuteSequence",
    L"AdminUISequence",              L"AdvtExecuteSequence",      L"AdvtUISequence",
    L"ModuleInstallExecuteSequence", L"ModuleInstallUISequence",  L"ModuleAdminExecuteSequence",
    L"ModuleAdminUISequence",        L"ModuleAdvtExecuteSequence", L"ModuleAdvtUISequence",
};

}  // namespace

CQVIce17::CQVIce17(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce17::~CQVIce17() = default;
_stringx<> CQVIce17::GetName() const { return Name; }
_stringx<> CQVIce17::GetDescription() const { return LoadMessage(DescriptionId); }

// The reference table is read without a presence test: a package without it
// ends the check with message 124. Every action walks all tables anew, so the
// findings come grouped by action; conditions are not looked at.
void CQVIce17::Validate()
{
    ForEachRow(
        m_database,
        [this](MSIHANDLE disallowed) {
            const _stringx<> action = RecordFieldString(disallowed, 1);
            ReportScheduled(action);
            ReportTriggered(action);
        },
        L"SELECT * FROM `%s`", L"_QVDisallowedAction");
}

void CQVIce17::ReportScheduled(const _stringx<>& action)
{
    for (const wchar_t* table : kSequenceTables) {
        if (!TablePresent(m_database, table))
            continue;
        const _stringx<> sequence = table;
        ForEachRow(
            m_database,
            [&](MSIHANDLE row) {
                if (RecordFieldString(row, 1) != action)
                    return;
                m_location.clear();
                m_location.push_back(sequence);
                m_location.push_back(L"Action");
                m_location.push_back(action);
                ReportMessage(144, action, sequence, 1);
            },
            L"SELECT * FROM `%s`", table);
    }
}

void CQVIce17::ReportTriggered(const _stringx<>& action)
{
    if (!TablePresent(m_database, L"ControlEvent"))
        return;
    ForEachRow(
        m_database,
        [&](MSIHANDLE row) {
            if (RecordFieldString(row, 3) != kDoActionEvent || RecordFieldString(row, 4) != action)
                return;
            m_location.clear();
            m_location.push_back(L"ControlEvent");
            m_location.push_back(L"Argument");
            for (UINT field = 1; field <= 5; ++field)
                m_location.push_back(RecordFieldString(row, field));
            ReportMessage(145, action, m_location[3], m_location[2], 1);
        },
        L"SELECT * FROM `%s`", L"ControlEvent");
}

QV_CHECK_EXPORT(QVICE17, CQVIce17)

CQVIce18::CQVIce18(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce18::~CQVIce18() = default;
_stringx<> CQVIce18::GetName() const { return Name; }
_stringx<> CQVIce18::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVIce18::Validate()
{
    // The walk stops at the first row of the dialog; its title is field 7.
    bool found = false;
    _stringx<> title;
    if (TablePresent(m_database, L"Dialog")) {
        qv::msi_handle view;
        qv::msi_handle record;
        OpenView(view.ref(), m_database, L"SELECT * FROM `%s`", L"Dialog");
        for (;;) {
            record.reset();
            const UINT result = MsiViewFetch(view, &record.ref());
            if (result == ERROR_NO_MORE_ITEMS)
                break;
            CheckInstallerResult(result, L"MsiViewFetch");
            if (RecordFieldString(record, 1) == kFilesInUseDialog) {
                found = true;
                title = RecordFieldString(record, 7);
                break;
            }
        }
    }

    if (!found) {
        m_location.clear();
        m_location.push_back(L"Dialog");
        m_location.push_back(L"Title");
        m_location.push_back(kFilesInUseDialog);
        ReportMessage(146, kFilesInUseDialog, 1);
        return;
    }

    // Either the token or the authored product name, in exact case, anywhere
    // in the title.
    if (title.find(kProductNameToken) != _stringx<>::npos)
        return;
    const _stringx<> productName = GetPropertyTableValue(kProductNameProperty);
    if (!productName.empty() && title.find(productName) != _stringx<>::npos)
        return;

    m_location.clear();
    m_location.push_back(L"Dialog");
    m_location.push_back(L"Title");
    m_location.push_back(kFilesInUseDialog);
    ReportMessage(147, kFilesInUseDialog, productName, 1);
}

QV_CHECK_EXPORT(QVICE18, CQVIce18)
