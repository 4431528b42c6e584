// Disallowed action and dialog checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVIce17 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE17";
    static constexpr UINT DescriptionId = 140;

    explicit CQVIce17(MSIHANDLE hInstall);
    ~CQVIce17() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

private:
    // Message 144 for each row of each present sequence table that names the action.
    void ReportScheduled(const _stringx<>& action);
    // Message 145 for each DoAction control event whose argument is the action.
    void ReportTriggered(const _stringx<>& action);
};

class CQVIce18 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE18";
    static constexpr UINT DescriptionId = 141;

    explicit CQVIce18(MSIHANDLE hInstall);
    ~CQVIce18() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
