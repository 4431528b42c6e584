// Registry derived checks.
#pragma once

#include "framework/exports.h"
#include "framework/vice_base.h"

class CQVVice12 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE12";
    static constexpr UINT DescriptionId = 248;

    explicit CQVVice12(MSIHANDLE hInstall);
    ~CQVVice12() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVVice13 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE13";
    static constexpr UINT DescriptionId = 249;

    explicit CQVVice13(MSIHANDLE hInstall);
    ~CQVVice13() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVVice14 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE14";
    static constexpr UINT DescriptionId = 250;

    explicit CQVVice14(MSIHANDLE hInstall);
    ~CQVVice14() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVVice15 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE15";
    static constexpr UINT DescriptionId = 251;

    explicit CQVVice15(MSIHANDLE hInstall);
    ~CQVVice15() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVVice18 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE18";
    static constexpr UINT DescriptionId = 254;

    explicit CQVVice18(MSIHANDLE hInstall);
    ~CQVVice18() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
