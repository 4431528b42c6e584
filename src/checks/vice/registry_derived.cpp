// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/vice/registry_derived.h"

CQVVice12::CQVVice12(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice12::~CQVVice12() = default;
_stringx<> CQVVice12::GetName() const { return Name; }
_stringx<> CQVVice12::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice12::Validate() {}
QV_CHECK_EXPORT(QVVICE12, CQVVice12)

CQVVice13::CQVVice13(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice13::~CQVVice13() = default;
_stringx<> CQVVice13::GetName() const { return Name; }
_stringx<> CQVVice13::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice13::Validate() {}
QV_CHECK_EXPORT(QVVICE13, CQVVice13)

CQVVice14::CQVVice14(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice14::~CQVVice14() = default;
_stringx<> CQVVice14::GetName() const { return Name; }
_stringx<> CQVVice14::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice14::Validate() {}
QV_CHECK_EXPORT(QVVICE14, CQVVice14)

CQVVice15::CQVVice15(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice15::~CQVVice15() = default;
_stringx<> CQVVice15::GetName() const { return Name; }
_stringx<> CQVVice15::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice15::Validate() {}
QV_CHECK_EXPORT(QVVICE15, CQVVice15)

CQVVice18::CQVVice18(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice18::~CQVVice18() = default;
_stringx<> CQVVice18::GetName() const { return Name; }
_stringx<> CQVVice18::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice18::Validate() {}
QV_CHECK_EXPORT(QVVICE18, CQVVice18)
