// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/bp/sequence_property.h"

CQVBP06::CQVBP06(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP06::~CQVBP06() = default;
_stringx<> CQVBP06::GetName() const { return Name; }
_stringx<> CQVBP06::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP06::Validate() {}
QV_CHECK_EXPORT(QVBP06, CQVBP06)

CQVBP08::CQVBP08(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP08::~CQVBP08() = default;
_stringx<> CQVBP08::GetName() const { return Name; }
_stringx<> CQVBP08::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP08::Validate() {}
QV_CHECK_EXPORT(QVBP08, CQVBP08)

CQVBP09::CQVBP09(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP09::~CQVBP09() = default;
_stringx<> CQVBP09::GetName() const { return Name; }
_stringx<> CQVBP09::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP09::Validate() {}
QV_CHECK_EXPORT(QVBP09, CQVBP09)

CQVBP10::CQVBP10(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP10::~CQVBP10() = default;
_stringx<> CQVBP10::GetName() const { return Name; }
_stringx<> CQVBP10::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP10::Validate() {}
QV_CHECK_EXPORT(QVBP10, CQVBP10)

CQVBP13::CQVBP13(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP13::~CQVBP13() = default;
_stringx<> CQVBP13::GetName() const { return Name; }
_stringx<> CQVBP13::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP13::Validate() {}
QV_CHECK_EXPORT(QVBP13, CQVBP13)
