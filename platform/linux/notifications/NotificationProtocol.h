#pragma once

#include <QString>

#include <chrono>

// What asking the notification server and hearing from it have in common.

inline const QString kService = QStringLiteral("org.freedesktop.Notifications");

inline const QString kDefaultAction = QStringLiteral("default"); ///< a click on the body
inline const QString kMainAction = QStringLiteral("activate");   ///< the action button

/// How long an answer of the server or the bus is waited for.
inline constexpr int kLimitMilliseconds = 5000;
/// How long after an activation a closing counts as its consequence.
inline constexpr std::chrono::milliseconds kClosedByActivation{1000};
