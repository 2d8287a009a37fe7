#include "directory/SSOpenDirectoryHelper.h"

#include "platform/Platform.h"

#include <utility>

namespace {

using OpenedNode = Result<std::shared_ptr<DirectoryNode>, DirectoryError>;

std::optional<DirectoryRecords> search(const OpenedNode &node, DirectoryRecordType recordTypes,
                                       const SSMatchCondition &condition,
                                       const QStringList &returnAttributes,
                                       std::optional<DirectoryError> &error)
{
    if (!node)
        error = node.error();
    if (error || !node.value())
        return std::nullopt;
    DirectoryQuery query;
    query.recordType = recordTypes;
    query.attribute = condition.attribute();
    query.matchType = condition.matchType();
    query.value = condition.value();
    query.returnAttributes = returnAttributes;
    query.maximumResults = 0;
    auto records = node.value()->query(query);
    if (!records) {
        error = records.error();
        return std::nullopt;
    }
    return std::move(records).value();
}

} // namespace

std::optional<DirectoryRecords> SSOpenDirectoryHelper::searchWithScope(
    const QString &scope, DirectoryRecordType recordTypes, const SSMatchCondition &condition,
    const QStringList &returnAttributes, std::optional<DirectoryError> &error)
{
    const auto directory = Platform::current().directory;
    if (!directory)
        return std::nullopt;
    return search(directory->nodeWithName(scope), recordTypes, condition, returnAttributes, error);
}

std::optional<DirectoryRecords> SSOpenDirectoryHelper::searchWithType(
    quint32 type, DirectoryRecordType recordTypes, const SSMatchCondition &condition,
    const QStringList &returnAttributes, std::optional<DirectoryError> &error)
{
    const auto directory = Platform::current().directory;
    if (!directory)
        return std::nullopt;
    return search(directory->nodeWithType(type), recordTypes, condition, returnAttributes, error);
}

std::optional<DirectoryDetails>
SSOpenDirectoryHelper::recordDetails(DirectoryRecord &record, std::optional<DirectoryError> &error)
{
    auto details = record.details();
    if (!details) {
        error = details.error();
        return std::nullopt;
    }
    if (details.value().isEmpty())
        return std::nullopt;
    return std::move(details).value();
}
