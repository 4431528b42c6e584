// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/uwp/com_file_type.h"

CQVAppx10::CQVAppx10(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx10::~CQVAppx10() = default;
_stringx<> CQVAppx10::GetName() const { return Name; }
_stringx<> CQVAppx10::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx10::Validate() {}
QV_CHECK_EXPORT(QVUWP10, CQVAppx10)

CQVAppx20::CQVAppx20(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx20::~CQVAppx20() = default;
_stringx<> CQVAppx20::GetName() const { return Name; }
_stringx<> CQVAppx20::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx20::Validate() {}
QV_CHECK_EXPORT(QVUWP20, CQVAppx20)
