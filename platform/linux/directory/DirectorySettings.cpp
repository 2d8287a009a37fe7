#include "platform/linux/directory/DirectorySettings.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char SettingsPath[] = "/etc/zevrikselfservice/directory.conf";
constexpr qint64 MaximumSize = 64LL * 1024;

std::optional<bool> readBoolean(const QString &text)
{
    const QString lower = text.toLower();
    for (const char *yes : {"yes", "true", "on", "1"}) {
        if (lower == QLatin1String(yes))
            return true;
    }
    for (const char *no : {"no", "false", "off", "0"}) {
        if (lower == QLatin1String(no))
            return false;
    }
    return std::nullopt;
}

bool isHostName(const QString &text)
{
    if (text.isEmpty() || text.size() > 253)
        return false;
    for (const QChar c : text) {
        const bool plain = c.unicode() < 0x80 && (c.isLetterOrNumber() || c == u'-' || c == u'.');
        if (!plain && c != u'_')
            return false;
    }
    return !text.startsWith(u'.') && !text.startsWith(u'-') && !text.contains(QLatin1String(".."));
}

std::optional<DirectoryServerAddress> readAddress(const QString &text)
{
    DirectoryServerAddress address;
    QString port;
    if (text.startsWith(u'[')) {
        const qsizetype end = text.indexOf(u']');
        if (end < 2)
            return std::nullopt;
        address.host = text.mid(1, end - 1);
        if (!address.host.contains(u':'))
            return std::nullopt;
        for (const QChar c : std::as_const(address.host)) {
            if (!c.isDigit() && !(c.toLower() >= u'a' && c.toLower() <= u'f') && c != u':' &&
                c != u'.')
                return std::nullopt;
        }
        const QString rest = text.mid(end + 1);
        if (!rest.isEmpty() && !rest.startsWith(u':'))
            return std::nullopt;
        if (rest.isEmpty())
            return address;
        port = rest.mid(1);
    } else {
        const qsizetype colon = text.indexOf(u':');
        address.host = text.left(colon);
        if (!isHostName(address.host))
            return std::nullopt;
        if (colon < 0)
            return address;
        port = text.mid(colon + 1);
    }
    bool isNumber = false;
    address.port = port.toUShort(&isNumber);
    if (!isNumber || address.port == 0)
        return std::nullopt;
    return address;
}

std::optional<QList<DirectoryServerAddress>> readAddresses(const QString &text)
{
    QList<DirectoryServerAddress> addresses;
    const QStringList parts = text.split(u',');
    for (const QString &part : parts) {
        const std::optional<DirectoryServerAddress> address = readAddress(part.trimmed());
        if (!address)
            return std::nullopt;
        addresses.append(*address);
    }
    return addresses;
}

