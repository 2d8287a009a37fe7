#pragma once

#include "settings/SSLogonSettings.h"

#include <QString>

#include <optional>

/// Reads the texts of the dialogs out of the settings. An absent text counts as an empty one.
namespace SSDialogText {

using Property = const std::optional<QString> &(SSLogonSettings::*)() const;

/// Empty without settings.
[[nodiscard]] inline QString text(const SSLogonSettings *settings, Property property)
{
    return settings ? (settings->*property)().value_or(QString()) : QString();
}

[[nodiscard]] inline QString text(const SSLogonSettings *settings, Property property,
                                  const char *standIn)
{
    const QString given = text(settings, property);
    return given.isEmpty() ? QString::fromUtf8(standIn) : given;
}

} // namespace SSDialogText
