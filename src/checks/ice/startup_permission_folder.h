// Startup, permission and folder checks.
#pragma once

#include <map>
#include <memory>

#include "framework/check_base.h"
#include "framework/exports.h"

// One row of LockPermissions or QVLockPermissions.
struct LockPermission {
    // Fields 1 LockObject, 2 Table, 3 Domain, 4 User, 5 Permission.
    explicit LockPermission(MSIHANDLE record);

    _stringx<> lockObject;
    _stringx<> table;
    _stringx<> domain;
    _stringx<> user;
    int32_t permission;
};

// LockObject to the last row fetched for it.
using LockPermissionMap = std::map<_stringx<>, std::unique_ptr<LockPermission>>;

class CQVIce22 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE22";
    static constexpr UINT DescriptionId = 207;

    explicit CQVIce22(MSIHANDLE hInstall);
    ~CQVIce22() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // True for a full key text at or below one of the four Run keys.
    static bool RunKeyMatch(const _stringx<>& text);
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

    static bool GrantInsecure(const LockPermission& record);

private:
    void Load(const wchar_t* table, LockPermissionMap& map);
    void Report(const wchar_t* table, const LockPermission& record);

    LockPermissionMap m_lockPermissions;
    LockPermissionMap m_productLockPermissions;
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

    // Reads every Component row into m_ownComponents, each time it is called.
    void LoadComponents() override;

private:
    std::map<_stringx<>, std::unique_ptr<Component>> m_ownComponents;
};
