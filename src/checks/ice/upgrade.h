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
};
