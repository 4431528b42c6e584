// Authoring in IIS, driver and COM+ tables, which a virtual application
// cannot carry. No file is looked at.
#include "checks/vice/iis_driver_complus.h"

#include "database/views.h"

namespace {

// Catalogue ids of the item type labels of QVIISItem; 0 loads nothing.
UINT ItemLabelId(int type)
{
    switch (type) {
    case 1: return 255;  // web site
    case 2: return 256;  // application
    case 3: return 257;  // virtual directory
    case 4: return 258;  // application pool
    case 5: return 259;  // web service extension
    default: return 0;
    }
}

}  // namespace

// ---- QVVICE09 -----------------------------------------------------------------------

CQVVice09::CQVVice09(MSIHANDLE hInstall, const _stringx<>& name) : CQVViceBase(name, hInstall) {}
CQVVice09::~CQVVice09() = default;
_stringx<> CQVVice09::GetName() const { return Name; }
_stringx<> CQVVice09::GetDescription() const { return LoadMessage(DescriptionId); }
UINT CQVVice09::ChooseMessage() const { return 227; }

void CQVVice09::Validate()
{
    // The items, with their type as label; a failed query skips them silently.
    if (TablePresent(m_database, L"QVIISItem")) {
        qv::msi_handle view;
        if (MsiDatabaseOpenViewW(m_database, L"SELECT * FROM `QVIISItem`", &view.ref()) == ERROR_SUCCESS &&
            MsiViewExecute(view, 0) == ERROR_SUCCESS) {
            FetchRows(view, [&](MSIHANDLE record) {
                // The top bit cleared: a null type reads as 0 and gets no label.
                const int type = MsiRecordGetInteger(record, 4) & 0x7FFFFFFF;
                const _stringx<> key = RecordFieldString(record, 1);
                const _stringx<> label = LoadMessage(ItemLabelId(type));
                m_location = {L"QVIISItem", L"QVIISItem", key};
                ReportMessage(ChooseMessage(), label, key, Severity);
            });
        }
    }
    // The other IIS tables always say 227, also in a subclass.
    ReportTableRows(L"QVIISCommon", L"QVIISCommon", 1, 227, 257);
    ReportTableRows(L"QVIISAppPool", L"AppPool", 1, 227, 258);
    ReportTableRows(L"QVIISWebServiceExtension", L"WebServiceExtension", 1, 227, 259);
}

void CQVVice09::ReportTableRows(const wchar_t* table, const wchar_t* locationColumn, UINT keyColumn, UINT messageId,
                                UINT labelId)
{
    if (!TablePresent(m_database, table))
        return;
    qv::msi_handle view;
    try {
        OpenView(view.ref(), m_database, L"SELECT * FROM `%s`", table);
    } catch (const com_exception& failure) {
        // Only the opening is guarded: a failed fetch below ends the check.
        _stringx<> line;
        FormatString(line, L"Exception 0x%08x occurred while attempting to query table %s", failure.Error(), table);
        DebugLine(line);
        return;
    }
    FetchRows(view, [&](MSIHANDLE record) {
        const _stringx<> key = RecordFieldString(record, keyColumn);
        const _stringx<> label = LoadMessage(labelId);
        m_location = {table, locationColumn, key};
        ReportMessage(messageId, label, key, Severity);
    });
}

QV_CHECK_EXPORT_NAMED(QVVICE09, CQVVice09)

// ---- QVVICE10 -----------------------------------------------------------------------

CQVVice10::CQVVice10(MSIHANDLE hInstall, const _stringx<>& name) : CQVViceBase(name, hInstall) {}
CQVVice10::~CQVVice10() = default;
_stringx<> CQVVice10::GetName() const { return Name; }
_stringx<> CQVVice10::GetDescription() const { return LoadMessage(DescriptionId); }
UINT CQVVice10::ChooseMessage() const { return 228; }

void CQVVice10::Validate()
{
    if (!TablePresent(m_database, L"MsiDriverPackages"))
        return;
    qv::msi_handle view;
    if (MsiDatabaseOpenViewW(m_database, L"SELECT * FROM `MsiDriverPackages`", &view.ref()) != ERROR_SUCCESS ||
        MsiViewExecute(view, 0) != ERROR_SUCCESS)
        return;
    FetchRows(view, [&](MSIHANDLE record) {
        const _stringx<> component = RecordFieldString(record, 1);
        m_location = {L"MsiDriverPackages", L"Component", component};
        ReportMessage(ChooseMessage(), component, Severity);
    });
}

QV_CHECK_EXPORT_NAMED(QVVICE10, CQVVice10)

// ---- QVVICE17 -----------------------------------------------------------------------

CQVVice17::CQVVice17(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice17::~CQVVice17() = default;
_stringx<> CQVVice17::GetName() const { return Name; }
_stringx<> CQVVice17::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVVice17::Validate()
{
    // One finding per row, in the two COM+ tables in turn.
    const struct {
        const wchar_t* table;
        UINT componentColumn;
    } passes[] = {{L"Complus", 1}, {L"QVComPlusApplication", 3}};
    for (const auto& pass : passes) {
        if (TableEmptyOrAbsent(m_database, pass.table))
            continue;
        ForEachRow(
            m_database,
            [&](MSIHANDLE record) {
                const _stringx<> component = RecordFieldString(record, pass.componentColumn);
                m_location = {pass.table, L"Component_", component};
                ReportMessage(235, component, Severity);
            },
            L"SELECT * FROM `%s`", pass.table);
    }
}

QV_CHECK_EXPORT(QVVICE17, CQVVice17)
