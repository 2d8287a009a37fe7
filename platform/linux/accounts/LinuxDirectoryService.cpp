#include "platform/linux/accounts/LinuxDirectoryService.h"

#include "platform/embedded/directory/SearchNode.h"

#include <utility>

LinuxDirectoryService::LinuxDirectoryService(std::shared_ptr<DirectoryNode> localNode,
                                             std::shared_ptr<DirectoryNode> activeDirectoryNode,
                                             DiagnosticSink diagnostics)
    : m_localNode(std::move(localNode))
    , m_searchNode(std::make_shared<SearchNode>(m_localNode, std::move(activeDirectoryNode),
                                                std::move(diagnostics)))
{
}

Result<std::shared_ptr<DirectoryNode>, DirectoryError>
LinuxDirectoryService::nodeWithName(const QString &name)
{
    if (name == QStringView(DirectoryLocalNode))
        return m_localNode;
    return Failure{DirectoryError{DirectoryError::Code::NodeUnknown,
                                  QStringLiteral("There is no directory node \"%1\".").arg(name)}};
}

Result<std::shared_ptr<DirectoryNode>, DirectoryError>
LinuxDirectoryService::nodeWithType(quint32 type)
{
    if (type == DirectoryNodeType::Authentication)
        return m_searchNode;
    return Failure{
        DirectoryError{DirectoryError::Code::NodeUnknown,
                       QStringLiteral("There is no directory node of type %1.").arg(type)}};
}
