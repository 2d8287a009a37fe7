#pragma once

#include "platform/UrlSession.h"

#include <QNetworkProxyFactory>

#include <memory>

/// Answers with the proxies of the dictionary, or with the system's settings when it is absent
/// (which may block the asking thread).
[[nodiscard]] std::unique_ptr<QNetworkProxyFactory>
makeProxyFactory(const std::optional<UrlProxyDictionary> &dictionary);
