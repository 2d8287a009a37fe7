#include "platform/linux/directory/ActiveDirectoryNode.h"

#include "platform/linux/directory/ActiveDirectorySearch.h"
#include "platform/linux/directory/BoundedOperation.h"
#include "platform/linux/directory/ForestCache.h"

#include <utility>

namespace {

class ActiveDirectoryNode final : public DirectoryNode
{
public:
    ActiveDirectoryNode(DirectorySettings settings, DiagnosticSink diagnostics,
                        std::chrono::milliseconds limit)
        : m_settings(std::move(settings)), m_diagnostics(std::move(diagnostics)), m_limit(limit)
    {
    }

    [[nodiscard]] Result<DirectoryRecords, DirectoryError>
    query(const DirectoryQuery &query) override
    {
        if (const auto problem = ActiveDirectorySearch::problemOf(query))
            return Failure{*problem};
        // Copies: the work may outlive the node.
        return BoundedOperation::run(
            m_limit, m_diagnostics, m_running,
            [settings = m_settings, cache = m_cache, query](BoundedOperation &operation) {
                return ActiveDirectorySearch(settings, query, *cache, operation).run();
            });
    }

private:
    const DirectorySettings m_settings;
    const DiagnosticSink m_diagnostics;
    const std::chrono::milliseconds m_limit;
    const std::shared_ptr<ForestCache> m_cache = std::make_shared<ForestCache>();
    const BoundedOperation::Running m_running = std::make_shared<std::atomic<int>>(0);
};

} // namespace

std::shared_ptr<DirectoryNode> makeActiveDirectoryNode(DirectorySettings settings,
                                                       DiagnosticSink diagnostics,
                                                       std::chrono::milliseconds limit)
{
    return std::make_shared<ActiveDirectoryNode>(std::move(settings), std::move(diagnostics),
                                                 limit);
}
