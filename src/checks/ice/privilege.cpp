// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/ice/privilege.h"

CQVIce20::CQVIce20(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce20::~CQVIce20() = default;
_stringx<> CQVIce20::GetName() const { return Name; }
_stringx<> CQVIce20::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce20::Validate() {}
QV_CHECK_EXPORT(QVICE20, CQVIce20)
