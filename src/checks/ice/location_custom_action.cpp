// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/ice/location_custom_action.h"

CQVIce01::CQVIce01(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce01::~CQVIce01() = default;
_stringx<> CQVIce01::GetName() const { return Name; }
_stringx<> CQVIce01::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce01::Validate() {}
QV_CHECK_EXPORT(QVICE01, CQVIce01)

CQVIce03::CQVIce03(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce03::~CQVIce03() = default;
_stringx<> CQVIce03::GetName() const { return Name; }
_stringx<> CQVIce03::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce03::Validate() {}
QV_CHECK_EXPORT(QVICE03, CQVIce03)

CQVIce08::CQVIce08(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce08::~CQVIce08() = default;
_stringx<> CQVIce08::GetName() const { return Name; }
_stringx<> CQVIce08::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce08::Validate() {}
QV_CHECK_EXPORT(QVICE08, CQVIce08)

CQVIce09::CQVIce09(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce09::~CQVIce09() = default;
_stringx<> CQVIce09::GetName() const { return Name; }
_stringx<> CQVIce09::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce09::Validate() {}
QV_CHECK_EXPORT(QVICE09, CQVIce09)

CQVIce10::CQVIce10(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce10::~CQVIce10() = default;
_stringx<> CQVIce10::GetName() const { return Name; }
_stringx<> CQVIce10::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce10::Validate() {}
QV_CHECK_EXPORT(QVICE10, CQVIce10)
