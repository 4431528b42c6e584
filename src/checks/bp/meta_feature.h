// The meta-feature name check (QVBP01).
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVBP01 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP01";
    static constexpr UINT DescriptionId = 164;

    explicit CQVBP01(MSIHANDLE hInstall);
    ~CQVBP01() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
