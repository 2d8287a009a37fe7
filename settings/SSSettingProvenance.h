#pragma once

#include "directory/SSConnectionPointHelper.h"

#include <QString>
#include <QVariant>

#include <optional>

/// Where one loaded setting came from.
struct SSSettingProvenance
{
    QString property; ///< the name of the getter
    QVariant value;   ///< bool, int, text or bytes; invalid for none
    SSOptionSource source = SSOptionSource::None;
    /// The defaults key or the keyword that gave the value; none when neither did.
    std::optional<QString> sourceName;
    /// Whether that is the setting's second pair of key and keyword, the first having given
    /// nothing.
    bool fallback = false;
    /// False when the setting was not read at all, what it belongs to being off.
    bool resolved = false;
};
