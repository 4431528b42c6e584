// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/vice/package_wide.h"

CQVVice11::CQVVice11(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice11::~CQVVice11() = default;
_stringx<> CQVVice11::GetName() const { return Name; }
_stringx<> CQVVice11::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice11::Validate() {}
QV_CHECK_EXPORT(QVVICE11, CQVVice11)

CQVVice16::CQVVice16(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice16::~CQVVice16() = default;
_stringx<> CQVVice16::GetName() const { return Name; }
_stringx<> CQVVice16::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice16::Validate() {}
QV_CHECK_EXPORT(QVVICE16, CQVVice16)

CQVVice19::CQVVice19(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice19::~CQVVice19() = default;
_stringx<> CQVVice19::GetName() const { return Name; }
_stringx<> CQVVice19::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice19::Validate() {}
QV_CHECK_EXPORT(QVVICE19, CQVVice19)
