// CQVViceBase: the base of the virtualization and app package checks. Their
// findings carry Severity as message type instead of a constant.
#pragma once

#include "framework/check_base.h"

class CQVViceBase : public CQVIceBase {
public:
    // name: the check's name, given by the concrete class because the
    // virtual name operation cannot be used from a base constructor.
    CQVViceBase(const _stringx<>& name, MSIHANDLE hInstall);
    ~CQVViceBase() override;

    // Message type of every finding of this check: the row of _QvViceSeverity
    // for the check's name, read at construction; 1 without one, or for 0.
    int Severity;
};
