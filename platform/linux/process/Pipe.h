#pragma once

#include "platform/linux/posix/Descriptor.h"

#include <optional>

/// A pipe whose ends no program inherits. Neither is one of the standard descriptors, even in a
/// process that was started without these, so that an end can be put into any of their places.
struct Pipe
{
    Descriptor reading;
    Descriptor writing;

    /// None when the system has none to give; errno tells why.
    [[nodiscard]] static std::optional<Pipe> make();
};

/// Whether reads and writes through this end return at once from now on.
[[nodiscard]] bool setNonBlocking(const Descriptor &end);
