// Startup, permission and folder checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVIce22 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE22";
    static constexpr UINT DescriptionId = 207;

    explicit CQVIce22(MSIHANDLE hInstall);
    ~CQVIce22() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVIce23 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE23";
    static constexpr UINT DescriptionId = 208;

    explicit CQVIce23(MSIHANDLE hInstall);
    ~CQVIce23() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVIce25 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE25";
    static constexpr UINT DescriptionId = 212;

    explicit CQVIce25(MSIHANDLE hInstall);
    ~CQVIce25() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
