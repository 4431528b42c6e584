// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/ice/protected_resource.h"

CQVIce06::CQVIce06(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce06::~CQVIce06() = default;
_stringx<> CQVIce06::GetName() const { return Name; }
_stringx<> CQVIce06::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce06::Validate() {}
QV_CHECK_EXPORT(QVICE06, CQVIce06)

CQVIce12::CQVIce12(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce12::~CQVIce12() = default;
_stringx<> CQVIce12::GetName() const { return Name; }
_stringx<> CQVIce12::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce12::Validate() {}
QV_CHECK_EXPORT(QVICE12, CQVIce12)
