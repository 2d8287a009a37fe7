#pragma once

#include "platform/Directory.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <utility>

inline QString text(const char16_t *name)
{
    return QString::fromUtf16(name);
}

/// A record that a test makes up, with its answer about every password.
class FakeRecord final : public DirectoryRecord
{
public:
    FakeRecord(QString name, DirectoryDetails details) : m_name(std::move(name)), m_details(details)
    {
    }
    QString description() const override { return m_name; }
    Result<DirectoryDetails, DirectoryError> details() override
    {
        if (detailsFail)
            return Failure{
                DirectoryError{DirectoryError::Code::Internal, QStringLiteral("no details")}};
        return m_details;
    }
    Result<bool, DirectoryError> verifyPassword(std::u16string_view) override { return answer; }

    Result<bool, DirectoryError> answer = false;
    bool detailsFail = false;

private:
    QString m_name;
    DirectoryDetails m_details;
};

/// A node that gives every query the same answer, and keeps the queries.
class FakeNode final : public DirectoryNode
{
public:
    Result<DirectoryRecords, DirectoryError> query(const DirectoryQuery &query) override
    {
        queries.append(query);
        return answer;
    }
    std::shared_ptr<FakeRecord> add(const char *name, const DirectoryDetails &details)
    {
        auto record = std::make_shared<FakeRecord>(QString::fromUtf8(name), details);
        answer.value().append(record);
        return record;
    }
    void fail(DirectoryError::Code code)
    {
        answer = Failure{DirectoryError{code, QStringLiteral("it failed")}};
    }

    Result<DirectoryRecords, DirectoryError> answer = DirectoryRecords();
    QList<DirectoryQuery> queries;
};

/// What tells who somebody is; an empty text stands for an absent value.
inline DirectoryDetails person(const char *name, const char *domain, const char *guid)
{
    DirectoryDetails details{
        {text(DirectoryAttribute::RecordName), {QString::fromUtf8(name)}},
        {text(DirectoryAttribute::sAMAccountName), {QString::fromUtf8(name)}},
    };
    if (*domain)
        details.insert(text(DirectoryAttribute::PrimaryNTDomain), {QString::fromUtf8(domain)});
    if (*guid)
        details.insert(text(DirectoryAttribute::GUID), {QString::fromUtf8(guid)});
    return details;
}

/// What the records of an answer are called, or the error.
inline QStringList descriptions(const Result<DirectoryRecords, DirectoryError> &answer)
{
    if (!answer.ok())
        return {QStringLiteral("error: ") + answer.error().localizedDescription};
    QStringList result;
    for (const auto &record : answer.value())
        result.append(record->description());
    return result;
}

inline QStringList list(std::initializer_list<const char *> values)
{
    QStringList result;
    for (const char *value : values)
        result.append(QString::fromUtf8(value));
    return result;
}
