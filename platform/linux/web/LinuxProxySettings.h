#pragma once

#include "platform/UrlSession.h"

#include <QNetworkProxy>

#include <memory>

/// Answers with the proxies of the dictionary, or with the system's settings when it is absent
/// (which may block the asking thread).
[[nodiscard]] std::unique_ptr<QNetworkProxyFactory>
makeProxyFactory(const std::optional<UrlProxyDictionary> &dictionary);

/// The proxy to ask for the URL, of the type NoProxy for a direct connection; none when all that
/// there are cannot serve it.
[[nodiscard]] std::optional<QNetworkProxy> proxyFor(QNetworkProxyFactory &factory, const QUrl &url);
