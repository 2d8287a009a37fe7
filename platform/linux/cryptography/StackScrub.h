#pragma once

/// Overwrites the part of the stack that the calls made in its scope used: the libraries leave
/// blocks of messages and keys there that only they could have wiped.
class [[nodiscard]] StackScrub
{
public:
    StackScrub() = default;
    ~StackScrub();
    StackScrub(const StackScrub &) = delete;
    StackScrub &operator=(const StackScrub &) = delete;
};
