// Schema and reserved name checks.
#pragma once

#include <map>
#include <set>
#include <vector>

#include "framework/check_base.h"
#include "framework/exports.h"

// Columns of one standard table as _QVTableSchema stores them, in order.
struct StoredTableSchema {
    std::vector<_stringx<>> names;
    std::vector<_stringx<>> types;
};

class CQVIce04 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE04";
    static constexpr UINT DescriptionId = 109;

    explicit CQVIce04(MSIHANDLE hInstall);
    ~CQVIce04() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // The view's columns (names and MsiViewGetColumnInfo types, in order)
    // against the stored ones: names exact, first letter of the type exact;
    // extra columns pass only when temporary (g, j or o in either case).
    static bool ColumnsMatch(const StoredTableSchema& stored, const std::vector<_stringx<>>& names,
                             const std::vector<_stringx<>>& types);

private:
    void LoadTableSchemas();
    // False when the table's columns differ from its stored schema; a table
    // without stored schema passes.
    bool TableMatchesSchema(const _stringx<>& table);

    // Keyed by exact table name.
    std::map<_stringx<>, StoredTableSchema> m_knownTableSchemas;
};

class CQVIce05 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE05";
    static constexpr UINT DescriptionId = 110;

    explicit CQVIce05(MSIHANDLE hInstall);
    ~CQVIce05() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // At least 3 characters, the first 3 being MSI in any case.
    static bool HasReservedPrefix(const _stringx<>& name);

private:
    void ValidatePropertyNames();
    void ValidateTableNames();
    void LoadNames(std::set<_stringx<>>& names, const wchar_t* table);

    // Exact in case: a listed spelling spares only itself.
    std::set<_stringx<>> m_reservedProperties;
    std::set<_stringx<>> m_reservedTables;
};
