// The manifest lookup of the POSIX back end over an image's bytes, shared by
// ExtractManifestResource and the resource walker's fuzz target.
#pragma once

#include "platform/posix/inspect/version_resource.h"

namespace qv::posix {

constexpr uint16_t kManifestType = 24;
constexpr uint16_t kManifestName = 1;

// Resource 24/1 in the language chosen as for a request of language 0;
// Found with entry's offset and size inside image, or why not.
inline ResourceResult FindManifest(ByteView image, ResourceEntry& entry)
{
    return FindResource(image, kManifestType, kManifestName, 0, entry);
}

}  // namespace qv::posix
