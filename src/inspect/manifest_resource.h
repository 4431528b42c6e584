// The one system-dependent step of reading a module's manifest: copy its
// manifest resource (type 24) number 1, in the language that a lookup for
// language 0 finds, to a new file. One file per system:
// src/platform/<system>/inspect/manifest_resource.cpp.
#pragma once

#include "foundation/stringx.h"

namespace qv {

// True when the manifest was written to target. False, with no file made,
// when the module will not load as data or has no manifest number 1; false
// too when target cannot be created.
bool ExtractManifestResource(const _stringx<>& modulePath, const _stringx<>& target);

}  // namespace qv
