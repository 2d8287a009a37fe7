#pragma once

#include "platform/Directory.h"

#include <QList>
#include <QString>

#include <memory>
#include <optional>
#include <string>

/// A record with scripted details and password.
class FakeDirectoryRecord final : public DirectoryRecord
{
public:
    explicit FakeDirectoryRecord(DirectoryDetails details = {}) : attributes(std::move(details)) {}

    [[nodiscard]] QString description() const override { return name; }
    [[nodiscard]] Result<DirectoryDetails, DirectoryError> details() override;
    [[nodiscard]] Result<bool, DirectoryError>
    verifyPassword(std::u16string_view password) override;

    DirectoryDetails attributes;
    std::optional<QString> detailsError; ///< details() fails with this text
    std::optional<std::u16string> correctPassword;
    std::optional<QString> passwordError; ///< verifyPassword() fails with this text
    QString name = QStringLiteral("CN=record");
    int detailsRead = 0;
    QList<QString> passwordsTried;
};

/// What one kind of query is answered with.
struct FakeDirectoryAnswer
{
    DirectoryRecords records;
    std::optional<QString> error; ///< the query fails with this text
};

/// A directory that answers by script: every query of one kind gets the same answer, whatever it
/// asks for, and is written down.
class FakeDirectory final : public DirectoryService
{
public:
    struct Call
    {
        std::optional<QString> nodeName;
        std::optional<quint32> nodeType;
        DirectoryQuery query;
    };

    [[nodiscard]] Result<std::shared_ptr<DirectoryNode>, DirectoryError>
    nodeWithName(const QString &name) override;
    [[nodiscard]] Result<std::shared_ptr<DirectoryNode>, DirectoryError>
    nodeWithType(quint32 type) override;

    /// Makes a record, appends it to `answer` and gives it back for further scripting.
    static std::shared_ptr<FakeDirectoryRecord> add(FakeDirectoryAnswer &answer,
                                                    const DirectoryDetails &details);

    FakeDirectoryAnswer users;            ///< users of the nodes opened by type
    FakeDirectoryAnswer localUsers;       ///< users of the nodes opened by name
    FakeDirectoryAnswer connectionPoints; ///< everything else
    std::optional<QString> nodeError;     ///< no node can be opened, for this reason
    bool nodeAbsent = false;              ///< no node is opened, and no reason is given
    QList<Call> calls;

private:
    class Node;
    [[nodiscard]] Result<std::shared_ptr<DirectoryNode>, DirectoryError> open(Call node);
};
