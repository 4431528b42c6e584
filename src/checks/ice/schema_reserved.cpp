// QVICE04: standard tables whose columns differ from the schema stored in
// _QVTableSchema. QVICE05: properties and tables named in the installer's
// reserved "MSI" range, unless the reference data lists them.
#include "checks/ice/schema_reserved.h"

#include "database/views.h"

namespace {

// Pieces between separators, empty ones kept.
std::vector<_stringx<>> SplitAt(const _stringx<>& text, wchar_t separator)
{
    std::vector<_stringx<>> pieces;
    size_t start = 0;
    for (;;) {
        const size_t at = text.find(separator, start);
        if (at == _stringx<>::npos) {
            pieces.push_back(text.substr(start));
            return pieces;
        }
        pieces.push_back(text.substr(start, at - start));
        start = at + 1;
    }
}

wchar_t FirstCharacter(const _stringx<>& text) { return text.empty() ? L'\0' : text.data()[0]; }

// Column names (0) or types (1) of an open view.
qv::msi_handle ColumnInfo(MSIHANDLE view, MSICOLINFO kind)
{
    qv::msi_handle record;
    CheckInstallerResult(MsiViewGetColumnInfo(view, kind, &record.ref()), L"MsiViewGetColumnInfo");
    return record;
}

}  // namespace

CQVIce04::CQVIce04(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce04::~CQVIce04() = default;
_stringx<> CQVIce04::GetName() const { return Name; }
_stringx<> CQVIce04::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVIce04::Validate()
{
    LoadTableSchemas();
    ForEachRow(
        m_database,
        [this](MSIHANDLE row) {
            const _stringx<> table = RecordFieldString(row, 1);
            // System and reference tables are not standard tables.
            if (!table.empty() && table.data()[0] == L'_')
                return;
            if (TableMatchesSchema(table))
                return;
            m_location.clear();
            m_location.push_back(table);
            m_location.push_back(L"");
            m_location.push_back(L"");
            ReportMessage(127, table, 1);
        },
        L"SELECT * FROM `%s`", L"_Tables");
}

// Each schema text is a run of name(type) entries side by side; a second row
// for one table appends to its columns.
void CQVIce04::LoadTableSchemas()
{
    ForEachRow(
        m_database,
        [this](MSIHANDLE row) {
            const _stringx<> table = RecordFieldString(row, 1);
            const _stringx<> schema = RecordFieldString(row, 2);
            std::vector<_stringx<>> entries = SplitAt(schema, L')');
            if (!entries.empty() && entries.back().empty())
                entries.pop_back();
            StoredTableSchema& stored = m_knownTableSchemas[table];
            for (const _stringx<>& entry : entries) {
                const std::vector<_stringx<>> parts = SplitAt(entry, L'(');
                if (parts.size() != 2) {
                    DebugLine(L"Column schema doesn't have two parts: %s", entry);
                    continue;
                }
                stored.names.push_back(parts[0]);
                stored.types.push_back(parts[1]);
            }
        },
        L"SELECT * FROM `%s`", L"_QVTableSchema");
}

// One-sided on purpose: the view's columns are held against the stored ones
// in order; columns beyond them must be temporary, and a table with fewer
// columns than stored passes. Only the first letter of a type is compared,
// as its case carries the nullability and the length may differ.
bool CQVIce04::TableMatchesSchema(const _stringx<>& table)
{
    const auto known = m_knownTableSchemas.find(table);
    if (known == m_knownTableSchemas.end()) {
        DebugLine(L"Table %s lacks stored schema information", table);
        return true;
    }
    const StoredTableSchema& stored = known->second;

    qv::msi_handle view;
    OpenView(view.ref(), m_database, L"SELECT * FROM `%s`", table);
    const qv::msi_handle names = ColumnInfo(view, MSICOLINFO_NAMES);
    const qv::msi_handle types = ColumnInfo(view, MSICOLINFO_TYPES);

    const UINT count = MsiRecordGetFieldCount(names);
    std::vector<_stringx<>> columnNames;
    std::vector<_stringx<>> columnTypes;
    for (UINT field = 1; field <= count; ++field) {
        columnNames.push_back(RecordFieldString(names, field));
        columnTypes.push_back(RecordFieldString(types, field));
    }
    return ColumnsMatch(stored, columnNames, columnTypes);
}

bool CQVIce04::ColumnsMatch(const StoredTableSchema& stored, const std::vector<_stringx<>>& names,
                            const std::vector<_stringx<>>& types)
{
    for (size_t i = 0; i < names.size(); ++i) {
        if (i < stored.names.size()) {
            if (names[i] != stored.names[i] || FirstCharacter(types[i]) != FirstCharacter(stored.types[i]))
                return false;
        } else if (types[i].find_first_of(L"gGjJoO") != 0) {
            // Only temporary columns may stand beyond the stored ones.
            return false;
        }
    }
    return true;
}

QV_CHECK_EXPORT(QVICE04, CQVIce04)

CQVIce05::CQVIce05(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce05::~CQVIce05() = default;
_stringx<> CQVIce05::GetName() const { return Name; }
_stringx<> CQVIce05::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVIce05::Validate()
{
    ValidatePropertyNames();
    ValidateTableNames();
}

bool CQVIce05::HasReservedPrefix(const _stringx<>& name)
{
    if (name.size() < 3)
        return false;
    const _stringx<qv::char_traitsi> prefix(name.data(), 3);
    return prefix == L"MSI";
}

// The reference list comes first, so a package without _QVMsiProperty ends
// here even when it has no Property table. Membership is exact in case.
void CQVIce05::ValidatePropertyNames()
{
    LoadNames(m_reservedProperties, L"_QVMsiProperty");
    if (!TablePresent(m_database, L"Property"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE row) {
            const _stringx<> name = RecordFieldString(row, 1);
            if (m_reservedProperties.count(name) || !HasReservedPrefix(name))
                return;
            m_location.clear();
            m_location.push_back(L"Property");
            m_location.push_back(L"Property");
            m_location.push_back(name);
            ReportMessage(117, name, 1);
        },
        L"SELECT * FROM `%s`", L"Property");
}

void CQVIce05::ValidateTableNames()
{
    LoadNames(m_reservedTables, L"_QVTableSchema");
    ForEachRow(
        m_database,
        [this](MSIHANDLE row) {
            const _stringx<> name = RecordFieldString(row, 1);
            if (m_reservedTables.count(name) || !HasReservedPrefix(name))
                return;
            m_location.clear();
            m_location.push_back(name);
            m_location.push_back(L"");
            m_location.push_back(L"");
            ReportMessage(116, name, 1);
        },
        L"SELECT * FROM `%s`", L"_Tables");
}

void CQVIce05::LoadNames(std::set<_stringx<>>& names, const wchar_t* table)
{
    ForEachRow(
        m_database, [&](MSIHANDLE row) { names.insert(RecordFieldString(row, 1)); }, L"SELECT * FROM `%s`", table);
}

QV_CHECK_EXPORT(QVICE05, CQVIce05)
