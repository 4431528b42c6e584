// Registry key checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVBP20 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP20";
    static constexpr UINT DescriptionId = 201;

    explicit CQVBP20(MSIHANDLE hInstall);
    ~CQVBP20() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
