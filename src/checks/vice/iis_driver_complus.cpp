// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/vice/iis_driver_complus.h"

CQVVice09::CQVVice09(MSIHANDLE hInstall, const _stringx<>& name) : CQVViceBase(name, hInstall) {}
CQVVice09::~CQVVice09() = default;
_stringx<> CQVVice09::GetName() const { return Name; }
_stringx<> CQVVice09::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice09::Validate() {}
UINT CQVVice09::ChooseMessage() const { return 227; }
QV_CHECK_EXPORT_NAMED(QVVICE09, CQVVice09)

CQVVice10::CQVVice10(MSIHANDLE hInstall, const _stringx<>& name) : CQVViceBase(name, hInstall) {}
CQVVice10::~CQVVice10() = default;
_stringx<> CQVVice10::GetName() const { return Name; }
_stringx<> CQVVice10::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice10::Validate() {}
UINT CQVVice10::ChooseMessage() const { return 228; }
QV_CHECK_EXPORT_NAMED(QVVICE10, CQVVice10)

CQVVice17::CQVVice17(MSIHANDLE hInstall) : CQVViceBase(Name, hInstall) {}
CQVVice17::~CQVVice17() = default;
_stringx<> CQVVice17::GetName() const { return Name; }
_stringx<> CQVVice17::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVVice17::Validate() {}
QV_CHECK_EXPORT(QVVICE17, CQVVice17)
