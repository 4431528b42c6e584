// Sequence and property checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

#include <set>

class CQVBP06 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP06";
    static constexpr UINT DescriptionId = 175;

    explicit CQVBP06(MSIHANDLE hInstall);
    ~CQVBP06() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP08 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP08";
    static constexpr UINT DescriptionId = 180;

    explicit CQVBP08(MSIHANDLE hInstall);
    ~CQVBP08() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP09 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP09";
    static constexpr UINT DescriptionId = 182;

    explicit CQVBP09(MSIHANDLE hInstall);
    ~CQVBP09() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP10 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP10";
    static constexpr UINT DescriptionId = 184;

    explicit CQVBP10(MSIHANDLE hInstall);
    ~CQVBP10() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP13 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP13";
    static constexpr UINT DescriptionId = 191;

    explicit CQVBP13(MSIHANDLE hInstall);
    ~CQVBP13() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

private:
    // Inserts every non-empty value of a column of the table, if present.
    void CollectColumn(std::set<_stringx<>>& names, const wchar_t* table, UINT field);
    // Erases every value of a column of the table, if present.
    void RemoveColumn(std::set<_stringx<>>& names, const wchar_t* table, UINT field);
    // Reports each [name] reference in a column to a name of the set.
    void ScanColumn(const std::set<_stringx<>>& names, const wchar_t* table, UINT field);
};
