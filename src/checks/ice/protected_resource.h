// Protected resource checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVIce06 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE06";
    static constexpr UINT DescriptionId = 111;

    explicit CQVIce06(MSIHANDLE hInstall);
    ~CQVIce06() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVIce12 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE12";
    static constexpr UINT DescriptionId = 129;

    explicit CQVIce12(MSIHANDLE hInstall);
    ~CQVIce12() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
