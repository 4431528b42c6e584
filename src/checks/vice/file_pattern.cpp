// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/vice/file_pattern.h"

CQVVice01::CQVVice01(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice01::~CQVVice01() = default;
_stringx<> CQVVice01::GetName() const { return Name; }
_stringx<> CQVVice01::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice01::Validate() {}
QV_CHECK_EXPORT(QVVICE01, CQVVice01)

CQVVice02::CQVVice02(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice02::~CQVVice02() = default;
_stringx<> CQVVice02::GetName() const { return Name; }
_stringx<> CQVVice02::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice02::Validate() {}
QV_CHECK_EXPORT(QVVICE02, CQVVice02)

CQVVice03::CQVVice03(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice03::~CQVVice03() = default;
_stringx<> CQVVice03::GetName() const { return Name; }
_stringx<> CQVVice03::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice03::Validate() {}
QV_CHECK_EXPORT(QVVICE03, CQVVice03)

CQVVice04::CQVVice04(MSIHANDLE hInstall, const _stringx<>& name) : CQVViceBase(name, hInstall) {}
CQVVice04::~CQVVice04() = default;
_stringx<> CQVVice04::GetName() const { return Name; }
_stringx<> CQVVice04::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice04::Validate() {}
UINT CQVVice04::ChooseMessage() const { return 222; }
QV_CHECK_EXPORT_NAMED(QVVICE04, CQVVice04)

CQVVice05::CQVVice05(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice05::~CQVVice05() = default;
_stringx<> CQVVice05::GetName() const { return Name; }
_stringx<> CQVVice05::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice05::Validate() {}
QV_CHECK_EXPORT(QVVICE05, CQVVice05)

CQVVice06::CQVVice06(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice06::~CQVVice06() = default;
_stringx<> CQVVice06::GetName() const { return Name; }
_stringx<> CQVVice06::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice06::Validate() {}
QV_CHECK_EXPORT(QVVICE06, CQVVice06)

CQVVice07::CQVVice07(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice07::~CQVVice07() = default;
_stringx<> CQVVice07::GetName() const { return Name; }
_stringx<> CQVVice07::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice07::Validate() {}
QV_CHECK_EXPORT(QVVICE07, CQVVice07)

CQVVice08::CQVVice08(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice08::~CQVVice08() = default;
_stringx<> CQVVice08::GetName() const { return Name; }
_stringx<> CQVVice08::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice08::Validate() {}
QV_CHECK_EXPORT(QVVICE08, CQVVice08)
