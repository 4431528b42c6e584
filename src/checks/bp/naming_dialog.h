// Naming and dialog checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

#include <set>

// The names whose values reach the execute sequence: ACTION, the pieces of
// SecureCustomProperties and every Directory key.
void BuildSecureNameSet(MSIHANDLE database, std::set<_stringx<>>& names);

// True when CharUpperW changes the name: a private property.
bool HasLowerCase(const _stringx<>& name);

class CQVBP02 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP02";
    static constexpr UINT DescriptionId = 166;

    explicit CQVBP02(MSIHANDLE hInstall);
    ~CQVBP02() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP03 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP03";
    static constexpr UINT DescriptionId = 168;

    explicit CQVBP03(MSIHANDLE hInstall);
    ~CQVBP03() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP04 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP04";
    static constexpr UINT DescriptionId = 170;

    explicit CQVBP04(MSIHANDLE hInstall);
    ~CQVBP04() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP05 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP05";
    static constexpr UINT DescriptionId = 173;

    explicit CQVBP05(MSIHANDLE hInstall);
    ~CQVBP05() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP15 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP15";
    static constexpr UINT DescriptionId = 196;

    explicit CQVBP15(MSIHANDLE hInstall);
    ~CQVBP15() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
