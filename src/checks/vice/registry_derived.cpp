// Registry rows whose key shape shows something a virtual application cannot
// do: shell extensions, URL protocols, Default Programs registration, boot
// start services and COM DLL surrogates. Texts compare without regard to case.
#include "checks/vice/registry_derived.h"

#include <set>

#include "database/views.h"

namespace {

using NoCase = _stringx<qv::char_traitsi>;

// The text before the last backslash, empty without one.
NoCase Parent(const NoCase& path)
{
    const size_t slash = path.rfind(L'\\');
    return slash == NoCase::npos ? NoCase() : path.substr(0, slash);
}

// The text after the last backslash, all of it without one.
NoCase Leaf(const NoCase& path)
{
    const size_t slash = path.rfind(L'\\');
    return slash == NoCase::npos ? path : path.substr(slash + 1);
}

// One row of Registry, by position: 1 key, 2 Root, 3 Key, 4 Name, 5 Value.
struct RegistryRow {
    explicit RegistryRow(MSIHANDLE record)
        : registry(RecordFieldString(record, 1)),
          root(MsiRecordGetInteger(record, 2)),
          key(RecordFieldString(record, 3)),
          name(RecordFieldString(record, 4)),
          value(RecordFieldString(record, 5))
    {
    }
    _stringx<> registry;
    int root;
    NoCase key;
    NoCase name;
    NoCase value;
};

// The common frame: every row of a non-empty Registry table, in view order.
template <class F>
void ForEachRegistryRow(MSIHANDLE database, F&& row)
{
    if (TableEmptyOrAbsent(database, L"Registry"))
        return;
    ForEachRow(
        database, [&](MSIHANDLE record) { row(RegistryRow(record)); }, L"SELECT * FROM `%s`", L"Registry");
}

}  // namespace

// ---- QVVICE12: shell extensions -------------------------------------------------------

CQVVice12::CQVVice12(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice12::~CQVVice12() = default;
_stringx<> CQVVice12::GetName() const { return Name; }
_stringx<> CQVVice12::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVVice12::Validate()
{
    ForEachRegistryRow(m_database, [&](const RegistryRow& row) {
        // <type>\ShellEx\<handler> right under the classes, not deeper.
        if (Leaf(Parent(row.key)) != L"ShellEx")
            return;
        // A preview handler is no shell extension in this sense.
        if (Leaf(row.key) == L"{8895B1C6-B41F-4C1C-A562-0D564250836F}")
            return;
        const NoCase type = Parent(Parent(row.key));
        const bool counts = row.root == 0 ? !type.empty() && type.find(L'\\') == NoCase::npos
                                          : Parent(type) == L"Software\\Classes";
        if (!counts)
            return;
        m_location = {L"Registry", L"Registry", row.registry};
        ReportMessage(230, row.key, Severity);
    });
}

QV_CHECK_EXPORT(QVVICE12, CQVVice12)

// ---- QVVICE13: URL protocols ----------------------------------------------------------

CQVVice13::CQVVice13(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice13::~CQVVice13() = default;
_stringx<> CQVVice13::GetName() const { return Name; }
_stringx<> CQVVice13::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVVice13::Validate()
{
    // Friendly names once each, case ignored; the first spelling stays.
    std::set<NoCase> friendlyNames;
    ForEachRegistryRow(m_database, [&](const RegistryRow& row) {
        if (row.name != L"URL Protocol")
            return;
        bool counts;
        if (row.root != 0)
            counts = Parent(row.key) == L"Software\\Classes";
        else
            counts = row.value.empty() && row.key.find(L'\\') == NoCase::npos;
        if (!counts)
            return;
        // The key goes into the query as it stands; a quote in it fails the
        // query, and a protocol without a friendly name is not reported.
        qv::msi_handle view, record;
        if (TryFetchFirst(view.ref(), m_database, record.ref(),
                          L"SELECT * FROM `Registry` WHERE `Key` = '%s' AND `Name` = 'FriendlyTypeName'",
                          _stringx<>(row.key)) != ERROR_SUCCESS)
            return;
        friendlyNames.insert(RecordFieldString(record, 5));
    });
    for (const NoCase& name : friendlyNames) {
        m_location = {L"Registry", L"Value", name};
        ReportMessage(231, name, Severity);
    }
}

QV_CHECK_EXPORT(QVVICE13, CQVVice13)

// ---- QVVICE14: Default Programs -------------------------------------------------------

CQVVice14::CQVVice14(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice14::~CQVVice14() = default;
_stringx<> CQVVice14::GetName() const { return Name; }
_stringx<> CQVVice14::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVVice14::Validate()
{
    ForEachRegistryRow(m_database, [&](const RegistryRow& row) {
        if (row.key != L"Software\\RegisteredApplications" &&
            row.key != L"Software\\Wow6432Node\\RegisteredApplications")
            return;
        m_location = {L"Registry", L"Registry", row.registry};
        ReportMessage(232, row.name, Severity);
    });
}

QV_CHECK_EXPORT(QVVICE14, CQVVice14)

// ---- QVVICE15: boot start services ----------------------------------------------------

CQVVice15::CQVVice15(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice15::~CQVVice15() = default;
_stringx<> CQVVice15::GetName() const { return Name; }
_stringx<> CQVVice15::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVVice15::Validate()
{
    // Services authored in their table with the boot start type 0; a failed
    // query skips the pass.
    if (!TableEmptyOrAbsent(m_database, L"ServiceInstall")) {
        qv::msi_handle view;
        if (MsiDatabaseOpenViewW(m_database, L"SELECT * FROM `ServiceInstall` WHERE `StartType` = 0", &view.ref()) ==
                ERROR_SUCCESS &&
            MsiViewExecute(view, 0) == ERROR_SUCCESS) {
            FetchRows(view, [&](MSIHANDLE record) {
                const _stringx<> name = RecordFieldString(record, 2);
                m_location = {L"ServiceInstall", L"ServiceInstall", RecordFieldString(record, 1)};
                ReportMessage(233, name, Severity);
            });
        }
    }
    // Services written straight into the registry: Start = #0 under a
    // service key; the finding names the key's last part.
    static const wchar_t kServices[] = L"System\\CurrentControlSet\\Services\\";
    ForEachRegistryRow(m_database, [&](const RegistryRow& row) {
        if (row.key.size() < 34 || row.key.compare(0, 34, NoCase(kServices)) != 0)
            return;
        if (row.name != L"Start" || row.value != L"#0")
            return;
        m_location = {L"Registry", L"Registry", row.registry};
        ReportMessage(233, Leaf(row.key), Severity);
    });
}

QV_CHECK_EXPORT(QVVICE15, CQVVice15)

// ---- QVVICE18: COM DLL surrogates -----------------------------------------------------

CQVVice18::CQVVice18(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice18::~CQVVice18() = default;
_stringx<> CQVVice18::GetName() const { return Name; }
_stringx<> CQVVice18::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVVice18::Validate()
{
    ForEachRegistryRow(m_database, [&](const RegistryRow& row) {
        // An empty value is the system's own surrogate and passes.
        if (row.key.find(L"Software\\Classes\\AppID\\") == NoCase::npos || row.name != L"DllSurrogate" ||
            row.value.empty())
            return;
        m_location = {L"Registry", L"Key", row.key};
        ReportMessage(236, row.key, Severity);
    });
}

QV_CHECK_EXPORT(QVVICE18, CQVVice18)
