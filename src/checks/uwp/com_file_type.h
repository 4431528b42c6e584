// COM and file type checks.
#pragma once

#include "framework/exports.h"
#include "framework/vice_base.h"

class CQVAppx10 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP10";
    static constexpr UINT DescriptionId = 280;

    explicit CQVAppx10(MSIHANDLE hInstall);
    ~CQVAppx10() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVAppx20 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP20";
    static constexpr UINT DescriptionId = 300;

    explicit CQVAppx20(MSIHANDLE hInstall);
    ~CQVAppx20() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
