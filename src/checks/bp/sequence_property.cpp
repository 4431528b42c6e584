// Sequence and property checks: custom actions left out of the execute
// sequence, ARP settings, and properties that a silent installation may not
// carry into the execute sequence.
#include "checks/bp/sequence_property.h"

#include "checks/bp/naming_dialog.h"
#include "database/views.h"

namespace {

// The row of action in a sequence table, through the no-throw lookup.
bool SequenceRow(MSIHANDLE database, const wchar_t* table, const _stringx<>& action, qv::msi_handle& record)
{
    qv::msi_handle view;
    return TryFetchFirst(view.ref(), database, record.ref(), L"SELECT * FROM `%s` WHERE `%s`='%s'", table, L"Action",
                         action) == ERROR_SUCCESS;
}

}  // namespace

// ---- QVBP06 ----------------------------------------------------------------------

CQVBP06::CQVBP06(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP06::~CQVBP06() = default;
_stringx<> CQVBP06::GetName() const { return Name; }
_stringx<> CQVBP06::GetDescription() const { return LoadMessage(DescriptionId); }

// A custom action in the UI sequence only is skipped by silent installs.
void CQVBP06::Validate()
{
    if (!TablePresent(m_database, L"CustomAction") || !TablePresent(m_database, L"InstallUISequence") ||
        !TablePresent(m_database, L"InstallExecuteSequence"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            const _stringx<> action = RecordFieldString(record, 1);
            qv::msi_handle row;
            if (!SequenceRow(m_database, L"InstallExecuteSequence", action, row)) {
                m_location = {L"CustomAction", L"Action", action};
                ReportMessage(176, action, 2);
            }
        },
        L"SELECT * FROM `%s`,`%s` WHERE `%s`.`%s`=`%s`.`%s`", L"CustomAction", L"InstallUISequence",
        L"CustomAction", L"Action", L"InstallUISequence", L"Action");
}
QV_CHECK_EXPORT(QVBP06, CQVBP06)

// ---- QVBP08 ----------------------------------------------------------------------

CQVBP08::CQVBP08(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP08::~CQVBP08() = default;
_stringx<> CQVBP08::GetName() const { return Name; }
_stringx<> CQVBP08::GetDescription() const { return LoadMessage(DescriptionId); }

// ARPINSTALLLOCATION needs a plain type 51 action sequenced no earlier than
// CostFinalize, when directories have their final values. The location
// tells how far the search came.
void CQVBP08::Validate()
{
    if (!TablePresent(m_database, L"CustomAction"))
        return;
    m_location = {L"CustomAction", L"", L""};
    qv::msi_handle view, record;
    if (TryFetchFirst(view.ref(), m_database, record.ref(),
                      L"SELECT * FROM `%s` WHERE `%s`='ARPINSTALLLOCATION' AND `%s`=51", L"CustomAction", L"Source",
                      L"Type") != ERROR_SUCCESS) {
        ReportMessage(181, 2);
        return;
    }
    const _stringx<> action = RecordFieldString(record, 1);
    m_location = {L"CustomAction", L"Action", action};

    qv::msi_handle actionRow;
    if (!SequenceRow(m_database, L"InstallExecuteSequence", action, actionRow)) {
        ReportMessage(181, 2);
        return;
    }
    const int sequence = MsiRecordGetInteger(actionRow, 3);
    m_location = {L"InstallExecuteSequence", L"Sequence", action};

    qv::msi_handle costFinalize;
    if (!SequenceRow(m_database, L"InstallExecuteSequence", L"CostFinalize", costFinalize) ||
        MsiRecordGetInteger(costFinalize, 3) > sequence) {
        ReportMessage(181, 2);
    }
    // On success the location stays pending, as the search left it.
}
QV_CHECK_EXPORT(QVBP08, CQVBP08)

// ---- QVBP09 ----------------------------------------------------------------------

CQVBP09::CQVBP09(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP09::~CQVBP09() = default;
_stringx<> CQVBP09::GetName() const { return Name; }
_stringx<> CQVBP09::GetDescription() const { return LoadMessage(DescriptionId); }

// With LIMITUI, Add or Remove Programs must not offer a modify button.
void CQVBP09::Validate()
{
    if (!TablePresent(m_database, L"Property"))
        return;
    qv::msi_handle view, record;
    const bool limitUI = TryFetchFirst(view.ref(), m_database, record.ref(),
                                       L"SELECT * FROM `Property` WHERE `Property`='%s'", L"LIMITUI") == ERROR_SUCCESS;
    const bool noModify = TryFetchFirst(view.ref(), m_database, record.ref(),
                                        L"SELECT * FROM `Property` WHERE `Property`='%s'",
                                        L"ARPNOMODIFY") == ERROR_SUCCESS;
    if (limitUI && !noModify) {
        m_location = {L"Property", L"Property", L""};
        ReportMessage(183, 1);
    }
}
QV_CHECK_EXPORT(QVBP09, CQVBP09)

// ---- QVBP10 ----------------------------------------------------------------------

CQVBP10::CQVBP10(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP10::~CQVBP10() = default;
_stringx<> CQVBP10::GetName() const { return Name; }
_stringx<> CQVBP10::GetDescription() const { return LoadMessage(DescriptionId); }

// A public AppSearch property must be secure to reach the execute sequence;
// private ones are not this check's concern.
void CQVBP10::Validate()
{
    if (!TablePresent(m_database, L"AppSearch"))
        return;
    std::set<_stringx<>> secure;
    BuildSecureNameSet(m_database, secure);
    ForEachRow(
        m_database,
        [&](MSIHANDLE record) {
            const _stringx<> property = RecordFieldString(record, 1);
            const _stringx<> signature = RecordFieldString(record, 2);
            if (HasLowerCase(property) || secure.count(property))
                return;
            m_location = {L"AppSearch", L"Property", signature};
            ReportMessage(185, signature, property, 2);
        },
        L"SELECT * FROM `%s`", L"AppSearch");
}
QV_CHECK_EXPORT(QVBP10, CQVBP10)

// ---- QVBP13 ----------------------------------------------------------------------

CQVBP13::CQVBP13(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP13::~CQVBP13() = default;
_stringx<> CQVBP13::GetName() const { return Name; }
_stringx<> CQVBP13::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVBP13::CollectColumn(std::set<_stringx<>>& names, const wchar_t* table, UINT field)
{
    if (!TablePresent(m_database, table))
        return;
    ForEachRow(
        m_database,
        [&](MSIHANDLE record) {
            _stringx<> value = RecordFieldString(record, field);
            if (!value.empty())
                names.insert(std::move(value));
        },
        L"SELECT * FROM `%s`", table);
}

void CQVBP13::RemoveColumn(std::set<_stringx<>>& names, const wchar_t* table, UINT field)
{
    if (!TablePresent(m_database, table))
        return;
    ForEachRow(
        m_database, [&](MSIHANDLE record) { names.erase(RecordFieldString(record, field)); }, L"SELECT * FROM `%s`",
        table);
}

void CQVBP13::ScanColumn(const std::set<_stringx<>>& names, const wchar_t* table, UINT field)
{
    if (!TablePresent(m_database, table))
        return;
    qv::msi_handle view;
    OpenView(view.ref(), m_database, L"SELECT * FROM `%s`", table);
    qv::msi_handle columns;
    CheckInstallerResult(MsiViewGetColumnInfo(view, MSICOLINFO_NAMES, &columns.ref()), L"MsiViewGetColumnInfo");
    const _stringx<> column = RecordFieldString(columns, field);
    const bool secondKey = _stringx<>(table) == L"QVXmlElementAttrib";

    FetchRows(view, [&](MSIHANDLE record) {
        const _stringx<> value = RecordFieldString(record, field);
        if (value.empty())
            return;
        const auto size = value.size();
        _stringx<>::size_type position = 0;
        for (;;) {
            const auto open = value.find(L'[', position);
            if (open == _stringx<>::npos || size - open < 2)
                break;
            const bool escaped = value[open + 1] == L'\\';
            if (escaped && open + 2 == size)
                break;
            const auto close = value.find(L']', open + (escaped ? 3 : 1));
            if (close == _stringx<>::npos)
                break;
            const _stringx<> name = value.substr(open + 1, close - open - 1);
            if (names.count(name)) {
                m_location = {table, column, RecordFieldString(record, 1)};
                if (secondKey)
                    m_location.push_back(RecordFieldString(record, 2));
                ReportMessage(192, name, table, 2);
            }
            position = close;
        }
    });
}

// Properties set only by dialog controls and without a default are empty in
// a silent installation, yet the data tables use them.
void CQVBP13::Validate()
{
    std::set<_stringx<>> names;
    CollectColumn(names, L"Control", 9);
    RemoveColumn(names, L"Property", 1);

    static const struct {
        const wchar_t* table;
        UINT field;
    } kColumns[] = {
        {L"Registry", 3},          {L"Registry", 4},           {L"Registry", 5},      {L"Environment", 2},
        {L"Environment", 3},       {L"IniFile", 4},            {L"IniFile", 5},       {L"IniFile", 6},
        {L"QVXmlElement", 5},      {L"QVXmlElementAttrib", 3}, {L"QVXmlElementAttrib", 4},
    };
    for (const auto& c : kColumns)
        ScanColumn(names, c.table, c.field);
}
QV_CHECK_EXPORT(QVBP13, CQVBP13)
