// Component and file checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVBP07 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP07";
    static constexpr UINT DescriptionId = 177;

    explicit CQVBP07(MSIHANDLE hInstall);
    ~CQVBP07() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP11 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP11";
    static constexpr UINT DescriptionId = 186;

    explicit CQVBP11(MSIHANDLE hInstall);
    ~CQVBP11() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP12 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP12";
    static constexpr UINT DescriptionId = 189;

    explicit CQVBP12(MSIHANDLE hInstall);
    ~CQVBP12() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP14 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP14";
    static constexpr UINT DescriptionId = 193;

    explicit CQVBP14(MSIHANDLE hInstall);
    ~CQVBP14() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP16 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP16";
    static constexpr UINT DescriptionId = 198;

    explicit CQVBP16(MSIHANDLE hInstall);
    ~CQVBP16() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP17 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP17";
    static constexpr UINT DescriptionId = 131;

    explicit CQVBP17(MSIHANDLE hInstall);
    ~CQVBP17() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP18 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP18";
    static constexpr UINT DescriptionId = 134;

    explicit CQVBP18(MSIHANDLE hInstall);
    ~CQVBP18() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};

class CQVBP19 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP19";
    static constexpr UINT DescriptionId = 135;

    explicit CQVBP19(MSIHANDLE hInstall);
    ~CQVBP19() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
