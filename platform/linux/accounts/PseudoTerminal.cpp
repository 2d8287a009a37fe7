#include "platform/linux/accounts/PseudoTerminal.h"

#include <array>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <sys/uio.h>
#include <termios.h>
#include <unistd.h>

namespace {

void closeDescriptor(int &descriptor)
{
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
}

} // namespace

PseudoTerminal::PseudoTerminal() : m_own(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK))
{
    constexpr std::size_t longestName = 128;
    std::array<char, longestName> name{};
    if (m_own < 0 || grantpt(m_own) != 0 || unlockpt(m_own) != 0) {
        m_error = errno;
        return;
    }
    m_error = ptsname_r(m_own, name.data(), name.size());
    if (m_error != 0)
        return;
    m_program = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_program < 0)
        m_error = errno;
}

PseudoTerminal::~PseudoTerminal()
{
    close();
    closeProgramEnd();
}

void PseudoTerminal::closeProgramEnd()
{
    closeDescriptor(m_program);
}

void PseudoTerminal::close()
{
    if (m_own >= 0)
        tcflush(m_own, TCIOFLUSH);
    closeDescriptor(m_own);
}

std::optional<bool> PseudoTerminal::echoes() const
{
    termios settings{};
    if (tcgetattr(m_own, &settings) != 0)
        return std::nullopt;
    return (settings.c_lflag & ECHO) != 0;
}

PseudoTerminal::Read PseudoTerminal::read(std::span<char> buffer, std::size_t &size)
{
    ssize_t count = 0;
    do {
        count = ::read(m_own, buffer.data(), buffer.size());
    } while (count < 0 && errno == EINTR);
    size = count > 0 ? static_cast<std::size_t>(count) : 0;
    if (count > 0)
        return Read::Some;
    return count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) ? Read::NothingNow : Read::NoMore;
}

bool PseudoTerminal::typeLine(std::span<const char> text)
{
    // No buffer to join them in, which would be one more to wipe.
    static constexpr char returnKey = '\n';
    const std::array<iovec, 2> parts{
        {{const_cast<char *>(text.data()), text.size()}, {const_cast<char *>(&returnKey), 1}}};
    ssize_t count = 0;
    do {
        count = ::writev(m_own, parts.data(), static_cast<int>(parts.size()));
    } while (count < 0 && errno == EINTR);
    return count == static_cast<ssize_t>(text.size() + 1);
}
