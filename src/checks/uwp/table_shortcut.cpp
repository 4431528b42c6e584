// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/uwp/table_shortcut.h"

CQVAppx01::CQVAppx01(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx01::~CQVAppx01() = default;
_stringx<> CQVAppx01::GetName() const { return Name; }
_stringx<> CQVAppx01::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx01::Validate() {}
QV_CHECK_EXPORT(QVUWP01, CQVAppx01)

CQVAppx03::CQVAppx03(MSIHANDLE hInstall, const _stringx<>& name) : CQVViceBase(name, hInstall) {}
CQVAppx03::~CQVAppx03() = default;
_stringx<> CQVAppx03::GetName() const { return Name; }
_stringx<> CQVAppx03::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx03::Validate() {}
QV_CHECK_EXPORT_NAMED(QVUWP03, CQVAppx03)

CQVAppx04::CQVAppx04(MSIHANDLE hInstall) : CQVAppx03(hInstall, Name) {}
CQVAppx04::~CQVAppx04() = default;
_stringx<> CQVAppx04::GetName() const { return Name; }
_stringx<> CQVAppx04::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx04::Validate() {}
QV_CHECK_EXPORT(QVUWP04, CQVAppx04)

CQVAppx05::CQVAppx05(MSIHANDLE hInstall) : CQVAppx03(hInstall, Name) {}
CQVAppx05::~CQVAppx05() = default;
_stringx<> CQVAppx05::GetName() const { return Name; }
_stringx<> CQVAppx05::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx05::Validate() {}
QV_CHECK_EXPORT(QVUWP05, CQVAppx05)

CQVAppx16::CQVAppx16(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx16::~CQVAppx16() = default;
_stringx<> CQVAppx16::GetName() const { return Name; }
_stringx<> CQVAppx16::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx16::Validate() {}
QV_CHECK_EXPORT(QVUWP16, CQVAppx16)

CQVAppx17::CQVAppx17(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx17::~CQVAppx17() = default;
_stringx<> CQVAppx17::GetName() const { return Name; }
_stringx<> CQVAppx17::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx17::Validate() {}
QV_CHECK_EXPORT(QVUWP17, CQVAppx17)

CQVAppx18::CQVAppx18(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx18::~CQVAppx18() = default;
_stringx<> CQVAppx18::GetName() const { return Name; }
_stringx<> CQVAppx18::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx18::Validate() {}
QV_CHECK_EXPORT(QVUWP18, CQVAppx18)

CQVAppx19::CQVAppx19(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVAppx19::~CQVAppx19() = default;
_stringx<> CQVAppx19::GetName() const { return Name; }
_stringx<> CQVAppx19::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVAppx19::Validate() {}
QV_CHECK_EXPORT(QVUWP19, CQVAppx19)
