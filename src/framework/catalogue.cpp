// The message catalogue as a string table of the platform. The same
// catalogue.inc feeds the string table resource of the DLL; here it becomes
// a static table that is registered with the platform's LoadStringW under
// the library's module handle.
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

}  // namespace

// Registers the table once, at the first question for the library's module:
// a registration from a static initialiser could run before the platform's
// own table of string tables exists.
void QvRegisterCatalogue() noexcept
{
    static const bool registered = [] {
        QvRegisterStringTable(kNativeModule, kCatalogue, std::size(kCatalogue));
        return true;
    }();
    (void)registered;
}

HMODULE QvNativeModule() noexcept { return kNativeModule; }
