// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/bp/registry_key.h"

CQVBP20::CQVBP20(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP20::~CQVBP20() = default;
_stringx<> CQVBP20::GetName() const { return Name; }
_stringx<> CQVBP20::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP20::Validate() {}
QV_CHECK_EXPORT(QVBP20, CQVBP20)
