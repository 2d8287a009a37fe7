#pragma once

#include "platform/UrlSession.h"

#include <QByteArray>
#include <QImage>
#include <QString>

#include <memory>
#include <optional>

class ModalWindow;
class SSApplicationDelegate;
struct Alert;

/// Stateless helpers. Any thread, but for the alerts and modal windows.
class SSUtils
{
public:
    SSUtils() = delete;

    // The addresses of the web interface. All give none for no base and for one that is not a URL;
    // a path that does not end with "/" gets one; scheme, host, port and query of the base stay.

    /// The password-reset page. Its parameters stand after the fragment, where the page's own
    /// router reads them.
    [[nodiscard]] static std::optional<QString> resetPasswordUrlStringWithLinkUrlString(
        const std::optional<QString> &linkUrlString, const std::optional<QString> &userName,
        bool winlogon, bool offline, const std::optional<QString> &requestCode);
    /// The enrollment page.
    [[nodiscard]] static std::optional<QString>
    enrollUrlStringWithBaseUrlString(const std::optional<QString> &baseUrlString);
    /// The service that tells whether a user must enroll.
    [[nodiscard]] static std::optional<QString>
    clientInfoUrlWithBaseUrlString(const std::optional<QString> &baseUrlString,
                                   const std::optional<QString> &userName);
    /// The file that shows that the server can be reached.
    [[nodiscard]] static std::optional<QString>
    webServerPingUrlWithLinkUrlString(const std::optional<QString> &linkUrlString);

    /// An ephemeral configuration with the proxy for plain and secure connections; the default one
    /// without a proxy. "http://" is put before a proxy that does not begin with "http"; its port
    /// is 80 unless given.
    [[nodiscard]] static UrlSessionConfiguration
    URLSessionConfigurationWithProxy(const std::optional<QString> &proxy);

    /// The low 8 bits of the leading hexadecimal number, after white space and "0x"; 0 for none. A
    /// number beyond 32 bits reads as the largest.
    [[nodiscard]] static quint8 byteFromHexString(const std::optional<QString> &string);

    /// The application's icon, none when its bundle or image is missing.
    [[nodiscard]] static std::optional<QImage> appIcon();
    /// Whether the application is installed.
    [[nodiscard]] static bool isApplicationExists();

    /// Equal, both absent included.
    [[nodiscard]] static bool isEqualEx(const std::optional<QString> &value,
                                        const std::optional<QString> &toString);
    [[nodiscard]] static bool isEqualEx(const std::optional<QByteArray> &value,
                                        const std::optional<QByteArray> &toData);
    /// For (smart) pointers to secure buffers.
    template<typename Pointer>
    requires requires(const Pointer &value) { value->isEqualToSecureData(std::to_address(value)); }
    [[nodiscard]] static bool isEqualEx(const Pointer &value, const Pointer &toSecureData)
    {
        if (value == toSecureData)
            return true;
        return value && toSecureData && value->isEqualToSecureData(std::to_address(toSecureData));
    }

    // Modal dialogs, shown by the delegate, or without one by the platform. Main thread only. The
    // modal response; ModalResponse::Abort for no alert and where nothing can show it.

    static qint64 alertWithAlert(const Alert *alert, SSApplicationDelegate *delegate);
    static qint64 alertWithMessage(const std::optional<QString> &message,
                                   SSApplicationDelegate *delegate);
    static qint64 alertWithMessage(const std::optional<QString> &message,
                                   const std::optional<QString> &hint,
                                   SSApplicationDelegate *delegate);
    /// Closes the window when there is no delegate to do so.
    static qint64 showModalWindow(ModalWindow &window, SSApplicationDelegate *delegate);
};
