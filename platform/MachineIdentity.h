#pragma once

#include <QString>

#include <optional>

/// Which computer this is. Any thread.
class MachineIdentity
{
public:
    virtual ~MachineIdentity() = default;

    /// A UUID in text form that is the computer's own: the same for every user and after every
    /// restart, and another one on every other computer. None when the computer has none.
    [[nodiscard]] virtual std::optional<QString> platformUuid() = 0;
};
