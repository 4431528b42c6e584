// File pattern checks of the virtualization family: each reports the package
// files whose names pass the check's rows of _QvViceFileTestEntries.
#pragma once

#include "framework/exports.h"
#include "framework/vice_base.h"

class CQVVice01 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE01";
    static constexpr UINT DescriptionId = 237;

    explicit CQVVice01(MSIHANDLE hInstall);
    ~CQVVice01() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    FileTestMap FileTests;
};

class CQVVice02 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE02";
    static constexpr UINT DescriptionId = 238;

    explicit CQVVice02(MSIHANDLE hInstall);
    ~CQVVice02() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    FileTestMap FileTests;
};

class CQVVice03 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE03";
    static constexpr UINT DescriptionId = 239;

    explicit CQVVice03(MSIHANDLE hInstall);
    ~CQVVice03() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    FileTestMap FileTests;
};

class CQVVice04 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE04";
    static constexpr UINT DescriptionId = 240;

    CQVVice04(MSIHANDLE hInstall, const _stringx<>& name);
    ~CQVVice04() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // Message id of the finding; a subclass of the app package family gives its own.
    virtual UINT ChooseMessage() const;

    FileTestMap FileTests;
};

class CQVVice05 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE05";
    static constexpr UINT DescriptionId = 241;

    explicit CQVVice05(MSIHANDLE hInstall);
    ~CQVVice05() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    FileTestMap FileTests;
};

class CQVVice06 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE06";
    static constexpr UINT DescriptionId = 242;

    explicit CQVVice06(MSIHANDLE hInstall);
    ~CQVVice06() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    FileTestMap FileTests;
};

class CQVVice07 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE07";
    static constexpr UINT DescriptionId = 243;

    explicit CQVVice07(MSIHANDLE hInstall);
    ~CQVVice07() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    FileTestMap FileTests;
};

class CQVVice08 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVVICE08";
    static constexpr UINT DescriptionId = 244;

    explicit CQVVice08(MSIHANDLE hInstall);
    ~CQVVice08() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    FileTestMap FileTests;
};
