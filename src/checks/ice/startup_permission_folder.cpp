// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/ice/startup_permission_folder.h"

CQVIce22::CQVIce22(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce22::~CQVIce22() = default;
_stringx<> CQVIce22::GetName() const { return Name; }
_stringx<> CQVIce22::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce22::Validate() {}
QV_CHECK_EXPORT(QVICE22, CQVIce22)

CQVIce23::CQVIce23(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce23::~CQVIce23() = default;
_stringx<> CQVIce23::GetName() const { return Name; }
_stringx<> CQVIce23::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce23::Validate() {}
QV_CHECK_EXPORT(QVICE23, CQVIce23)

CQVIce25::CQVIce25(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce25::~CQVIce25() = default;
_stringx<> CQVIce25::GetName() const { return Name; }
_stringx<> CQVIce25::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce25::Validate() {}
QV_CHECK_EXPORT(QVICE25, CQVIce25)
