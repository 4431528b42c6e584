// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/bp/naming_dialog.h"

CQVBP02::CQVBP02(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP02::~CQVBP02() = default;
_stringx<> CQVBP02::GetName() const { return Name; }
_stringx<> CQVBP02::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP02::Validate() {}
QV_CHECK_EXPORT(QVBP02, CQVBP02)

CQVBP03::CQVBP03(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP03::~CQVBP03() = default;
_stringx<> CQVBP03::GetName() const { return Name; }
_stringx<> CQVBP03::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP03::Validate() {}
QV_CHECK_EXPORT(QVBP03, CQVBP03)

CQVBP04::CQVBP04(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP04::~CQVBP04() = default;
_stringx<> CQVBP04::GetName() const { return Name; }
_stringx<> CQVBP04::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP04::Validate() {}
QV_CHECK_EXPORT(QVBP04, CQVBP04)

CQVBP05::CQVBP05(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP05::~CQVBP05() = default;
_stringx<> CQVBP05::GetName() const { return Name; }
_stringx<> CQVBP05::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP05::Validate() {}
QV_CHECK_EXPORT(QVBP05, CQVBP05)

CQVBP15::CQVBP15(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP15::~CQVBP15() = default;
_stringx<> CQVBP15::GetName() const { return Name; }
_stringx<> CQVBP15::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP15::Validate() {}
QV_CHECK_EXPORT(QVBP15, CQVBP15)
