// Schema and reserved name checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVIce04 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE04";
    static constexpr UINT DescriptionId = 109;

    explicit CQVIce04(MSIHANDLE hInstall);
    ~CQVIce04() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
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
};
