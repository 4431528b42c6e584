// .NET target checks.
#pragma once

#include "framework/exports.h"
#include "framework/vice_base.h"

class PackageFile;

class CQVAppx12 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP12";
    static constexpr UINT DescriptionId = 285;

    explicit CQVAppx12(MSIHANDLE hInstall);
    ~CQVAppx12() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVAppx13 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP13";
    static constexpr UINT DescriptionId = 288;

    explicit CQVAppx13(MSIHANDLE hInstall);
    ~CQVAppx13() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // Forgets the two process-wide inventories (executables, configuration
    // files), as an unload of the library does.
    static void ResetInspectors();

private:
    // Whether the package delivers the assembly's "<target>.config" with a
    // supportedRuntime version that starts with "v4.".
    static bool ConfigOptsIntoVersion4(const PackageFile& assembly);
};
