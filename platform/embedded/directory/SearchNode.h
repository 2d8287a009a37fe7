#pragma once

#include "platform/Diagnostics.h"
#include "platform/Directory.h"

#include <memory>

/// The authentication search node: answers from the computer's accounts, then from the directory.
///
/// - A local account that is a cached directory account and the directory's record of the same
///   GUID are one record, with the attributes of both, the directory's values first. A cached
///   account whose GUID the computer does not know is paired by NT domain and sAMAccountName.
/// - Asked for a cached account by a name that has its domain in it (`CORP\jdoe` or
///   `jdoe@corp.example.test`; the computer may know no other), the answer is that person alone,
///   whoever else has the short name here or in other domains. The directory is asked by the short
///   one; the record goes by the name that was asked for and has no sAMAccountName.
/// - If the directory fails while the computer knows a matching account, the computer's answer
///   stands and the failure goes to the diagnostics; otherwise the failure is the answer.
/// - Without any directory (null, or one that says NotConfigured) a search for users gives the
///   computer's answer alone, and one for connection points says NotConfigured.
class SearchNode final : public DirectoryNode
{
public:
    /// `localNode` must not be null.
    SearchNode(std::shared_ptr<DirectoryNode> localNode,
               std::shared_ptr<DirectoryNode> directoryNode, DiagnosticSink diagnostics);

    [[nodiscard]] Result<DirectoryRecords, DirectoryError>
    query(const DirectoryQuery &query) override;

private:
    std::shared_ptr<DirectoryNode> m_localNode;
    std::shared_ptr<DirectoryNode> m_directoryNode;
    DiagnosticSink m_diagnostics;
};
