#include "platform/linux/machine/LinuxMachineIdentity.h"

#include <QByteArray>
#include <QUuid>

#include <array>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t idLength = 16;
constexpr std::size_t idTextLength = 2 * idLength;
using Id = std::array<unsigned char, idLength>;

/// Changing it changes the identity of every computer, and with it the key that the computer's key
/// file is encrypted with.
constexpr Id applicationId{0x44, 0x5a, 0x62, 0xe8, 0x2a, 0x85, 0x17, 0x44,
                           0x63, 0xd8, 0x9f, 0x61, 0xd8, 0x8c, 0x07, 0xcd};

/// What stands at the beginning of a regular file; none when it cannot be read.
std::optional<QByteArray> headOfFile(const QString &path)
{
    const int descriptor =
        ::open(path.toLocal8Bit().constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0)
        return std::nullopt;
    std::optional<QByteArray> result;
    struct stat status = {};
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        std::array<char, idTextLength + 2> buffer{};
        ssize_t count = -1;
        do {
            count = ::read(descriptor, buffer.data(), buffer.size());
        } while (count < 0 && errno == EINTR);
        if (count >= 0)
            result = QByteArray(buffer.data(), static_cast<qsizetype>(count));
    }
    ::close(descriptor);
    return result;
}

std::optional<unsigned> hexDigit(char digit)
{
    if (digit >= '0' && digit <= '9')
        return static_cast<unsigned>(digit - '0');
    if (digit >= 'a' && digit <= 'f')
        return static_cast<unsigned>(digit - 'a') + 10U;
    if (digit >= 'A' && digit <= 'F')
        return static_cast<unsigned>(digit - 'A') + 10U;
    return std::nullopt;
}

/// 32 hexadecimal digits and nothing but a line end behind them. On a computer that has no id yet
/// the file is empty, holds "uninitialized", or only zeros.
std::optional<Id> parsed(const QByteArray &text)
{
    constexpr auto length = static_cast<qsizetype>(idTextLength);
    if (text.size() != length && !(text.size() == length + 1 && text.endsWith('\n')))
        return std::nullopt;
    Id id{};
    unsigned char any = 0;
    for (std::size_t i = 0; i < idLength; ++i) {
        const char *digits = text.constData() + 2 * i;
        const auto high = hexDigit(digits[0]);
        const auto low = hexDigit(digits[1]);
        if (!high || !low)
            return std::nullopt;
        id[i] = static_cast<unsigned char>(*high << 4U | *low);
        any |= id[i];
    }
    if (any == 0)
        return std::nullopt;
    return id;
}

} // namespace

LinuxMachineIdentity::LinuxMachineIdentity(QString rootPrefix, DiagnosticSink diagnostics)
    : m_rootPrefix(std::move(rootPrefix)), m_diagnostics(std::move(diagnostics))
{
}

std::optional<QString> LinuxMachineIdentity::platformUuid()
{
    // The second is the same id on a computer that has D-Bus but not systemd.
    for (const char *place : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
        const auto text = headOfFile(m_rootPrefix + QLatin1String(place));
        const auto machineId = text ? parsed(*text) : std::nullopt;
        if (!machineId)
            continue;
        std::array<unsigned char, EVP_MAX_MD_SIZE> code{};
        unsigned length = 0;
        if (!HMAC(EVP_sha256(), machineId->data(), static_cast<int>(machineId->size()),
                  applicationId.data(), applicationId.size(), code.data(), &length) ||
            length < idLength)
            break;
        // A random UUID's version and variant.
        code[6] = static_cast<unsigned char>((code[6] & 0x0fU) | 0x40U);
        code[8] = static_cast<unsigned char>((code[8] & 0x3fU) | 0x80U);
        const auto uuid =
            QUuid::fromRfc4122(QByteArrayView(code.data(), static_cast<qsizetype>(idLength)));
        return uuid.toString(QUuid::WithoutBraces).toUpper();
    }
    if (m_diagnostics)
        m_diagnostics(1, DiagnosticType::Error,
                      QStringLiteral("The computer has no machine id in %1/etc/machine-id.")
                          .arg(m_rootPrefix));
    return std::nullopt;
}
