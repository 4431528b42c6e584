// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/ice/executable_content.h"

CQVIce02::CQVIce02(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce02::~CQVIce02() = default;
_stringx<> CQVIce02::GetName() const { return Name; }
_stringx<> CQVIce02::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce02::Validate() {}
QV_CHECK_EXPORT(QVICE02, CQVIce02)

CQVIce11::CQVIce11(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce11::~CQVIce11() = default;
_stringx<> CQVIce11::GetName() const { return Name; }
_stringx<> CQVIce11::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce11::Validate() {}
QV_CHECK_EXPORT(QVICE11, CQVIce11)

CQVIce16::CQVIce16(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce16::~CQVIce16() = default;
_stringx<> CQVIce16::GetName() const { return Name; }
_stringx<> CQVIce16::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce16::Validate() {}
QV_CHECK_EXPORT(QVICE16, CQVIce16)

CQVIce21::CQVIce21(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce21::~CQVIce21() = default;
_stringx<> CQVIce21::GetName() const { return Name; }
_stringx<> CQVIce21::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce21::Validate() {}
QV_CHECK_EXPORT(QVICE21, CQVIce21)

CQVIce24::CQVIce24(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce24::~CQVIce24() = default;
_stringx<> CQVIce24::GetName() const { return Name; }
_stringx<> CQVIce24::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce24::Validate() {}
QV_CHECK_EXPORT(QVICE24, CQVIce24)

CQVIce26::CQVIce26(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce26::~CQVIce26() = default;
_stringx<> CQVIce26::GetName() const { return Name; }
_stringx<> CQVIce26::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVIce26::Validate() {}
QV_CHECK_EXPORT(QVICE26, CQVIce26)
