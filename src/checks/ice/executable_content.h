// Executable content checks of the logo family.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVIce02 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE02";
    static constexpr UINT DescriptionId = 107;

    explicit CQVIce02(MSIHANDLE hInstall);
    ~CQVIce02() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class PackageFile;

// One row of _QVManifest: a query over the manifest (empty: "has a
// manifest"), the finding's text, and bit 1 error rather than warning, bit 2
// a match rather than a missing match is the finding.
struct ManifestRule {
    _stringx<> xpath;
    _stringx<> message;
    int32_t attributes = 0;
};

class CQVIce11 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE11";
    static constexpr UINT DescriptionId = 118;

    explicit CQVIce11(MSIHANDLE hInstall);
    ~CQVIce11() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

private:
    void LoadRules();
    void TestFile(const PackageFile& file, const _stringx<>& manifestPath);

    // Extension with its leading "." to its rules in table order.
    std::map<_stringx<qv::char_traitsi>, std::vector<ManifestRule>> m_rules;
};

class CQVIce16 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE16";
    static constexpr UINT DescriptionId = 136;

    explicit CQVIce16(MSIHANDLE hInstall);
    ~CQVIce16() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVIce21 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE21";
    static constexpr UINT DescriptionId = 206;

    explicit CQVIce21(MSIHANDLE hInstall);
    ~CQVIce21() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVIce24 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE24";
    static constexpr UINT DescriptionId = 210;

    explicit CQVIce24(MSIHANDLE hInstall);
    ~CQVIce24() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVIce26 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE26";
    static constexpr UINT DescriptionId = 213;

    explicit CQVIce26(MSIHANDLE hInstall);
    ~CQVIce26() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
