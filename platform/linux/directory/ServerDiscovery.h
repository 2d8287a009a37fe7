#pragma once

#include "platform/Directory.h"
#include "platform/linux/directory/DirectorySettings.h"

#include <QList>
#include <QString>

namespace ServerDiscovery {

enum class Service { Domain, GlobalCatalog };

/// The servers to ask, in this order, with their ports: those of the settings, else those that the
/// name service tells, the site's first. `domain` is the forest's root for the global catalog; the
/// settings name servers of the own domain alone. Blocks for as long as the resolver tries.
[[nodiscard]] Result<QList<DirectoryServerAddress>, DirectoryError>
serversOf(const DirectorySettings &settings, Service service, const QString &domain,
          bool isOwnDomain);

} // namespace ServerDiscovery
