#include "reference.h"

namespace qvice {

// No reference tables are built in yet: without --reference, the package's
// own tables serve as the reference tables.
MSIHANDLE OpenBuiltinReference(std::string& reason) {
    reason.clear();
    return 0;
}

}  // namespace qvice
