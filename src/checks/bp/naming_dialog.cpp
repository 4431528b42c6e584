// Naming and dialog checks: one or two table walks each, reported by plain
// rules.
#include "checks/bp/naming_dialog.h"

#include <string>

#include "database/views.h"

// ---- shared with the property checks -------------------------------------------

void BuildSecureNameSet(MSIHANDLE database, std::set<_stringx<>>& names)
{
    names.insert(L"ACTION");
    if (TablePresent(database, L"Property")) {
        qv::msi_handle view, record;
        if (TryFetchFirst(view.ref(), database, record.ref(), L"SELECT * FROM `%s` WHERE `%s`='SecureCustomProperties'",
                          L"Property", L"Property") == ERROR_SUCCESS) {
            const _stringx<> list = RecordFieldString(record, 2);
            _stringx<>::size_type start = 0;
            for (;;) {
                const auto semicolon = list.find(L';', start);
                if (semicolon == _stringx<>::npos) {
                    names.insert(list.substr(start));
                    break;
                }
                names.insert(list.substr(start, semicolon - start));
                start = semicolon + 1;
            }
        }
    }
    // Directory keys are public properties the installer passes on.
    if (TablePresent(database, L"Directory")) {
        ForEachRow(
            database, [&](MSIHANDLE record) { names.insert(RecordFieldString(record, 1)); }, L"SELECT * FROM `%s`",
            L"Directory");
    }
}

bool HasLowerCase(const _stringx<>& name)
{
    std::wstring upper(name.data(), name.size());
    CharUpperW(upper.data());
    return upper.compare(0, upper.size(), name.data(), name.size()) != 0;
}

namespace {

// Sum of two table integers with two's complement wrap, so that a null
// (0x80000000) in a damaged row gives a number instead of an overflow.
int WrappingSum(int a, int b)
{
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}

}  // namespace

// ---- QVBP02 ----------------------------------------------------------------------

