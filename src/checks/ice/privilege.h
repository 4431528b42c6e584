// Privilege checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

#include <set>

class CQVIce20 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE20";
    static constexpr UINT DescriptionId = 143;

    explicit CQVIce20(MSIHANDLE hInstall);
    ~CQVIce20() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

private:
    bool NoElevationRequested();
    int ComponentStatus(const _stringx<>& component);
    void FolderTest(MSIHANDLE record, const wchar_t* table, UINT directoryField, UINT componentField,
                    const wchar_t* column, int filter);
    void RegistryTest(MSIHANDLE record, const wchar_t* table, UINT componentField);
    void EnvironmentTest();

    // Root directories a user may write to without elevation.
    std::set<_stringx<>> m_nonPrivilegedFolders;
};
