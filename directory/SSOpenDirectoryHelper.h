#pragma once

#include "directory/SSMatchCondition.h"
#include "platform/Directory.h"

#include <optional>

/// The one place that runs a directory query. Every call blocks until the directory has answered.
///
/// A search gives the records, or none. Failure is told by the error slot alone, so pass one that
/// is empty: a filled one gives none at once. None with an empty slot means that the directory
/// opened no node and gave no reason, or that this process has no directory.
class SSOpenDirectoryHelper
{
public:
    /// Searches the node of that name, such as DirectoryLocalNode.
    [[nodiscard]] static std::optional<DirectoryRecords>
    searchWithScope(const QString &scope, DirectoryRecordType recordTypes,
                    const SSMatchCondition &condition, const QStringList &returnAttributes,
                    std::optional<DirectoryError> &error);

    /// Searches the node of that type, such as DirectoryNodeType::Authentication.
    [[nodiscard]] static std::optional<DirectoryRecords>
    searchWithType(quint32 type, DirectoryRecordType recordTypes, const SSMatchCondition &condition,
                   const QStringList &returnAttributes, std::optional<DirectoryError> &error);

    /// Every attribute of `record`. A failure fills the slot, a success leaves it as it is; a
    /// record that holds nothing at all gives none.
    [[nodiscard]] static std::optional<DirectoryDetails>
    recordDetails(DirectoryRecord &record, std::optional<DirectoryError> &error);
};