CQVBP02::CQVBP02(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP02::~CQVBP02() = default;
_stringx<> CQVBP02::GetName() const { return Name; }
_stringx<> CQVBP02::GetDescription() const { return LoadMessage(DescriptionId); }

// Only the upper-case name clashes with the installer's own DATABASE folder.
void CQVBP02::Validate()
{
    if (!TablePresent(m_database, L"Directory"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            const _stringx<> directory = RecordFieldString(record, 1);
            if (directory.size() == 8 && directory == L"DATABASE") {
                m_location = {L"Directory", L"Directory", directory};
                ReportMessage(167, 1);
            }
        },
        L"SELECT * FROM `%s`", L"Directory");
}
QV_CHECK_EXPORT(QVBP02, CQVBP02)

// ---- QVBP03 ----------------------------------------------------------------------

CQVBP03::CQVBP03(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP03::~CQVBP03() = default;
_stringx<> CQVBP03::GetName() const { return Name; }
_stringx<> CQVBP03::GetDescription() const { return LoadMessage(DescriptionId); }

// The query does the filtering: every ComboBox lower than 50 comes back.
void CQVBP03::Validate()
{
    if (!TablePresent(m_database, L"Control"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            const _stringx<> dialog = RecordFieldString(record, 1);
            const _stringx<> control = RecordFieldString(record, 2);
            m_location = {L"Control", L"Height", dialog, control};
            ReportMessage(169, dialog, control, 2);
        },
        L"Select * from `%s` WHERE `%s`='ComboBox' AND Height < 50", L"Control", L"Type");
}
QV_CHECK_EXPORT(QVBP03, CQVBP03)

// ---- QVBP04 ----------------------------------------------------------------------

CQVBP04::CQVBP04(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP04::~CQVBP04() = default;
_stringx<> CQVBP04::GetName() const { return Name; }
_stringx<> CQVBP04::GetDescription() const { return LoadMessage(DescriptionId); }

// A property set on a dialog reaches the execute sequence only when it is
// public and secure; _QVSafeProperty lists (dialog, property) exemptions.
void CQVBP04::Validate()
{
    if (!TablePresent(m_database, L"Control"))
        return;
    std::set<_stringx<>> secure;
    BuildSecureNameSet(m_database, secure);

    std::set<std::pair<_stringx<>, _stringx<>>> safe;
    if (TablePresent(m_database, L"_QVSafeProperty")) {
        ForEachRow(
            m_database,
            [&](MSIHANDLE record) { safe.emplace(RecordFieldString(record, 1), RecordFieldString(record, 2)); },
            L"SELECT * FROM `%s`", L"_QVSafeProperty");
    }

    ForEachRow(
        m_database,
        [&](MSIHANDLE record) {
            const _stringx<> property = RecordFieldString(record, 9);
            const _stringx<> dialog = RecordFieldString(record, 1);
            const _stringx<> control = RecordFieldString(record, 2);
            if (safe.count({dialog, property}))
                return;
            if (HasLowerCase(property)) {
                m_location = {L"Control", L"Property", dialog, control};
                ReportMessage(171, dialog, control, property, 2);
            } else if (!property.empty() && !secure.count(property)) {
                m_location = {L"Control", L"Property", dialog, control};
                ReportMessage(172, dialog, control, property, 2);
            }
        },
        L"SELECT * FROM `%s`", L"Control");
}
QV_CHECK_EXPORT(QVBP04, CQVBP04)

// ---- QVBP05 ----------------------------------------------------------------------

CQVBP05::CQVBP05(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP05::~CQVBP05() = default;
_stringx<> CQVBP05::GetName() const { return Name; }
_stringx<> CQVBP05::GetDescription() const { return LoadMessage(DescriptionId); }

// A control event without a condition never runs; one blank counts as none.
void CQVBP05::Validate()
{
    if (!TablePresent(m_database, L"ControlEvent"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            const _stringx<> dialog = RecordFieldString(record, 1);
            const _stringx<> control = RecordFieldString(record, 2);
            const _stringx<> event = RecordFieldString(record, 3);
            const _stringx<> argument = RecordFieldString(record, 4);
            m_location = {L"ControlEvent", L"Condition", dialog, control, event, argument, L""};
            ReportMessage(174, dialog, control, 2);
        },
        L"SELECT * FROM `%s` WHERE `%s` IS NULL OR `%s`=' '", L"ControlEvent", L"Condition", L"Condition");
}
QV_CHECK_EXPORT(QVBP05, CQVBP05)

// ---- QVBP15 ----------------------------------------------------------------------

CQVBP15::CQVBP15(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP15::~CQVBP15() = default;
_stringx<> CQVBP15::GetName() const { return Name; }
_stringx<> CQVBP15::GetDescription() const { return LoadMessage(DescriptionId); }

// A borderless RadioButtonGroup with text repaints badly over any other
// control whose top-left corner lies strictly inside it.
void CQVBP15::Validate()
{
    if (!TablePresent(m_database, L"Control"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            if (RecordFieldString(record, 10).empty())
                return;
            const int attributes = MsiRecordGetInteger(record, 8);
            if (attributes & 0x1000000)
                return;
            const int x = MsiRecordGetInteger(record, 4);
            const int y = MsiRecordGetInteger(record, 5);
            const int width = MsiRecordGetInteger(record, 6);
            const int height = MsiRecordGetInteger(record, 7);
            const _stringx<> dialog = RecordFieldString(record, 1);
            const _stringx<> control = RecordFieldString(record, 2);

            qv::msi_handle inside;
            OpenView(inside.ref(), m_database,
                     L"SELECT * FROM `%s` WHERE `%s`='%s' AND `%s`<>'RadioButton' AND `%s` > %d AND `%s` < %d AND "
                     L"`%s` > %d AND `%s` < %d",
                     L"Control", L"Dialog_", dialog, L"Type", L"X", x, L"X", WrappingSum(x, width), L"Y", y, L"Y",
                     WrappingSum(y, height));
            qv::msi_handle first;
            const UINT result = MsiViewFetch(inside, &first.ref());
            if (result == ERROR_SUCCESS) {
                m_location = {L"Control", L"Text", dialog, control};
                ReportMessage(197, dialog, control, 1);
            } else if (result != ERROR_NO_MORE_ITEMS) {
                CheckInstallerResult(result, L"MsiViewFetch");
            }
        },
        L"SELECT * FROM `%s` WHERE `%s`='RadioButtonGroup' AND `%s` IS NOT NULL", L"Control", L"Type", L"Text");
}
QV_CHECK_EXPORT(QVBP15, CQVBP15)
