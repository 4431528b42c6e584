#include "checks/uwp/shared_vice.h"

CQVAppx02::CQVAppx02(MSIHANDLE hInstall) : CQVVice10(hInstall, Name) {}
CQVAppx02::~CQVAppx02() = default;
_stringx<> CQVAppx02::GetName() const { return Name; }
UINT CQVAppx02::ChooseMessage() const { return 265; }
QV_CHECK_EXPORT(QVUWP02, CQVAppx02)

CQVAppx14::CQVAppx14(MSIHANDLE hInstall) : CQVVice04(hInstall, Name) {}
CQVAppx14::~CQVAppx14() = default;
_stringx<> CQVAppx14::GetName() const { return Name; }
UINT CQVAppx14::ChooseMessage() const { return 290; }
QV_CHECK_EXPORT(QVUWP14, CQVAppx14)

CQVAppx15::CQVAppx15(MSIHANDLE hInstall) : CQVVice09(hInstall, Name) {}
CQVAppx15::~CQVAppx15() = default;
_stringx<> CQVAppx15::GetName() const { return Name; }
UINT CQVAppx15::ChooseMessage() const { return 291; }
QV_CHECK_EXPORT(QVUWP15, CQVAppx15)
