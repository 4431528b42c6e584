// Component authoring checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVIce07 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE07";
    static constexpr UINT DescriptionId = 112;

    explicit CQVIce07(MSIHANDLE hInstall);
    ~CQVIce07() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
