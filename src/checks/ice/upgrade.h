// Upgrade checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVIce19 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE19";
    static constexpr UINT DescriptionId = 142;

    explicit CQVIce19(MSIHANDLE hInstall);
    ~CQVIce19() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // Braces at 0 and 37 around upper-case hex in groups of 8-4-4-4-12.
    static bool ValidGuidText(const _stringx<>& text);
    // Exactly three dot-separated pieces of digits (a final dot opens none).
    static bool ValidVersionText(const _stringx<>& text);
    // A decimal number that prints back to the same text.
    static bool NumericLangIdText(const _stringx<>& text);

private:
    void ValidateProperties();
    void ValidateUpgradeTable();
    // True when a type 19 action conditioned on exactly the property stands
    // between FindRelatedProducts and CostInitialize in InstallExecuteSequence.
    bool DowngradeActionScheduled(const _stringx<>& property);

    void ReportProperty(UINT id, const _stringx<>& name, const _stringx<>& value);
    void SetRowLocation(MSIHANDLE row, const _stringx<>& column);
    void SetTableLocation();
};
