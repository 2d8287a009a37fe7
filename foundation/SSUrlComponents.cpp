#include "foundation/SSUrlComponents.h"

#include <QRegularExpression>
#include <QUrl>

#include <algorithm>

namespace {

bool isAscii(const QString &text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; });
}

std::optional<QString> captured(const QRegularExpressionMatch &match, int group, int present)
{
    if (match.capturedStart(present) < 0)
        return std::nullopt;
    return match.captured(group);
}

} // namespace

std::optional<SSUrlComponents> SSUrlComponents::parse(const QString &text)
{
    if (text.isEmpty())
        return SSUrlComponents();
    QString url = text;
    if (!isAscii(text) || !QUrl(text, QUrl::StrictMode).isValid()) {
        const QUrl mended(text, QUrl::TolerantMode);
        if (!mended.isValid())
            return std::nullopt;
        url = mended.toString(QUrl::FullyEncoded);
    }
    // The expression of RFC 3986, appendix B.
    static const QRegularExpression expression(QRegularExpression::anchoredPattern(
        QStringLiteral("(([^:/?#]+):)?(//([^/?#]*))?([^?#]*)(\\?([^#]*))?(#(.*))?")));
    const QRegularExpressionMatch match = expression.match(url);
    if (!match.hasMatch())
        return std::nullopt;
    SSUrlComponents components;
    components.scheme = captured(match, 2, 1);
    components.authority = captured(match, 4, 3);
    components.path = match.captured(5);
    components.query = captured(match, 7, 6);
    components.fragment = captured(match, 9, 8);
    return components;
}

QString SSUrlComponents::string() const
{
    QString result;
    if (scheme)
        result += *scheme + QLatin1Char(':');
    if (authority)
        result += QLatin1String("//") + *authority;
    result += path;
    if (query)
        result += QLatin1Char('?') + *query;
    if (fragment)
        result += QLatin1Char('#') + *fragment;
    return result;
}

QString SSUrlComponents::host() const
{
    QString text = authority.value_or(QString());
    text = text.mid(text.lastIndexOf(QLatin1Char('@')) + 1);
    if (text.startsWith(QLatin1Char('[')))
        return text.mid(1, text.indexOf(QLatin1Char(']')) - 1);
    return text.left(text.indexOf(QLatin1Char(':')));
}

std::optional<int> SSUrlComponents::port() const
{
    QString text = authority.value_or(QString());
    text = text.mid(text.lastIndexOf(QLatin1Char('@')) + 1);
    const qsizetype colon =
        text.indexOf(QLatin1Char(':'), std::max<qsizetype>(text.indexOf(QLatin1Char(']')), 0));
    if (colon < 0)
        return std::nullopt;
    bool ok = false;
    const int port = text.mid(colon + 1).toInt(&ok);
    return ok ? std::optional<int>(port) : std::nullopt;
}

QString SSUrlComponents::encodedQueryValue(const QString &value)
{
    // What RFC 3986 allows in a query, but for "&" and "=", which part the items.
    return QString::fromLatin1(value.toUtf8().toPercentEncoding("!$'()*+,;:@/?"));
}
