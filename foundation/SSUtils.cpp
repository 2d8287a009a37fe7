#include "foundation/SSUtils.h"

#include "foundation/SSApplicationDelegate.h"
#include "foundation/SSFormat.h"
#include "foundation/SSLogger.h"
#include "foundation/SSStringHelper.h"
#include "foundation/SSUrlComponents.h"
#include "platform/Alerts.h"
#include "platform/Platform.h"
#include "platform/Workspace.h"

#include <QStringList>

#include <limits>

namespace {

QString applicationName()
{
    return QStringLiteral("Self-Service Password Reset");
}

std::optional<SSUrlComponents> componentsEndingWithSlash(const std::optional<QString> &urlString)
{
    if (!urlString)
        return std::nullopt;
    std::optional<SSUrlComponents> components = SSUrlComponents::parse(*urlString);
    if (components && !components->path.endsWith(QLatin1Char('/')))
        components->path = SSFormat::format("%@/", components->path);
    return components;
}

QString queryItem(const QString &name, const QString &value)
{
    return name + QLatin1Char('=') + SSUrlComponents::encodedQueryValue(value);
}

qint64 runAlertModally(const Alert &alert)
{
    const auto presenter = Platform::current().alerts;
    return presenter ? presenter->runModal(alert) : ModalResponse::Abort;
}

} // namespace

std::optional<QString> SSUtils::resetPasswordUrlStringWithLinkUrlString(
    const std::optional<QString> &linkUrlString, const std::optional<QString> &userName,
    bool winlogon, bool offline, const std::optional<QString> &requestCode)
{
    std::optional<SSUrlComponents> components = componentsEndingWithSlash(linkUrlString);
    if (!components)
        return std::nullopt;
    QStringList items;
    if (userName && !userName->isEmpty())
        items.append(queryItem(QStringLiteral("username"), *userName));
    if (winlogon) {
        items.append(queryItem(QStringLiteral("winlogon"), QStringLiteral("1")));
        items.append(queryItem(QStringLiteral("macos"), QStringLiteral("1")));
    }
    if (requestCode && !requestCode->isEmpty())
        items.append(queryItem(QStringLiteral("requestkey"), *requestCode));

    components->fragment =
        offline ? QStringLiteral("/Offline") : QStringLiteral("/SelfPasswordReset");
    const QString url = components->string();
    if (items.isEmpty())
        return url;
    // After the fragment on purpose: the page's router reads its parameters from the route.
    return SSFormat::format("%@?%@", url, items.join(QLatin1Char('&')));
}

std::optional<QString>
SSUtils::enrollUrlStringWithBaseUrlString(const std::optional<QString> &baseUrlString)
{
    std::optional<SSUrlComponents> components = componentsEndingWithSlash(baseUrlString);
    if (!components)
        return std::nullopt;
    components->fragment = QStringLiteral("/PssEnroll");
    return components->string();
}

std::optional<QString>
SSUtils::clientInfoUrlWithBaseUrlString(const std::optional<QString> &baseUrlString,
                                        const std::optional<QString> &userName)
{
    std::optional<SSUrlComponents> components = componentsEndingWithSlash(baseUrlString);
    if (!components)
        return std::nullopt;
    components->path = SSFormat::format("%@%@", components->path,
                                        QStringLiteral("SelfServiceClientInfoProvider.ashx"));
    // "UserName" here and "username" in the reset page: the web interface tells them apart.
    if (userName && !userName->isEmpty())
        components->query = queryItem(QStringLiteral("UserName"), *userName);
    return components->string();
}

std::optional<QString>
SSUtils::webServerPingUrlWithLinkUrlString(const std::optional<QString> &linkUrlString)
{
    std::optional<SSUrlComponents> components = componentsEndingWithSlash(linkUrlString);
    if (!components)
        return std::nullopt;
    components->path += QStringLiteral("ping.txt");
    return components->string();
}