/// Whether `value` made sense for `key`; absent for a key that does not exist.
std::optional<bool> apply(DirectorySettings &settings, const QString &key, const QString &value)
{
    using Settings = DirectorySettings;
    const QString lower = value.toLower();
    const auto choose = [&lower](auto &target, auto... choices) {
        const auto one = [&](const auto &choice) {
            if (lower != QLatin1String(choice.first))
                return false;
            target = choice.second;
            return true;
        };
        return (one(choices) || ...);
    };
    const auto text = [&value](QString &target, bool valid) {
        if (valid)
            target = value;
        return valid;
    };
    const auto list = [](auto &target, const auto &read) {
        if (read)
            target = *read;
        return read.has_value();
    };
    const bool isPath = value.startsWith(u'/');

    if (key == QLatin1String("backend"))
        return choose(settings.backend, std::pair("ldap", Settings::Backend::Ldap),
                      std::pair("ldif", Settings::Backend::Ldif));
    if (key == QLatin1String("file"))
        return text(settings.ldifFile, isPath);
    if (key == QLatin1String("domain"))
        return text(settings.domain, isHostName(value));
    if (key == QLatin1String("netbios-domain"))
        return text(settings.netBiosDomain, isHostName(value));
    if (key == QLatin1String("site"))
        return text(settings.site, isHostName(value));
    if (key == QLatin1String("server"))
        return list(settings.servers, readAddresses(value));
    if (key == QLatin1String("global-catalog"))
        return list(settings.globalCatalogs, readAddresses(value));
    if (key == QLatin1String("bind"))
        return choose(settings.bind, std::pair("gssapi", Settings::Bind::Gssapi),
                      std::pair("simple", Settings::Bind::Simple));
    if (key == QLatin1String("bind-dn"))
        return text(settings.bindName, !value.isEmpty());
    if (key == QLatin1String("bind-password-file"))
        return text(settings.bindPasswordFile, isPath);
    if (key == QLatin1String("tls"))
        return choose(settings.tls, std::pair("auto", Settings::Tls::Automatic),
                      std::pair("starttls", Settings::Tls::StartTls),
                      std::pair("require", Settings::Tls::StartTls),
                      std::pair("ldaps", Settings::Tls::Ldaps),
                      std::pair("off", Settings::Tls::Off));
    if (key == QLatin1String("tls-ca-file"))
        return text(settings.tlsAuthorityFile, isPath);
    if (key == QLatin1String("allow-unprotected")) {
        const std::optional<bool> allowed = readBoolean(value);
        return list(settings.allowUnprotected, allowed);
    }
    if (key == QLatin1String("admin-groups")) {
        QStringList groups;
        for (const QString &group : value.split(u',')) {
            if (!group.trimmed().isEmpty())
                groups.append(group.trimmed());
        }
        if (groups.isEmpty())
            return false;
        settings.administratorGroups = groups;
        return true;
    }
    return std::nullopt;
}

} // namespace

DirectorySettings DirectorySettings::read(const QString &rootPrefix,
                                          const DiagnosticSink &diagnostics)
{
    const QString path = rootPrefix + QLatin1String(SettingsPath);
    const auto failed = [&](const QString &why) {
        diagnostics(1, DiagnosticType::Error,
                    QStringLiteral("Directory settings %1 are not used: %2").arg(path, why));
        return DirectorySettings{};
    };
    // A pipe in the file's place would block the reader.
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        if (errno == ENOENT || errno == ENOTDIR)
            return {};
        return failed(QString::fromLocal8Bit(std::strerror(errno)));
    }
    struct stat status = {};
    QFile file;
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) ||
        !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return failed(QStringLiteral("not a regular file"));
    }
    const QByteArray text = file.read(MaximumSize + 1);
    if (file.error() != QFileDevice::NoError)
        return failed(file.errorString());
    if (text.size() > MaximumSize)
        return failed(QStringLiteral("larger than %1 bytes").arg(MaximumSize));
    return parse(text, path, diagnostics);
}

DirectorySettings DirectorySettings::parse(QByteArrayView text, const QString &name,
                                           const DiagnosticSink &diagnostics)
{
    DirectorySettings settings;
    const QStringList lines = QString::fromUtf8(text).split(u'\n');
    int number = 0;
    for (const QString &untrimmed : lines) {
        ++number;
        const auto complain = [&](const QString &what) {
            diagnostics(1, DiagnosticType::Error,
                        QStringLiteral("%1 line %2: %3").arg(name).arg(number).arg(what));
        };
        const QString line = untrimmed.trimmed();
        if (line.isEmpty() || line.startsWith(u'#') || line.startsWith(u';') ||
            (line.startsWith(u'[') && line.endsWith(u']')))
            continue;
        const qsizetype equals = line.indexOf(u'=');
        if (equals < 0) {
            complain(QStringLiteral("neither a key with its value nor a comment; ignored"));
            continue;
        }
        const QString key = line.left(equals).trimmed().toLower();
        const QString value = line.mid(equals + 1).trimmed();
        const std::optional<bool> applied = apply(settings, key, value);
        // The value is not repeated: somebody may have written a password there.
        if (!applied)
            complain(QStringLiteral("unknown key '%1'; ignored").arg(key));
        else if (!*applied)
            complain(QStringLiteral("the value of '%1' makes no sense; ignored").arg(key));
    }
    return settings;
}
