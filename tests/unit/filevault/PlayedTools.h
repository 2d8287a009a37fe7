#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class SSSecureData;

[[nodiscard]] QString utf16(const SSSecureData &password);

/// What the disk encryption tools answer, and what they were asked.
struct PlayedTools
{
    [[nodiscard]] static PlayedTools *&current();

    bool holdsSecureToken = true;
    bool diskPasswordValid = true;
    bool updates = true;
    std::optional<QString> failure; ///< the message of an update that fails
    std::function<void()> duringUpdate;

    QStringList asked;
};
