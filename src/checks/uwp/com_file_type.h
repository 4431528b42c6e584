// COM and file type checks: COM registration in tables and raw registry
// rows (QVUWP10), extensions that the package lists as reserved (QVUWP20).
#pragma once

#include "framework/exports.h"
#include "framework/vice_base.h"

struct RegistryEntry;

class CQVAppx10 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP10";
    static constexpr UINT DescriptionId = 280;

    explicit CQVAppx10(MSIHANDLE hInstall);
    ~CQVAppx10() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // A key below the CLSID, Interface or TypeLib keys of the classes root,
    // or of Software\Classes (native or Wow6432Node) of the user or machine.
    static bool IsComRegistryKey(const RegistryEntry& entry);
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
