#include "platform/propertylist/BinaryPropertyListLayout.h"

namespace BinaryPropertyList {

namespace {

bool fail(QString &error, const QString &text)
{
    error = text;
    return false;
}

} // namespace

bool Layout::readTrailer(QString &error)
{
    const auto magicSize = static_cast<qsizetype>(magic.size());
    if (m_contents.size() < magicSize + trailerSize ||
        !m_contents.startsWith(QByteArrayView(magic.data(), magicSize)))
        return fail(error, QStringLiteral("not a binary property list of version 00"));
    const qsizetype trailer = m_contents.size() - trailerSize;
    const quint64 offsetSize = number(trailer + offsetSizeAt, 1);
    const quint64 referenceSize = number(trailer + referenceSizeAt, 1);
    const quint64 objectCount = number(trailer + objectCountAt, 8);
    const quint64 topObject = number(trailer + topObjectAt, 8);
    const quint64 table = number(trailer + offsetTableAt, 8);
    const auto space = static_cast<quint64>(trailer);
    if (offsetSize < 1 || offsetSize > 8 || referenceSize < 1 || referenceSize > 8 ||
        table < magic.size() || table > space || objectCount > (space - table) / offsetSize ||
        topObject >= objectCount)
        return fail(error, QStringLiteral("the trailer is invalid"));
    m_offsetSize = static_cast<qsizetype>(offsetSize);
    m_referenceSize = static_cast<qsizetype>(referenceSize);
    m_objectCount = static_cast<std::size_t>(objectCount);
    m_topObject = topObject;
    m_objectsEnd = static_cast<qsizetype>(table);
    return true;
}

bool Layout::findObject(quint64 object, qsizetype &position, QString &error) const
{
    if (object >= m_objectCount)
        return fail(error, QStringLiteral("a reference to an object that does not exist"));
    const quint64 offset =
        number(m_objectsEnd + static_cast<qsizetype>(object) * m_offsetSize, m_offsetSize);
    if (offset < magic.size() || offset >= static_cast<quint64>(m_objectsEnd))
        return fail(error, QStringLiteral("an object outside the file"));
    position = static_cast<qsizetype>(offset);
    return true;
}

bool Layout::readCount(qsizetype &position, quint64 &count, QString &error) const
{
    const auto low = static_cast<quint8>(number(position, 1) & 0xfU);
    ++position;
    if (low != countFollows) {
        count = low;
        return true;
    }
    if (left(position) < 1)
        return fail(error, QStringLiteral("a count is cut off"));
    const quint64 marker = number(position, 1);
    const quint64 size = quint64{1} << (marker & 0xfU);
    if (marker >> 4U != static_cast<quint64>(Kind::Integer) || size > 8 ||
        left(position + 1) < size)
        return fail(error, QStringLiteral("a count is invalid"));
    count = number(position + 1, static_cast<qsizetype>(size));
    position += 1 + static_cast<qsizetype>(size);
    return true;
}

} // namespace BinaryPropertyList
