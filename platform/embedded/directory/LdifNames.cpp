#include "platform/embedded/directory/LdifNames.h"

#include <QUuid>

#include <algorithm>

namespace LdifNames {

QByteArray normalizedDn(QByteArrayView dn)
{
    QByteArray result;
    result.reserve(dn.size());
    const QByteArray lower = QString::fromUtf8(dn).toLower().toUtf8();
    bool skipBlanks = true;
    bool escaped = false;
    for (const char c : lower) {
        if (skipBlanks && c == ' ')
            continue;
        skipBlanks = false;
        const bool separator = !escaped && (c == ',' || c == '=');
        if (separator) {
            while (result.endsWith(' '))
                result.chop(1);
            skipBlanks = true;
        }
        escaped = !escaped && c == '\\';
        result.append(c);
    }
    while (result.endsWith(' ') && !result.endsWith("\\ "))
        result.chop(1);
    return result;
}

QString netBiosName(const QByteArray &dn, const QHash<QByteArray, QString> &domains)
{
    // No domain's name is longer; without a bound, a name of nothing but commas would take the
    // square of its length.
    constexpr qsizetype longestDomain = 1024;
    bool escaped = false;
    bool atComponent = true;
    for (qsizetype i = 0; i < dn.size(); ++i) {
        const QByteArrayView rest = QByteArrayView(dn).sliced(i);
        if (atComponent && rest.size() <= longestDomain && rest.startsWith("dc=")) {
            if (domains.isEmpty()) {
                const QByteArrayView label = rest.sliced(3);
                const qsizetype end = label.indexOf(',');
                return QString::fromUtf8(end < 0 ? label : label.first(end)).toUpper().left(15);
            }
            const auto found = domains.constFind(QByteArray::fromRawData(rest.data(), rest.size()));
            if (found != domains.constEnd())
                return *found;
        }
        atComponent = !escaped && dn[i] == ',';
        escaped = !escaped && dn[i] == '\\';
    }
    return {};
}

QString guidText(QByteArrayView value)
{
    QUuid uuid;
    if (value.size() == 16) {
        QByteArray bytes = value.toByteArray();
        std::reverse(bytes.begin(), bytes.begin() + 4);
        std::reverse(bytes.begin() + 4, bytes.begin() + 6);
        std::reverse(bytes.begin() + 6, bytes.begin() + 8);
        uuid = QUuid::fromRfc4122(bytes);
    } else if (value.size() == 36 || value.size() == 38) {
        uuid = QUuid::fromString(QLatin1StringView(value.data(), value.size()));
    }
    return uuid.isNull() ? QString() : uuid.toString(QUuid::WithoutBraces).toUpper();
}

QString accountGuid(QByteArrayView uidNumber)
{
    bool ok = false;
    const quint32 id = uidNumber.toByteArray().toUInt(&ok);
    if (!ok)
        return {};
    return QStringLiteral("FFFFEEEE-DDDD-CCCC-BBBB-AAAA%1")
        .arg(id, 8, 16, QLatin1Char('0'))
        .toUpper();
}

} // namespace LdifNames
