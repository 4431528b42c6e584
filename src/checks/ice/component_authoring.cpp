// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/ice/component_authoring.h"

CQVIce07::CQVIce07(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce07::~CQVIce07() = default;
_stringx<> CQVIce07::GetName() const { return Name; }
_stringx<> CQVIce07::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce07::Validate() {}
QV_CHECK_EXPORT(QVICE07, CQVIce07)
