#pragma once

#include "platform/Directory.h"

#include <QtGlobal>

#include <optional>

/// What the tests ask a node, and how they look at the answers.
namespace DirectoryQuestions {

inline constexpr char Address[] = "10.53.0.1";
inline const QString Host = QStringLiteral("dc1.corp.example.test");
inline const QString Service = QStringLiteral("1.3.6.1.4.1.32473.2.3.1");
/// Of the many connection points of many.ldif.
inline const QString ManyService = QStringLiteral("1.3.6.1.4.1.32473.2.3.600");

inline DirectoryQuery keywordQuery(const QString &value = Service)
{
    DirectoryQuery query;
    query.recordType = DirectoryRecordType::FileMakerServers;
    query.attribute = QStringLiteral("keywords");
    query.value = value;
    query.returnAttributes = {QStringLiteral("keywords"), QStringLiteral("serviceDNSName"),
                              QStringLiteral("objectClass")};
    return query;
}

inline DirectoryQuery userQuery(const QString &name)
{
    DirectoryQuery query;
    query.attribute = QStringLiteral("dsAttrTypeStandard:RecordName");
    query.value = name;
    return query;
}

/// The code of a query's failure; absent when it went well.
inline std::optional<DirectoryError::Code> failure(DirectoryNode &node, const DirectoryQuery &query)
{
    const auto result = node.query(query);
    if (result.ok())
        return std::nullopt;
    qInfo("error: %s", qPrintable(result.error().localizedDescription));
    return result.error().code;
}

inline qsizetype count(DirectoryNode &node, const DirectoryQuery &query)
{
    const auto result = node.query(query);
    if (!result.ok())
        qWarning("error: %s", qPrintable(result.error().localizedDescription));
    return result.ok() ? result.value().size() : -1;
}

} // namespace DirectoryQuestions
