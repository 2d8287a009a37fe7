#pragma once

#include "platform/propertylist/BinaryPropertyListFormat.h"
#include "platform/propertylist/PropertyListBudget.h"

#include <QByteArrayView>
#include <QHash>

#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace BinaryPropertyList {

using Reference = quint64;

/// One object of a file. Text and bytes are shared with, or viewed in, the value written.
struct Object
{
    Kind kind = Kind::Simple;
    quint64 number = 0;  ///< a simple value's or number's bits
    qsizetype width = 0; ///< bytes of an integer
    QString text = {};
    std::span<const std::byte> bytes = {};
    std::vector<Reference> references = {}; ///< a dictionary's keys, then its values
};

/// The fewest of 1, 2, 4 and 8 bytes that hold `number`.
[[nodiscard]] qsizetype widthOf(quint64 number);

/// Turns a value into the objects of a file: containers before what they hold, keys before values,
/// equal scalars once. The value outlives the objects.
class Objects
{
public:
    explicit Objects(const PropertyListLimits &limits) : m_budget(limits) {}

    /// Either is called once, with what becomes the top object, the first one. None on a failure,
    /// which error() tells.
    std::optional<Reference> add(const QVariant &value, int depth = 0);
    std::optional<Reference> add(const PropertyListDictionary &dictionary, int depth = 0);

    [[nodiscard]] const std::vector<Object> &all() const { return m_objects; }
    [[nodiscard]] const QString &error() const { return m_error; }

private:
    std::nullopt_t fail(const QString &text);
    /// `reference`, when the budget allows `bytes` more.
    std::optional<Reference> spent(Reference reference, qsizetype bytes = 0);
    Reference append(Object object);
    template<typename Places, typename Key>
    Reference shared(Places &places, const Key &key, const Object &object);

    std::optional<Reference> addScalar(const Object &object);
    std::optional<Reference> addNumber(const QVariant &value);
    std::optional<Reference> addDate(const QDateTime &date);
    std::optional<Reference> addText(const QString &text);
    std::optional<Reference> addData(std::span<const std::byte> bytes);
    /// A container of these; `keys` is empty for an array.
    std::optional<Reference> addContainer(Kind kind, const QList<QString> &keys,
                                          const QVariantList &values, int depth);

    /// What tells two numbers, dates or truth values apart.
    using NumberKey = std::pair<std::pair<quint8, qsizetype>, quint64>;

    PropertyListBudget m_budget;
    QString m_error;
    std::vector<Object> m_objects;
    QHash<NumberKey, Reference> m_numbers;
    QHash<QString, Reference> m_texts;
    QHash<QByteArrayView, Reference> m_data; ///< the keys view the value written
};

} // namespace BinaryPropertyList
