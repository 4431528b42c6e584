// Location and custom action checks: where the application installs by
// default, and which kinds of custom action a package may hold.
#include "checks/ice/location_custom_action.h"

#include "database/directory.h"
#include "database/views.h"

namespace {

bool StartsWithIgnoringCase(const _stringx<>& text, const wchar_t* prefix, size_t count)
{
    return _stringx<qv::char_traitsi>(text.substr(0, count)) == prefix;
}

}  // namespace

// ---- QVICE01 ---------------------------------------------------------------------

CQVIce01::CQVIce01(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce01::~CQVIce01() = default;
_stringx<> CQVIce01::GetName() const { return Name; }
_stringx<> CQVIce01::GetDescription() const { return LoadMessage(DescriptionId); }

// INSTALLDIR belongs below one of the per-machine program folders or the
// user's AppData folder.
void CQVIce01::Validate()
{
    _stringx<> root;
    if (!FindTopDirectory(m_database, L"INSTALLDIR", root))
        DebugLine(L"Unable to determine root directory. INSTALLDIR not found");
    DebugLine(L"INSTALLDIR root is %s", root);
    static const wchar_t* const kAllowed[] = {L"ProgramFilesFolder", L"ProgramFiles64Folder", L"CommonFilesFolder",
                                              L"CommonFiles64Folder", L"AppDataFolder"};
    for (const wchar_t* allowed : kAllowed) {
        if (root == allowed)
            return;
    }
    m_location = {L"Directory", L"Directory_Parent", L"INSTALLDIR"};
    ReportMessage(126, root, 1);
}
QV_CHECK_EXPORT(QVICE01, CQVIce01)

// ---- QVICE03 ---------------------------------------------------------------------

CQVIce03::CQVIce03(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce03::~CQVIce03() = default;
_stringx<> CQVIce03::GetName() const { return Name; }
_stringx<> CQVIce03::GetDescription() const { return LoadMessage(DescriptionId); }

// Nested installations, by their exact types only: option bits hide them.
void CQVIce03::Validate()
{
    if (!TablePresent(m_database, L"CustomAction"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            const int type = MsiRecordGetInteger(record, 2);
            if (type != 7 && type != 23 && type != 39)
                return;
            const _stringx<> action = RecordFieldString(record, 1);
            m_location = {L"CustomAction", L"Type", action};
            ReportMessage(103, action, qv::Format(L"%d", type), 1);
        },
        L"SELECT * FROM `%s`", L"CustomAction");
}
QV_CHECK_EXPORT(QVICE03, CQVIce03)

// ---- QVICE08 ---------------------------------------------------------------------

CQVIce08::CQVIce08(MSIHANDLE hInstall)
    : CQVIceBase(hInstall),
      m_exemptActions{L"QVSQLServerInstall", L"QVSQLServerUninstall", L"QVSQLServerRollback", L"InstallCEApps",
                      L"RemoveCEApps"}
{
}
CQVIce08::~CQVIce08() = default;
_stringx<> CQVIce08::GetName() const { return Name; }
_stringx<> CQVIce08::GetDescription() const { return LoadMessage(DescriptionId); }

// Deferred actions should run without impersonation. The table is read
// without a presence test: a package without custom actions ends in 124.
void CQVIce08::Validate()
{
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            const int type = MsiRecordGetInteger(record, 2);
            if (!(type & 0x400) || (type & 0x800))
                return;
            const _stringx<> action = RecordFieldString(record, 1);
            if (m_exemptActions.count(action))
                return;
            m_location = {L"CustomAction", L"Type", action};
            ReportMessage(119, action, 1);
        },
        L"SELECT * FROM `%s`", L"CustomAction");
}
QV_CHECK_EXPORT(QVICE08, CQVIce08)

// ---- QVICE09 ---------------------------------------------------------------------

CQVIce09::CQVIce09(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce09::~CQVIce09() = default;
_stringx<> CQVIce09::GetName() const { return Name; }
_stringx<> CQVIce09::GetDescription() const { return LoadMessage(DescriptionId); }

// Patching under UAC needs a certificate row.
void CQVIce09::Validate()
{
    if (TableEmptyOrAbsent(m_database, L"MsiPatchCertificate")) {
        m_location = {L"MsiPatchCertificate", L"", L""};
        ReportMessage(104, 1);
    }
}
QV_CHECK_EXPORT(QVICE09, CQVIce09)

// ---- QVICE10 ---------------------------------------------------------------------

CQVIce10::CQVIce10(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce10::~CQVIce10() = default;
_stringx<> CQVIce10::GetName() const { return Name; }
_stringx<> CQVIce10::GetDescription() const { return LoadMessage(DescriptionId); }

// Every custom action that runs code needs a documentation path in
// QVCustomActionReference; validation actions of the ICE kinds are exempt.
void CQVIce10::Validate()
{
    if (!TablePresent(m_database, L"CustomAction"))
        return;
    m_documentedActions.clear();
    if (TablePresent(m_database, L"QVCustomActionReference")) {
        ForEachRow(
            m_database,
            [this](MSIHANDLE record) {
                _stringx<> action = RecordFieldString(record, 1);
                if (!action.empty() && !RecordFieldString(record, 2).empty())
                    m_documentedActions.insert(std::move(action));
            },
            L"SELECT * FROM `%s`", L"QVCustomActionReference");
    }
    ForEachRow(
        m_database,
        [this](MSIHANDLE record) {
            const int type = MsiRecordGetInteger(record, 2);
            const int kind = type & 63;
            if (kind == 19 || kind == 35 || kind == 51)
                return;
            const _stringx<> action = RecordFieldString(record, 1);
            const size_t size = action.size();
            if ((size == 5 && StartsWithIgnoringCase(action, L"ICE", 3)) ||
                (size == 6 && StartsWithIgnoringCase(action, L"ICEM", 4)) ||
                (size == 7 && StartsWithIgnoringCase(action, L"QVICE", 5)))
                return;
            if (m_documentedActions.count(action))
                return;
            m_location = {L"CustomAction", L"Action", action};
            ReportMessage(115, action, qv::Format(L"%d", type), L"QVCustomActionReference", 1);
        },
        L"SELECT * FROM `%s`", L"CustomAction");
}
QV_CHECK_EXPORT(QVICE10, CQVIce10)
