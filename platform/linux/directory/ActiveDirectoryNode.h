#pragma once

#include "platform/Diagnostics.h"
#include "platform/Directory.h"
#include "platform/linux/directory/DirectorySettings.h"

#include <chrono>
#include <memory>

/// The limit of one directory operation: name service, Kerberos, TLS and further servers included.
inline constexpr std::chrono::milliseconds DirectoryOperationLimit = std::chrono::seconds(20);

/// A node that asks Active Directory: users by record name or "sAMAccountName", connection points
/// (FileMakerServers) by "keywords".
///
/// Each query opens its connections on a thread of its own and closes them before it ends; between
/// queries there is no thread, no socket and no timer. A query that is not done after `limit` gives
/// TimedOut; its thread is then left to itself and goes as soon as the name service or Kerberos
/// call that holds it up returns. It touches neither the node nor `diagnostics` any more. Beyond
/// four such threads further queries fail at once. query() may be called from any thread; the
/// `diagnostics` are called on the same one.
[[nodiscard]] std::shared_ptr<DirectoryNode>
makeActiveDirectoryNode(DirectorySettings settings, DiagnosticSink diagnostics,
                        std::chrono::milliseconds limit = DirectoryOperationLimit);
