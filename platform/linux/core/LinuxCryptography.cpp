#include "platform/linux/core/LinuxCryptography.h"

#include <cerrno>

#include <sys/random.h>

int LinuxCryptography::randomBytes(std::span<std::byte> bytes)
{
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = getrandom(bytes.data() + filled, bytes.size() - filled, 0);
        if (count < 0) {
            if (errno == EINTR)
                continue;
            return errno;
        }
        filled += static_cast<std::size_t>(count);
    }
    return 0;
}
