// Package wide checks.
#pragma once

#include "framework/exports.h"
#include "framework/vice_base.h"

class CQVVice11 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE11";
    static constexpr UINT DescriptionId = 247;

    explicit CQVVice11(MSIHANDLE hInstall);
    ~CQVVice11() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVVice16 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE16";
    static constexpr UINT DescriptionId = 252;

    explicit CQVVice16(MSIHANDLE hInstall);
    ~CQVVice16() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVVice19 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE19";
    static constexpr UINT DescriptionId = 262;

    explicit CQVVice19(MSIHANDLE hInstall);
    ~CQVVice19() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
