// The export registry: every export of the library in one table, with its
// family, the class that runs, its description id and its entry.
#pragma once

#include <span>
#include <string_view>

#include "platform/platform.h"

namespace qv {

using CheckEntry = UINT(WINAPI*)(MSIHANDLE);

struct CheckExport {
    const wchar_t* name;      // export name, e.g. L"QVBP01"
    const char* family;       // "bp", "ice", "vice" or "uwp"
    const char* className;    // the class that runs, e.g. "CQVBP01"
    UINT descriptionId;       // catalogue id of the description
    CheckEntry entry;
};

// All 85 exports: best practice, logo, virtualization, app package, each in
// the order of its numbers.
std::span<const CheckExport> AllExports() noexcept;

// The export of that exact name, or null.
const CheckExport* FindExport(std::wstring_view name) noexcept;

}  // namespace qv
