// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/uwp/dotnet_target.h"

CQVAppx12::CQVAppx12(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx12::~CQVAppx12() = default;
_stringx<> CQVAppx12::GetName() const { return Name; }
_stringx<> CQVAppx12::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx12::Validate() {}
QV_CHECK_EXPORT(QVUWP12, CQVAppx12)

CQVAppx13::CQVAppx13(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx13::~CQVAppx13() = default;
_stringx<> CQVAppx13::GetName() const { return Name; }
_stringx<> CQVAppx13::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx13::Validate() {}
QV_CHECK_EXPORT(QVUWP13, CQVAppx13)
