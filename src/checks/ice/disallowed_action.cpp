// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/ice/disallowed_action.h"

CQVIce17::CQVIce17(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce17::~CQVIce17() = default;
_stringx<> CQVIce17::GetName() const { return Name; }
_stringx<> CQVIce17::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce17::Validate() {}
QV_CHECK_EXPORT(QVICE17, CQVIce17)

CQVIce18::CQVIce18(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce18::~CQVIce18() = default;
_stringx<> CQVIce18::GetName() const { return Name; }
_stringx<> CQVIce18::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce18::Validate() {}
QV_CHECK_EXPORT(QVICE18, CQVIce18)