UrlSessionConfiguration
SSUtils::URLSessionConfigurationWithProxy(const std::optional<QString> &proxy)
{
    UrlSessionConfiguration configuration;
    if (!proxy || proxy->isEmpty())
        return configuration;

    QString text = *proxy;
    if (!text.startsWith(QLatin1String("http")))
        text = SSFormat::format("http://%@", text);
    if (!text.endsWith(QLatin1Char('/')))
        text += QLatin1Char('/');
    QString host;
    std::optional<int> port;
    if (const auto components = SSUrlComponents::parse(text)) {
        host = components->host();
        port = components->port();
    }
    if (host.isEmpty())
        host = *proxy;
    const int number = port.value_or(80);

    configuration.ephemeral = true;
    configuration.connectionProxyDictionary = UrlProxyDictionary{
        {QStringLiteral("kCFNetworkProxiesHTTPEnable"), 1},
        {QStringLiteral("kCFNetworkProxiesHTTPProxy"), host},
        {QStringLiteral("kCFNetworkProxiesHTTPPort"), number},
        {QStringLiteral("kCFNetworkProxiesHTTPSEnable"), 1},
        {QStringLiteral("kCFNetworkProxiesHTTPSProxy"), host},
        {QStringLiteral("kCFNetworkProxiesHTTPSPort"), number},
    };
    return configuration;
}

quint8 SSUtils::byteFromHexString(const std::optional<QString> &string)
{
    QString digits =
        SSHelper::stringByTrimmingLeadingWhitespaceAndNewlineCharacters(string.value_or(QString()));
    if (digits.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        digits.remove(0, 2);
    quint64 value = 0;
    for (const QChar c : digits) {
        const char16_t unit = c.unicode();
        unsigned digit = 0;
        if (unit >= u'0' && unit <= u'9')
            digit = unit - u'0';
        else if (unit >= u'a' && unit <= u'f')
            digit = unit - u'a' + 10u;
        else if (unit >= u'A' && unit <= u'F')
            digit = unit - u'A' + 10u;
        else
            break;
        value = value * 16 + digit;
        if (value > std::numeric_limits<quint32>::max())
            return static_cast<quint8>(std::numeric_limits<quint32>::max() & 0xFF);
    }
    return static_cast<quint8>(value & 0xFF);
}

std::optional<QImage> SSUtils::appIcon()
{
    const auto workspace = Platform::current().workspace;
    if (!workspace)
        return std::nullopt;
    const QString path =
        SSFormat::format("%@/%@/%@.%@", "/Library", "ZevrikSelfService", applicationName(), "app");
    return workspace->bundleImage(path, QStringLiteral("AppIcon"));
}

bool SSUtils::isApplicationExists()
{
    const auto workspace = Platform::current().workspace;
    return workspace && workspace->fileExists(SSFormat::format("%@/%@.%@", "/Applications",
                                                               applicationName(), "app"));
}

bool SSUtils::isEqualEx(const std::optional<QString> &value, const std::optional<QString> &toString)
{
    return value == toString;
}

bool SSUtils::isEqualEx(const std::optional<QByteArray> &value,
                        const std::optional<QByteArray> &toData)
{
    return value == toData;
}

qint64 SSUtils::alertWithAlert(const Alert *alert, SSApplicationDelegate *delegate)
{
    if (!alert) {
        SSLog(1, SSMessageType::Error, "alert object is nil.");
        return ModalResponse::Abort;
    }
    if (!delegate) {
        SSLog(1, SSMessageType::Error, "SSUtils::alertWithAlert: application delegate is nil.");
        return runAlertModally(*alert);
    }
    return delegate->alertWithAlert(*alert);
}

qint64 SSUtils::alertWithMessage(const std::optional<QString> &message,
                                 SSApplicationDelegate *delegate)
{
    return alertWithMessage(message, std::nullopt, delegate);
}

qint64 SSUtils::alertWithMessage(const std::optional<QString> &message,
                                 const std::optional<QString> &hint,
                                 SSApplicationDelegate *delegate)
{
    Alert alert;
    alert.messageText = SSFormat::format("%@", message);
    if (hint && !hint->isEmpty())
        alert.informativeText = hint;
    alert.style = AlertStyle::Critical;
    alert.icon = appIcon();
    alert.canBecomeVisibleWithoutLogin = true;
    if (!delegate) {
        SSLog(1, SSMessageType::Error, "SSUtils::alertWithMessage: application delegate is nil.");
        return runAlertModally(alert);
    }
    return delegate->alertWithAlert(alert);
}

qint64 SSUtils::showModalWindow(ModalWindow &window, SSApplicationDelegate *delegate)
{
    if (delegate)
        return delegate->showModalWindow(window);
    SSLog(1, SSMessageType::Error, "SSUtils::showModalWindow: application delegate is nil.");
    const qint64 response = window.runModal();
    window.close();
    return response;
}
