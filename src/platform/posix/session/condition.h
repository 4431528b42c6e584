// Conditional expressions of the installer (MsiEvaluateCondition): values,
// comparison and substring operators with the ~ case-insensitive forms, NOT,
// AND, OR, XOR, EQV, IMP and parentheses. Never throws.
#pragma once

#include <optional>
#include <string>

#include "../winapi/msi.h"

namespace qv::posix::session {

class ConditionContext {
public:
    virtual ~ConditionContext() = default;
    virtual std::wstring property(const std::wstring& name) const = 0;
    virtual std::wstring environment(const std::wstring& name) const = 0;
    // Install states (-1 unknown, 2 absent, 3 local, 4 source...) of a
    // Component ($ action, ? installed) or Feature (& action, ! installed);
    // nullopt when no such row exists.
    virtual std::optional<int> state(wchar_t prefix, const std::wstring& name) const = 0;
};

MSICONDITION evaluate_condition(const std::wstring& text, const ConditionContext& context);

}  // namespace qv::posix::session
