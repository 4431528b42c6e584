// App package checks that reuse a virtualization check with their own words.
#pragma once

#include "checks/vice/file_pattern.h"
#include "checks/vice/iis_driver_complus.h"
#include "framework/exports.h"

class CQVAppx02 : public CQVVice10 {
public:
    static constexpr const wchar_t* Name = L"QVUWP02";

    explicit CQVAppx02(MSIHANDLE hInstall);
    ~CQVAppx02() override;

    _stringx<> GetName() const override;
    UINT ChooseMessage() const override;
};

class CQVAppx14 : public CQVVice04 {
public:
    static constexpr const wchar_t* Name = L"QVUWP14";

    explicit CQVAppx14(MSIHANDLE hInstall);
    ~CQVAppx14() override;

    _stringx<> GetName() const override;
    UINT ChooseMessage() const override;
};

class CQVAppx15 : public CQVVice09 {
public:
    static constexpr const wchar_t* Name = L"QVUWP15";

    explicit CQVAppx15(MSIHANDLE hInstall);
    ~CQVAppx15() override;

    _stringx<> GetName() const override;
    UINT ChooseMessage() const override;
};
