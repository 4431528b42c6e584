// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/ice/schema_reserved.h"

CQVIce04::CQVIce04(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce04::~CQVIce04() = default;
_stringx<> CQVIce04::GetName() const { return Name; }
_stringx<> CQVIce04::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce04::Validate() {}
QV_CHECK_EXPORT(QVICE04, CQVIce04)

CQVIce05::CQVIce05(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce05::~CQVIce05() = default;
_stringx<> CQVIce05::GetName() const { return Name; }
_stringx<> CQVIce05::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce05::Validate() {}
QV_CHECK_EXPORT(QVICE05, CQVIce05)
