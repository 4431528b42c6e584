// IIS, driver and COM+ checks.
#pragma once

#include "framework/exports.h"
#include "framework/vice_base.h"

class CQVVice09 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE09";
    static constexpr UINT DescriptionId = 245;

    CQVVice09(MSIHANDLE hInstall, const _stringx<>& name);
    ~CQVVice09() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // Message id of the finding; a subclass of the app package family gives its own.
    virtual UINT ChooseMessage() const;

protected:
    // One finding of messageId per row of table: %1 the label of labelId,
    // %2 the key column, at table.locationColumn. A failed query only gives
    // a debug line.
    void ReportTableRows(const wchar_t* table, const wchar_t* locationColumn, UINT keyColumn, UINT messageId,
                         UINT labelId);
};

class CQVVice10 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE10";
    static constexpr UINT DescriptionId = 246;

    CQVVice10(MSIHANDLE hInstall, const _stringx<>& name);
    ~CQVVice10() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // Message id of the finding; a subclass of the app package family gives its own.
    virtual UINT ChooseMessage() const;
};

class CQVVice17 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE17";
    static constexpr UINT DescriptionId = 253;

    explicit CQVVice17(MSIHANDLE hInstall);
    ~CQVVice17() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
