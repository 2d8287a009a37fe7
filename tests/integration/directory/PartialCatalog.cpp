#include "tests/integration/directory/PartialCatalog.h"

#include "tests/integration/directory/SambaEnvironment.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <utility>

namespace {

/// The tags of RFC 4511.
enum Tag : quint8 {
    OctetString = 0x04,
    Sequence = 0x30,
    UnbindRequest = 0x42,
    AbandonRequest = 0x50,
    BindRequest = 0x60,
    BindResponse = 0x61,
    SearchRequest = 0x63,
    SearchResultEntry = 0x64,
    SearchResultDone = 0x65,
    SearchResultReference = 0x73,
    FilterAnd = 0xa0,
    FilterOr = 0xa1,
    FilterNot = 0xa2,
    FilterPresent = 0x87,
    FilterExtensible = 0xa9,
    ExtensibleType = 0x82,
};

struct Element
{
    quint8 tag = 0;
    QByteArrayView content;
    QByteArrayView whole;
};

/// The element at the beginning of `bytes`; absent when it is not complete.
std::optional<Element> firstElement(QByteArrayView bytes)
{
    const auto at = [bytes](qsizetype index) { return static_cast<quint8>(bytes[index]); };
    if (bytes.size() < 2)
        return std::nullopt;
    qsizetype start = 2;
    qsizetype length = at(1);
    if (length >= 0x80) {
        const qsizetype digits = length - 0x80;
        if (digits < 1 || digits > 4 || bytes.size() < start + digits)
            return std::nullopt;
        length = 0;
        for (qsizetype index = 0; index < digits; ++index)
            length = length << 8 | at(start + index);
        start += digits;
    }
    if (bytes.size() - start < length)
        return std::nullopt;
    return Element{at(0), bytes.sliced(start, length), bytes.first(start + length)};
}

/// The elements that `bytes` consist of; absent when it is none.
std::optional<QList<Element>> elementsOf(QByteArrayView bytes)
{
    QList<Element> elements;
    while (!bytes.isEmpty()) {
        const std::optional<Element> element = firstElement(bytes);
        if (!element)
            return std::nullopt;
        elements.append(*element);
        bytes = bytes.sliced(element->whole.size());
    }
    return elements;
}

QByteArray encoded(quint8 tag, const QByteArray &content)
{
    QByteArray length;
    if (content.size() < 0x80) {
        length.append(static_cast<char>(content.size()));
    } else {
        for (qsizetype rest = content.size(); rest > 0; rest >>= 8)
            length.prepend(static_cast<char>(rest & 0xff));
        length.prepend(static_cast<char>(0x80 | length.size()));
    }
    return static_cast<char>(tag) + length + content;
}

} // namespace

PartialCatalog::PartialCatalog(QSet<QByteArray> attributes) : m_attributes(std::move(attributes)) {}

PartialCatalog PartialCatalog::ofSchema()
{
    const QString output = SambaEnvironment::run(
        QStringLiteral("ldbsearch"),
        {QStringLiteral("-H"), SambaEnvironment::path(QStringLiteral("private/sam.ldb")),
         QStringLiteral("-b"),
         QStringLiteral("CN=Schema,CN=Configuration,DC=corp,DC=example,DC=test"),
         QStringLiteral("(&(objectClass=attributeSchema)(isMemberOfPartialAttributeSet=TRUE))"),
         QStringLiteral("lDAPDisplayName")});
    QSet<QByteArray> attributes;
    for (const QString &line : output.split(u'\n')) {
        if (line.startsWith(QLatin1String("lDAPDisplayName: ")))
            attributes.insert(line.mid(17).toUtf8().toLower());
    }
    return PartialCatalog(attributes);
}

bool PartialCatalog::holds(QByteArrayView attribute) const
{
    const qsizetype option = attribute.indexOf(';');
    return m_attributes.contains(
        attribute.first(option < 0 ? attribute.size() : option).toByteArray().toLower());
}

std::optional<QByteArray> PartialCatalog::takeMessage(QByteArray &received)
{
    if (!received.isEmpty() && static_cast<quint8>(received.front()) != Sequence)
        return std::nullopt;
    const std::optional<Element> message = firstElement(received);
    if (!message)
        return QByteArray();
    const QByteArray taken = message->whole.toByteArray();
    received.remove(0, taken.size());
    return taken;
}

