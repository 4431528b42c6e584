#include "framework/library.h"

#include "checks/uwp/dotnet_target.h"
#include "database/inventory.h"
#include "framework/vice_base.h"
#include "inspect/media_cabinet.h"

namespace {

constexpr DWORD kProcessAttach = 1;

HMODULE g_module = nullptr;

}  // namespace

void QvRegisterCatalogue() noexcept;
HMODULE QvNativeModule() noexcept;

HMODULE QvLibraryModule() noexcept
{
    // Where no loader called DllMain, the catalogue's own table stands in
    // for the module's string table resource.
    if (!g_module) {
        QvRegisterCatalogue();
        g_module = QvNativeModule();
    }
    return g_module;
}

void QvSetLibraryModule(HMODULE module) noexcept { g_module = module; }

void QvResetLibraryState()
{
    // Each static that outlives one export call (inventory guards, shared
    // inspectors, cached answers) gets its reset call here.
    qv::inventory::ResetState();
    ResetMergeModuleAnswer();
    CQVViceBase::ResetInstalledTargets();
    CQVAppx13::ResetInspectors();
}

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved)
{
    if (reason == kProcessAttach)
        QvSetLibraryModule(static_cast<HMODULE>(instance));
    return TRUE;
}
