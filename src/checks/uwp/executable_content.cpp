// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/uwp/executable_content.h"

CQVAppx06::CQVAppx06(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx06::~CQVAppx06() = default;
_stringx<> CQVAppx06::GetName() const { return Name; }
_stringx<> CQVAppx06::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx06::Validate() {}
QV_CHECK_EXPORT(QVUWP06, CQVAppx06)

CQVAppx07::CQVAppx07(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx07::~CQVAppx07() = default;
_stringx<> CQVAppx07::GetName() const { return Name; }
_stringx<> CQVAppx07::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx07::Validate() {}
QV_CHECK_EXPORT(QVUWP07, CQVAppx07)

CQVAppx08::CQVAppx08(MSIHANDLE hInstall, const _stringx<>& name) : CQVViceBase(name, hInstall) {}
CQVAppx08::~CQVAppx08() = default;
_stringx<> CQVAppx08::GetName() const { return Name; }
_stringx<> CQVAppx08::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx08::Validate() {}
QV_CHECK_EXPORT_NAMED(QVUWP08, CQVAppx08)

CQVAppx09::CQVAppx09(MSIHANDLE hInstall) : CQVAppx08(hInstall, Name) {}
CQVAppx09::~CQVAppx09() = default;
_stringx<> CQVAppx09::GetName() const { return Name; }
_stringx<> CQVAppx09::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx09::Validate() {}
QV_CHECK_EXPORT(QVUWP09, CQVAppx09)

CQVAppx11::CQVAppx11(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx11::~CQVAppx11() = default;
_stringx<> CQVAppx11::GetName() const { return Name; }
_stringx<> CQVAppx11::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx11::Validate() {}
QV_CHECK_EXPORT(QVUWP11, CQVAppx11)
