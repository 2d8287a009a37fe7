#pragma once

#include "platform/propertylist/BinaryPropertyListFormat.h"

#include <QByteArrayView>
#include <QString>

#include <cstddef>

namespace BinaryPropertyList {

/// Where the objects of one file lie, by its trailer and its table of offsets. Every number from
/// the file is checked before it is used as a position or size; positions are kept below the table,
/// so that no object reaches into it or the trailer. Views the contents, which outlive it. What can
/// fail gives false and says in `error` what is wrong with the file.
class Layout
{
public:
    explicit Layout(QByteArrayView contents) : m_contents(contents) {}

    /// The first thing to be called, once; nothing else is when it fails.
    [[nodiscard]] bool readTrailer(QString &error);

    [[nodiscard]] std::size_t objectCount() const { return m_objectCount; }
    [[nodiscard]] quint64 topObject() const { return m_topObject; }
    /// Bytes of a reference to an object.
    [[nodiscard]] qsizetype referenceSize() const { return m_referenceSize; }

    /// Where the object begins, which is not in the table or behind it.
    [[nodiscard]] bool findObject(quint64 object, qsizetype &position, QString &error) const;
    /// The count of the object whose first byte is at `position`, which then is behind it.
    [[nodiscard]] bool readCount(qsizetype &position, quint64 &count, QString &error) const;

    /// The bytes left for an object from `position` on.
    [[nodiscard]] quint64 left(qsizetype position) const
    {
        return static_cast<quint64>(m_objectsEnd - position);
    }
    /// `size` bytes at `position`, which lie inside the file, as an unsigned number.
    [[nodiscard]] quint64 number(qsizetype position, qsizetype size) const
    {
        quint64 value = 0;
        for (qsizetype i = 0; i < size; ++i)
            value = value << 8U | static_cast<quint8>(m_contents.at(position + i));
        return value;
    }
    /// The object that the reference at `position` names.
    [[nodiscard]] quint64 reference(qsizetype position) const
    {
        return number(position, m_referenceSize);
    }

private:
    QByteArrayView m_contents;
    qsizetype m_offsetSize = 0;
    qsizetype m_referenceSize = 0;
    std::size_t m_objectCount = 0;
    quint64 m_topObject = 0;
    qsizetype m_objectsEnd = 0;
};

} // namespace BinaryPropertyList
