// The message catalogue as a string table of the platform. The same
// catalogue.inc feeds the string table resource of the DLL; here it becomes
// a static table that is registered with the platform's LoadStringW when the
// library is loaded, under the library's module handle.
#include <cstddef>
#include <iterator>

#include "framework/library.h"
#include "platform/platform.h"

namespace {

#define QV_CATALOGUE(id, text) {id, text},
const QvStringResource kCatalogue[] = {
#include "framework/catalogue.inc"
};
#undef QV_CATALOGUE

// The module handle of the library in the native build, where no loader
// gives one: a fixed, non-null value.
HMODULE const kNativeModule = reinterpret_cast<HMODULE>(static_cast<uintptr_t>(0x51560000));

struct CatalogueRegistration {
    CatalogueRegistration()
    {
        QvRegisterStringTable(kNativeModule, kCatalogue, std::size(kCatalogue));
        if (!QvLibraryModule())
            QvSetLibraryModule(kNativeModule);
    }
};

const CatalogueRegistration g_registration;

}  // namespace

// Referenced by the reporter so that the linker keeps this unit, and with it
// the registration, in every program that reports.
size_t QvCatalogueSize() noexcept { return std::size(kCatalogue); }
