#include "platform/linux/cryptography/StackScrub.h"

#include <array>

#include <openssl/crypto.h>

namespace {

/// More than the deepest of the calls takes.
constexpr std::size_t depth = 16384;

// A frame of its own, so that it lies where the frames of the calls before it lay.
[[gnu::noinline]] void scrub()
{
    // Not initialised: it is written but once.
    std::array<unsigned char, depth> frame; // NOLINT(cppcoreguidelines-pro-type-member-init)
    OPENSSL_cleanse(frame.data(), frame.size());
}

} // namespace

StackScrub::~StackScrub()
{
    scrub();
}
