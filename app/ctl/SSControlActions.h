#pragma once

#include "app/ctl/SSControlCommand.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

/// The row of a command's table whose name is the first operand; null when there is none of that
/// name.
template<typename Action, std::size_t count>
[[nodiscard]] const Action *actionOf(const Action (&actions)[count],
                                     const SSControlInvocation &invocation)
{
    const auto *const it =
        std::find_if(std::begin(actions), std::end(actions), [&](const Action &action) {
            return invocation.operands().at(0) == QLatin1String(action.name);
        });
    return it == std::end(actions) ? nullptr : it;
}
