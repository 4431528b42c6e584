// App package table and shortcut checks: tables whose rows cannot be
// carried into an app package, and the count of application shortcuts.
#pragma once

#include "framework/exports.h"
#include "framework/vice_base.h"

class CQVAppx01 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP01";
    static constexpr UINT DescriptionId = 263;

    explicit CQVAppx01(MSIHANDLE hInstall);
    ~CQVAppx01() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVAppx03 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP03";
    static constexpr UINT DescriptionId = 266;

    CQVAppx03(MSIHANDLE hInstall, const _stringx<>& name);
    ~CQVAppx03() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // The shortcuts that an app package would turn into applications.
    int CountApplicationShortcuts();
    // Advertised on a feature of the package, or resolving to an .exe that
    // the package installs.
    bool IsApplicationShortcut(const Shortcut& shortcut);
};

class CQVAppx04 : public CQVAppx03 {
public:
    static constexpr const wchar_t* Name = L"QVUWP04";
    static constexpr UINT DescriptionId = 268;

    explicit CQVAppx04(MSIHANDLE hInstall);
    ~CQVAppx04() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVAppx05 : public CQVAppx03 {
public:
    static constexpr const wchar_t* Name = L"QVUWP05";
    static constexpr UINT DescriptionId = 270;

    explicit CQVAppx05(MSIHANDLE hInstall);
    ~CQVAppx05() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVAppx16 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP16";
    static constexpr UINT DescriptionId = 292;

    explicit CQVAppx16(MSIHANDLE hInstall);
    ~CQVAppx16() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVAppx17 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP17";
    static constexpr UINT DescriptionId = 294;

    explicit CQVAppx17(MSIHANDLE hInstall);
    ~CQVAppx17() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVAppx18 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP18";
    static constexpr UINT DescriptionId = 296;

    explicit CQVAppx18(MSIHANDLE hInstall);
    ~CQVAppx18() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVAppx19 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP19";
    static constexpr UINT DescriptionId = 298;

    explicit CQVAppx19(MSIHANDLE hInstall);
    ~CQVAppx19() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
