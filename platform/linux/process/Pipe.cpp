#include "platform/linux/process/Pipe.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

bool moveOffStandardDescriptors(Descriptor &end)
{
    if (end.number() > STDERR_FILENO)
        return true;
    Descriptor moved(::fcntl(end.number(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!moved.isOpen())
        return false;
    end = std::move(moved);
    return true;
}

} // namespace

std::optional<Pipe> Pipe::make()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return std::nullopt;
    Pipe pipe{Descriptor(ends[0]), Descriptor(ends[1])};
    if (!moveOffStandardDescriptors(pipe.reading) || !moveOffStandardDescriptors(pipe.writing))
        return std::nullopt;
    return pipe;
}

bool setNonBlocking(const Descriptor &end)
{
    const int flags = ::fcntl(end.number(), F_GETFL);
    return flags >= 0 && ::fcntl(end.number(), F_SETFL, flags | O_NONBLOCK) == 0;
}
