#include "framework/vice_base.h"

CQVViceBase::CQVViceBase(const _stringx<>& name, MSIHANDLE hInstall) : CQVIceBase(hInstall), Severity(1)
{
    // The per-package severity table is read here once its check family lands.
    (void)name;
}

CQVViceBase::~CQVViceBase() = default;
