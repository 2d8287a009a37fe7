#pragma once

#include "platform/Diagnostics.h"
#include "platform/Directory.h"

#include <memory>

/// The directory as this computer sees it: "/Local/Default" is the node of its accounts, and the
/// authentication search node joins that with Active Directory (see SearchNode). Any other name or
/// type is NodeUnknown. Opening a node asks nothing of the network.
class LinuxDirectoryService final : public DirectoryService
{
public:
    /// `localNode` must not be null; `activeDirectoryNode` is null without a domain.
    LinuxDirectoryService(std::shared_ptr<DirectoryNode> localNode,
                          std::shared_ptr<DirectoryNode> activeDirectoryNode,
                          DiagnosticSink diagnostics);

    [[nodiscard]] Result<std::shared_ptr<DirectoryNode>, DirectoryError>
    nodeWithName(const QString &name) override;
    [[nodiscard]] Result<std::shared_ptr<DirectoryNode>, DirectoryError>
    nodeWithType(quint32 type) override;

private:
    std::shared_ptr<DirectoryNode> m_localNode;
    std::shared_ptr<DirectoryNode> m_searchNode;
};
