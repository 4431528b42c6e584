// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/ice/upgrade.h"

CQVIce19::CQVIce19(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce19::~CQVIce19() = default;
_stringx<> CQVIce19::GetName() const { return Name; }
_stringx<> CQVIce19::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce19::Validate() {}
QV_CHECK_EXPORT(QVICE19, CQVIce19)
