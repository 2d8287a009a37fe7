#include "platform/linux/core/LinuxSecretInput.h"

#include <QByteArray>

#include <cerrno>
#include <cstring>
#include <string_view>

#include <string.h>
#include <termios.h>
#include <unistd.h>

namespace {

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

/// The terminal's echo is off while it lives; a stop or an end by the keyboard waits until then, so
/// that the terminal is never left silent.
class SilentTerminal
{
public:
    SilentTerminal()
    {
        m_isTerminal = tcgetattr(STDIN_FILENO, &m_before) == 0;
        if (!m_isTerminal)
            return;
        termios silent = m_before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    ~SilentTerminal()
    {
        if (m_isTerminal)
            tcsetattr(STDIN_FILENO, TCSADRAIN, &m_before);
    }
    SilentTerminal(const SilentTerminal &) = delete;
    SilentTerminal &operator=(const SilentTerminal &) = delete;

    [[nodiscard]] bool isTerminal() const { return m_isTerminal; }

private:
    termios m_before{};
    bool m_isTerminal = false;
};

constexpr char interrupt = '\x03'; // Control-C, which is a character while signals are off

Result<std::size_t, QString> readBytes(std::span<std::byte> line, bool isTerminal)
{
    std::size_t length = 0;
    bool isTooLong = false;
    bool isAny = false;
    const auto failed = [line](const QString &text) {
        explicit_bzero(line.data(), line.size());
        return Failure{text};
    };
    for (;;) {
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
        if (isTerminal && c == interrupt)
            return failed(QStringLiteral("interrupted"));
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
    const SilentTerminal terminal;
    if (terminal.isTerminal())
        print(prompt.toLocal8Bit().toStdString());
    auto length = readBytes(line, terminal.isTerminal());
    if (terminal.isTerminal())
        print("\n");
    return length;
}
