#include "platform/linux/core/LinuxSecretInput.h"

#include <QByteArray>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include <poll.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

namespace {

volatile std::sig_atomic_t caughtSignal = 0;
volatile std::sig_atomic_t isToPause = 0;

void remember(int number)
{
    if (number == SIGTSTP)
        isToPause = 1;
    else
        caughtSignal = number;
}

void print(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
        if (written < 0 && errno != EINTR)
            return;
        if (written > 0)
            text.remove_prefix(static_cast<std::size_t>(written));
    }
}

/// A terminal that asks, without an echo while this lives. What would end the process meanwhile is
/// remembered, and delivered once the terminal is as it was; also whoever stops the process gets
/// the terminal as it was.
class SilentTerminal
{
public:
    explicit SilentTerminal(std::string prompt) : m_prompt(std::move(prompt))
    {
        m_isTerminal = tcgetattr(STDIN_FILENO, &m_before) == 0;
        if (!m_isTerminal)
            return;
        caughtSignal = 0;
        isToPause = 0;
        catchSignals();
        silence(TCSAFLUSH);
    }
    ~SilentTerminal()
    {
        if (!m_isTerminal)
            return;
        print("\n");
        restore();
    }
    SilentTerminal(const SilentTerminal &) = delete;
    SilentTerminal &operator=(const SilentTerminal &) = delete;

    /// Waits for input; false when a signal came first.
    [[nodiscard]] bool wait()
    {
        if (!m_isTerminal)
            return true;
        pollfd input{STDIN_FILENO, POLLIN, 0};
        while (caughtSignal == 0 && ppoll(&input, 1, nullptr, &m_maskBefore) < 0 &&
               errno == EINTR) {
            if (isToPause != 0 && caughtSignal == 0)
                pause();
        }
        return caughtSignal == 0;
    }

private:
    static constexpr std::array caught{SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGTSTP};

    void catchSignals()
    {
        struct sigaction action = {};
        action.sa_handler = remember;
        sigemptyset(&action.sa_mask);
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int number : caught)
            sigaddset(&blocked, number);
        sigprocmask(SIG_BLOCK, &blocked, &m_maskBefore);
        for (std::size_t i = 0; i < caught.size(); ++i)
            sigaction(caught[i], &action, &m_actionsBefore[i]);
    }

    void silence(int when)
    {
        termios silent = m_before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, when, &silent);
        print(m_prompt);
    }

    /// Everything as it was before; what has been caught does now what it would have done.
    void restore()
    {
        tcsetattr(STDIN_FILENO, TCSADRAIN, &m_before);
        for (std::size_t i = 0; i < caught.size(); ++i)
            sigaction(caught[i], &m_actionsBefore[i], nullptr);
        if (caughtSignal != 0)
            raise(caughtSignal);
        if (std::exchange(isToPause, 0) != 0)
            raise(SIGTSTP);
        sigprocmask(SIG_SETMASK, &m_maskBefore, nullptr);
    }

    void pause()
    {
        print("\n");
        restore();
        // The process goes on. What it has not read of a line yet stays in the terminal.
        catchSignals();
        silence(TCSADRAIN);
    }

    std::string m_prompt;
    termios m_before{};
    sigset_t m_maskBefore{};
    std::array<struct sigaction, caught.size()> m_actionsBefore{};
    bool m_isTerminal = false;
};

Result<std::size_t, QString> readBytes(std::span<std::byte> line, SilentTerminal &terminal)
{
    std::size_t length = 0;
    bool isTooLong = false;
    bool isAny = false;
    const auto failed = [line](const QString &text) {
        explicit_bzero(line.data(), line.size());
        return Failure{text};
    };
    for (;;) {
        if (!terminal.wait())
            return failed(QStringLiteral("interrupted"));
        char c = 0;
        const ssize_t count = read(STDIN_FILENO, &c, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return failed(QString::fromLocal8Bit(std::strerror(errno)));
        if (count == 0 || c == '\n') {
            isAny = isAny || count > 0;
            break;
        }
        isAny = true;
        if (length < line.size())
            line[length++] = static_cast<std::byte>(c);
        else
            isTooLong = true;
    }
    if (!isAny)
        return failed(QStringLiteral("the input has ended"));
    if (isTooLong)
        return failed(QStringLiteral("the line is longer than %1 bytes").arg(line.size()));
    return length;
}

} // namespace

Result<std::size_t, QString> LinuxSecretInput::readLine(const QString &prompt,
                                                        std::span<std::byte> line)
{
    SilentTerminal terminal(prompt.toLocal8Bit().toStdString());
    return readBytes(line, terminal);
}
