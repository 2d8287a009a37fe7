#pragma once

#include "platform/Result.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <cstddef>

/// Why a property list was refused, for the log.
struct PropertyListError
{
    QString text;
};

/// What a property list may cost its reader. A file beyond any of them is refused whole.
struct PropertyListLimits
{
    qsizetype fileSize = qsizetype{8} * 1024 * 1024; ///< bytes
    int depth = 64;                                  ///< containers within each other
    qsizetype values = 100'000; ///< values and keys of the result, each use of a shared one counted
    qsizetype contentSize = qsizetype{32} * 1024 * 1024; ///< bytes of texts and data in the result
};

using PropertyListResult = Result<QVariant, PropertyListError>;

/// Reads a property list of either form into QString, bool, qlonglong (qulonglong for what only an
/// unsigned 64-bit integer holds), double, QDateTime in UTC, QByteArray, QVariantList and
/// QVariantMap. Anything malformed, truncated, cyclic or beyond the limits is refused with a text
/// and never read in part. Pure; any thread.
[[nodiscard]] PropertyListResult readPropertyList(const QByteArray &contents,
                                                  const PropertyListLimits &limits = {});

/// The binary form alone, "bplist00".
[[nodiscard]] PropertyListResult readBinaryPropertyList(const QByteArray &contents,
                                                        const PropertyListLimits &limits = {});

/// The XML form alone, in UTF-8, UTF-16 or UTF-32. A document type may be named; entities are never
/// declared or loaded.
[[nodiscard]] PropertyListResult readXmlPropertyList(const QByteArray &contents,
                                                     const PropertyListLimits &limits = {});
