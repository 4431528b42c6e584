// Privilege checks.
#pragma once

#include "framework/check_base.h"
#include "framework/exports.h"

class CQVIce20 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE20";
    static constexpr UINT DescriptionId = 143;

    explicit CQVIce20(MSIHANDLE hInstall);
    ~CQVIce20() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;
};
