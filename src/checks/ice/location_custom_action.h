// Location and custom action checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

#include <set>

class CQVIce01 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE01";
    static constexpr UINT DescriptionId = 106;

    explicit CQVIce01(MSIHANDLE hInstall);
    ~CQVIce01() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVIce03 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE03";
    static constexpr UINT DescriptionId = 108;

    explicit CQVIce03(MSIHANDLE hInstall);
    ~CQVIce03() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVIce08 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE08";
    static constexpr UINT DescriptionId = 113;

    explicit CQVIce08(MSIHANDLE hInstall);
    ~CQVIce08() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

private:
    // Deferred actions of known products that must impersonate.
    std::set<_stringx<>> m_exemptActions;
};

class CQVIce09 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE09";
    static constexpr UINT DescriptionId = 114;

    explicit CQVIce09(MSIHANDLE hInstall);
    ~CQVIce09() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVIce10 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE10";
    static constexpr UINT DescriptionId = 105;

    explicit CQVIce10(MSIHANDLE hInstall);
    ~CQVIce10() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

private:
    // Actions with a documentation path in QVCustomActionReference.
    std::set<_stringx<>> m_documentedActions;
};
