#pragma once

#include "platform/PropertyListDictionary.h"
#include "platform/Result.h"

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <cstddef>
#include <vector>

/// Why a property list was refused, or could not be written, for the log.
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

enum class PropertyListFormat { Xml, Binary };

/// The form that a file with these contents is read as; whether it can be read is another question.
[[nodiscard]] PropertyListFormat propertyListFormat(const QByteArray &contents);

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

/// A file of the binary form that holds a dictionary, read without copying a byte of its data
/// values: they come as PropertyListData that views `contents` and shares its owner. Dictionaries
/// come as PropertyListDictionary in the file's order; of a key that comes twice the last value
/// counts. Everything else as above. Texts and keys are copied, and nobody wipes them.
[[nodiscard]] Result<PropertyListDictionary, PropertyListError>
readBinaryPropertyListDictionary(const PropertyListData &contents,
                                 const PropertyListLimits &limits = {});

/// The binary form of what the readers give, of integers of any type, of float and of QStringList.
/// Equal scalars share one object; a QVariantMap is written in its own order, a
/// PropertyListDictionary in its order of insertion; equal values give equal bytes. Refused with a
/// text: a value of another type, a text that is no valid UTF-16, a date outside the years 1 to
/// 9999, and what a reader with `limits` would refuse.
///
/// The bytes are allocated once, at their final size, so that no second copy of a secret is left
/// anywhere. They are the caller's to wipe. Pure; any thread.
[[nodiscard]] Result<std::vector<std::byte>, PropertyListError>
writeBinaryPropertyList(const QVariant &value, const PropertyListLimits &limits = {});
[[nodiscard]] Result<std::vector<std::byte>, PropertyListError>
writeBinaryPropertyList(const PropertyListDictionary &dictionary,
                        const PropertyListLimits &limits = {});

/// The XML form, in UTF-8, of what the binary writer takes; a dictionary's order likewise. Dates
/// lose what is less than a second. Refused with a text: what the binary writer refuses, and a text
/// with a character that XML cannot hold. Not for secrets: copies of the text stay in memory. Pure;
/// any thread.
[[nodiscard]] Result<std::vector<std::byte>, PropertyListError>
writeXmlPropertyList(const QVariant &value, const PropertyListLimits &limits = {});

/// One of the two.
[[nodiscard]] Result<std::vector<std::byte>, PropertyListError>
writePropertyList(const QVariant &value, PropertyListFormat format,
                  const PropertyListLimits &limits = {});
