#include "platform/linux/machine/LinuxMachineIdentity.h"

#include "platform/Result.h"
#include "platform/linux/posix/Descriptor.h"

#include <QByteArray>
#include <QUuid>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t idLength = 16;
constexpr std::size_t idTextLength = 2 * idLength;
using Id = std::array<unsigned char, idLength>;

/// Not to be changed: docs/offline-reset.md, "What a build has to keep".
constexpr Id applicationId{0x44, 0x5a, 0x62, 0xe8, 0x2a, 0x85, 0x17, 0x44,
                           0x63, 0xd8, 0x9f, 0x61, 0xd8, 0x8c, 0x07, 0xcd};

QString systemReason(int error)
{
    return QString::fromStdString(std::error_code(error, std::generic_category()).message());
}

/// What stands at the beginning of a regular file, or why it cannot be read.
Result<QByteArray, QString> headOfFile(const QString &path)
{
    const Descriptor file(
        ::open(path.toLocal8Bit().constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen())
        return Failure{systemReason(errno)};
    std::array<char, idTextLength + 2> buffer{};
    ssize_t count = -1;
    struct stat status = {};
    QString reason = QStringLiteral("It is no regular file.");
    if (::fstat(file.number(), &status) != 0) {
        reason = systemReason(errno);
    } else if (S_ISREG(status.st_mode)) {
        do {
            count = ::read(file.number(), buffer.data(), buffer.size());
        } while (count < 0 && errno == EINTR);
        reason = systemReason(errno);
    }
    if (count < 0)
        return Failure{reason};
    return QByteArray(buffer.data(), static_cast<qsizetype>(count));
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

/// The library's oldest error; its queue is emptied, so that no later call takes it for its own.
QString takeLibraryReason()
{
    std::array<char, 256> text{};
    ERR_error_string_n(ERR_get_error(), text.data(), text.size());
    ERR_clear_error();
    return QString::fromUtf8(text.data());
}

/// The id in its form for this application; none when the library fails.
std::optional<QString> hashed(const Id &machineId)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> code{};
    unsigned length = 0;
    if (!HMAC(EVP_sha256(), machineId.data(), static_cast<int>(machineId.size()),
              applicationId.data(), applicationId.size(), code.data(), &length) ||
        length < idLength)
        return std::nullopt;
    // A random UUID's version and variant.
    code[6] = static_cast<unsigned char>((code[6] & 0x0fU) | 0x40U);
    code[8] = static_cast<unsigned char>((code[8] & 0x3fU) | 0x80U);
    const auto uuid =
        QUuid::fromRfc4122(QByteArrayView(code.data(), static_cast<qsizetype>(idLength)));
    return uuid.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

LinuxMachineIdentity::LinuxMachineIdentity(QString rootPrefix, DiagnosticSink diagnostics)
    : m_rootPrefix(std::move(rootPrefix)), m_diagnostics(std::move(diagnostics))
{
}

std::optional<QString> LinuxMachineIdentity::platformUuid()
{
    QStringList faults;
    // The second is the same id on a computer that has D-Bus but not systemd.
    for (const char *place : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
        const QString path = m_rootPrefix + QLatin1String(place);
        const auto text = headOfFile(path);
        if (!text.ok()) {
            faults.append(
                QStringLiteral("The machine id in %1 cannot be read: %2").arg(path, text.error()));
            continue;
        }
        const auto machineId = parsed(text.value());
        if (!machineId) {
            faults.append(QStringLiteral("What stands in %1 is no machine id.").arg(path));
            continue;
        }
        if (auto uuid = hashed(*machineId))
            return uuid;
        faults = {QStringLiteral("The machine id in %1 cannot be hashed: %2")
                      .arg(path, takeLibraryReason())};
        break;
    }
    for (const QString &fault : faults)
        tell(fault);
    return std::nullopt;
}

void LinuxMachineIdentity::tell(const QString &fault)
{
    {
        const std::lock_guard guard(m_lock);
        if (m_told.contains(fault))
            return;
        m_told.append(fault);
    }
    if (m_diagnostics)
        m_diagnostics(1, DiagnosticType::Error, fault);
}
