// Checks whose rules have not landed yet run their banner only: their
// Validate is empty until then.
#include "checks/bp/component_file.h"

CQVBP07::CQVBP07(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP07::~CQVBP07() = default;
_stringx<> CQVBP07::GetName() const { return Name; }
_stringx<> CQVBP07::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP07::Validate() {}
QV_CHECK_EXPORT(QVBP07, CQVBP07)

CQVBP11::CQVBP11(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP11::~CQVBP11() = default;
_stringx<> CQVBP11::GetName() const { return Name; }
_stringx<> CQVBP11::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP11::Validate() {}
QV_CHECK_EXPORT(QVBP11, CQVBP11)

CQVBP12::CQVBP12(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP12::~CQVBP12() = default;
_stringx<> CQVBP12::GetName() const { return Name; }
_stringx<> CQVBP12::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP12::Validate() {}
QV_CHECK_EXPORT(QVBP12, CQVBP12)

CQVBP14::CQVBP14(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP14::~CQVBP14() = default;
_stringx<> CQVBP14::GetName() const { return Name; }
_stringx<> CQVBP14::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP14::Validate() {}
QV_CHECK_EXPORT(QVBP14, CQVBP14)

CQVBP16::CQVBP16(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP16::~CQVBP16() = default;
_stringx<> CQVBP16::GetName() const { return Name; }
_stringx<> CQVBP16::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP16::Validate() {}
QV_CHECK_EXPORT(QVBP16, CQVBP16)

CQVBP17::CQVBP17(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP17::~CQVBP17() = default;
_stringx<> CQVBP17::GetName() const { return Name; }
_stringx<> CQVBP17::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP17::Validate() {}
QV_CHECK_EXPORT(QVBP17, CQVBP17)

CQVBP18::CQVBP18(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP18::~CQVBP18() = default;
_stringx<> CQVBP18::GetName() const { return Name; }
_stringx<> CQVBP18::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP18::Validate() {}
QV_CHECK_EXPORT(QVBP18, CQVBP18)

CQVBP19::CQVBP19(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP19::~CQVBP19() = default;
_stringx<> CQVBP19::GetName() const { return Name; }
_stringx<> CQVBP19::GetDescription() const { return LoadMessage(DescriptionId); }
void CQVBP19::Validate() {}
QV_CHECK_EXPORT(QVBP19, CQVBP19)