std::optional<QByteArray> PartialCatalog::edited(QByteArrayView message, bool fromClient) const
{
    const std::optional<Element> envelope = firstElement(message);
    if (!envelope)
        return std::nullopt;
    const auto parts = elementsOf(envelope->content);
    if (!parts || parts->size() < 2)
        return std::nullopt;
    const Element operation = parts->at(1);
    std::optional<QByteArray> replacement;
    switch (operation.tag) {
    case BindRequest:
    case UnbindRequest:
    case AbandonRequest:
        if (fromClient)
            return message.toByteArray();
        break;
    case BindResponse:
    case SearchResultDone:
    case SearchResultReference:
        if (!fromClient)
            return message.toByteArray();
        break;
    case SearchRequest:
        if (fromClient)
            replacement = editedSearch(operation.content);
        break;
    case SearchResultEntry:
        if (!fromClient)
            replacement = editedEntry(operation.content);
        break;
    default:
        break;
    }
    if (!replacement)
        return std::nullopt;
    QByteArray content = parts->first().whole.toByteArray() + *replacement;
    for (const Element &control : parts->sliced(2))
        content += control.whole;
    return encoded(envelope->tag, content);
}

std::optional<QByteArray> PartialCatalog::editedSearch(QByteArrayView request) const
{
    const auto parts = elementsOf(request);
    constexpr qsizetype FilterIndex = 6;
    if (!parts || parts->size() <= FilterIndex)
        return std::nullopt;
    QByteArray content;
    for (qsizetype index = 0; index < parts->size(); ++index) {
        if (index != FilterIndex) {
            content += parts->at(index).whole;
            continue;
        }
        const std::optional<QByteArray> filter = editedFilter(parts->at(index).whole, false);
        if (!filter)
            return std::nullopt;
        content += *filter;
    }
    return encoded(SearchRequest, content);
}

std::optional<QByteArray> PartialCatalog::editedFilter(QByteArrayView filter, bool isNegated) const
{
    const std::optional<Element> item = firstElement(filter);
    if (!item)
        return std::nullopt;
    QByteArrayView attribute = item->content;
    if (item->tag != FilterPresent) {
        const auto parts = elementsOf(item->content);
        if (!parts)
            return std::nullopt;
        if (item->tag == FilterAnd || item->tag == FilterOr || item->tag == FilterNot) {
            QByteArray content;
            for (const Element &part : *parts) {
                const auto inner = editedFilter(part.whole, isNegated != (item->tag == FilterNot));
                if (!inner)
                    return std::nullopt;
                content += *inner;
            }
            return encoded(item->tag, content);
        }
        const quint8 tag = item->tag == FilterExtensible ? ExtensibleType : OctetString;
        attribute = {};
        for (const Element &part : *parts) {
            if (part.tag == tag) {
                attribute = part.content;
                break;
            }
        }
    }
    // An extensible match need not name an attribute.
    if (attribute.isEmpty() || holds(attribute))
        return item->whole.toByteArray();
    // Undefined is neither true nor false, and its negation is undefined as well.
    const QByteArray always = encoded(FilterPresent, "objectClass");
    return isNegated ? always : encoded(FilterNot, always);
}

std::optional<QByteArray> PartialCatalog::editedEntry(QByteArrayView entry) const
{
    const auto parts = elementsOf(entry);
    if (!parts || parts->size() != 2)
        return std::nullopt;
    const auto attributes = elementsOf(parts->at(1).content);
    if (!attributes)
        return std::nullopt;
    // The nameless entry describes the server itself.
    const bool isServer = parts->first().content.isEmpty();
    QByteArray kept;
    for (const Element &attribute : *attributes) {
        const std::optional<Element> name = firstElement(attribute.content);
        if (!name)
            return std::nullopt;
        if (isServer || holds(name->content))
            kept += attribute.whole;
    }
    return encoded(SearchResultEntry, parts->first().whole.toByteArray() + encoded(Sequence, kept));
}
