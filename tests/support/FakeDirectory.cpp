#include "tests/support/FakeDirectory.h"

#include <utility>

namespace {
DirectoryError scripted(const QString &text)
{
    return DirectoryError{DirectoryError::Code::Internal, text};
}
} // namespace

Result<DirectoryDetails, DirectoryError> FakeDirectoryRecord::details()
{
    ++detailsRead;
    if (detailsError)
        return Failure{scripted(*detailsError)};
    return attributes;
}

Result<bool, DirectoryError> FakeDirectoryRecord::verifyPassword(std::u16string_view password)
{
    passwordsTried.append(QString::fromUtf16(password.data(), qsizetype(password.size())));
    if (passwordError)
        return Failure{scripted(*passwordError)};
    return correctPassword && *correctPassword == password;
}

class FakeDirectory::Node final : public DirectoryNode
{
public:
    Node(FakeDirectory *directory, Call node) : m_directory(directory), m_call(std::move(node)) {}

    [[nodiscard]] Result<DirectoryRecords, DirectoryError>
    query(const DirectoryQuery &query) override
    {
        m_call.query = query;
        m_directory->calls.append(m_call);
        const bool forUsers = query.recordType == DirectoryRecordType::Users;
        const FakeDirectoryAnswer &answer = !forUsers         ? m_directory->connectionPoints
                                            : m_call.nodeType ? m_directory->users
                                                              : m_directory->localUsers;
        if (answer.error)
            return Failure{scripted(*answer.error)};
        return answer.records;
    }

private:
    FakeDirectory *m_directory;
    Call m_call;
};

Result<std::shared_ptr<DirectoryNode>, DirectoryError> FakeDirectory::open(Call node)
{
    if (nodeError)
        return Failure{scripted(*nodeError)};
    if (nodeAbsent)
        return std::shared_ptr<DirectoryNode>();
    return std::shared_ptr<DirectoryNode>(std::make_shared<Node>(this, std::move(node)));
}

Result<std::shared_ptr<DirectoryNode>, DirectoryError>
FakeDirectory::nodeWithName(const QString &name)
{
    return open({name, std::nullopt, {}});
}

Result<std::shared_ptr<DirectoryNode>, DirectoryError> FakeDirectory::nodeWithType(quint32 type)
{
    return open({std::nullopt, type, {}});
}

std::shared_ptr<FakeDirectoryRecord> FakeDirectory::add(FakeDirectoryAnswer &answer,
                                                        const DirectoryDetails &details)
{
    auto record = std::make_shared<FakeDirectoryRecord>(details);
    answer.records.append(record);
    return record;
}
