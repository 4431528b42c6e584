// App package executable content checks.
#pragma once

#include "framework/exports.h"
#include "framework/vice_base.h"

class CQVAppx06 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP06";
    static constexpr UINT DescriptionId = 272;

    explicit CQVAppx06(MSIHANDLE hInstall);
    ~CQVAppx06() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVAppx07 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP07";
    static constexpr UINT DescriptionId = 274;

    explicit CQVAppx07(MSIHANDLE hInstall);
    ~CQVAppx07() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVAppx08 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP08";
    static constexpr UINT DescriptionId = 276;

    CQVAppx08(MSIHANDLE hInstall, const _stringx<>& name);
    ~CQVAppx08() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // What the manifest walk reads from requestedExecutionLevel, what it
    // expects there, and what it reports otherwise.
    virtual _stringx<> GetManifestAttributeName() const;
    virtual _stringx<> GetExpectedAttributeValue() const;
    virtual UINT GetFindingMessage() const;

private:
    void TestManifest(const _stringx<>& fileKey, const _stringx<>& fileName, const _stringx<>& component,
                      const _stringx<>& manifestPath);
};

class CQVAppx09 : public CQVAppx08 {
public:
    static constexpr const wchar_t* Name = L"QVUWP09";
    static constexpr UINT DescriptionId = 278;

    explicit CQVAppx09(MSIHANDLE hInstall);
    ~CQVAppx09() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    _stringx<> GetManifestAttributeName() const override;
    _stringx<> GetExpectedAttributeValue() const override;
    UINT GetFindingMessage() const override;
};

class CQVAppx11 : public CQVViceBase {
public:
    static constexpr const wchar_t* Name = L"QVUWP11";
    static constexpr UINT DescriptionId = 283;

    explicit CQVAppx11(MSIHANDLE hInstall);
    ~CQVAppx11() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
