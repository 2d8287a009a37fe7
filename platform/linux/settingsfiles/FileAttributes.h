#pragma once

#include "platform/Identity.h"
#include "platform/SettingsFiles.h"

#include <QByteArray>

/// Modes, owners and groups of open files and folders.
namespace FileAttributes {

/// Gives what differs. On an error the rest may have been given or not.
[[nodiscard]] SettingsFileResult give(int file, const SettingsFileAttributes &attributes,
                                      IdentityService &identity, const QByteArray &path);

/// Gives of each what this user may give.
void giveWhatMayBe(int file, const SettingsFileAttributes &attributes, IdentityService &identity);

} // namespace FileAttributes
