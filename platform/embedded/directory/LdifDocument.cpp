#include "platform/embedded/directory/LdifDocument.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace {

constexpr bool isAttributeCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == ';' || c == '_';
}

bool equalsIgnoringCase(QByteArrayView a, const char *b)
{
    return a.compare(QByteArrayView(b), Qt::CaseInsensitive) == 0;
}

} // namespace

/// Unfolds lines and decodes base64 in place: neither ever needs more room than its source.
class LdifDocument::Parser
{
public:
    Parser(LdifDocument &document, const LdifLimits &limits)
        : m_document(document)
        , m_limits(limits)
        , m_data(document.m_text.data())
        , m_size(document.m_text.size())
    {
    }

    [[nodiscard]] std::optional<LdifError> run();

private:
    struct Line
    {
        char *begin = nullptr;
        qsizetype size = 0;
    };

    [[nodiscard]] bool atEnd() const { return m_read >= m_size; }
    [[nodiscard]] Line physicalLine();
    [[nodiscard]] Line logicalLine();
    [[nodiscard]] std::optional<QString> readLine(const Line &line);
    [[nodiscard]] std::optional<QString> readValue(char *begin, char *end, QByteArrayView &value);
    [[nodiscard]] std::optional<QString> addAttribute(QByteArrayView name, QByteArrayView value);
    [[nodiscard]] int internName(QByteArrayView name);

    LdifDocument &m_document;
    const LdifLimits &m_limits;
    char *m_data;
    qsizetype m_size;
    qsizetype m_read = 0;
    qsizetype m_physicalLine = 0;
    qsizetype m_lineNumber = 0; ///< where the logical line in work begins
    bool m_inEntry = false;
    bool m_sawVersion = false;
    int m_lastName = -1;
    QByteArrayView m_lastNameText;
};

LdifDocument::Parser::Line LdifDocument::Parser::physicalLine()
{
    char *const begin = m_data + m_read;
    const qsizetype rest = m_size - m_read;
    const void *const newline = std::memchr(begin, '\n', static_cast<std::size_t>(rest));
    qsizetype size = newline ? static_cast<const char *>(newline) - begin : rest;
    m_read += size + (newline ? 1 : 0);
    ++m_physicalLine;
    if (size > 0 && begin[size - 1] == '\r')
        --size;
    return {begin, size};
}

LdifDocument::Parser::Line LdifDocument::Parser::logicalLine()
{
    Line line = physicalLine();
    m_lineNumber = m_physicalLine;
    if (line.size == 0)
        return line;
    while (!atEnd() && m_data[m_read] == ' ') {
        const Line more = physicalLine();
        if (more.size > 1) {
            std::memmove(line.begin + line.size, more.begin + 1,
                         static_cast<std::size_t>(more.size - 1));
            line.size += more.size - 1;
        }
    }
    return line;
}

std::optional<LdifError> LdifDocument::Parser::run()
{
    if (QByteArrayView(m_data, m_size).startsWith("\xEF\xBB\xBF"))
        m_read = 3; // the byte order mark that some editors put first
    while (!atEnd()) {
        const Line line = logicalLine();
        if (line.size == 0) {
            m_inEntry = false;
            continue;
        }
        if (*line.begin == '#')
            continue;
        if (auto text = readLine(line))
            return LdifError{m_lineNumber, std::move(*text)};
    }
    return std::nullopt;
}

std::optional<QString> LdifDocument::Parser::readLine(const Line &line)
{
    if (*line.begin == ' ')
        return QStringLiteral("a continuation line follows no line");
    char *const end = line.begin + line.size;
    char *const colon = std::find(line.begin, end, ':');
    if (colon == end)
        return QStringLiteral("the line has no colon");
    const QByteArrayView name(line.begin, colon - line.begin);
    if (name.isEmpty() || !std::all_of(name.begin(), name.end(), isAttributeCharacter))
        return QStringLiteral("the attribute name is not valid");

    QByteArrayView value;
    if (auto text = readValue(colon + 1, end, value))
        return text;

    if (equalsIgnoringCase(name, "version") && m_document.m_entries.empty() && !m_inEntry &&
        !m_sawVersion) {
        if (value.trimmed() != QByteArrayView("1"))
            return QStringLiteral("only version 1 of LDIF is known");
        m_sawVersion = true;
        return std::nullopt;
    }
    if (equalsIgnoringCase(name, "dn")) {
        if (m_inEntry)
            return QStringLiteral("an empty line is missing before \"dn\"");
        if (static_cast<qsizetype>(m_document.m_entries.size()) >= m_limits.entries)
            return QStringLiteral("more than %1 entries").arg(m_limits.entries);
        m_inEntry = true;
        m_document.m_entries.push_back({m_lineNumber, value, m_document.m_attributes.size(), 0});
        return std::nullopt;
    }
    if (!m_inEntry)
        return QStringLiteral("an entry must begin with \"dn\"");
    if (equalsIgnoringCase(name, "changetype"))
        return QStringLiteral("change records are not supported");
    return addAttribute(name, value);
}

std::optional<QString> LdifDocument::Parser::readValue(char *begin, char *end,
                                                       QByteArrayView &value)
{
    if (end - begin > m_limits.valueBytes)
        return QStringLiteral("the value is longer than %1 bytes").arg(m_limits.valueBytes);
    if (begin != end && *begin == '<')
        return QStringLiteral("values by URL are not supported");
    const bool base64 = begin != end && *begin == ':';
    if (base64)
        ++begin;
    begin = std::find_if(begin, end, [](char c) { return c != ' '; });
    if (!base64) {
        if (std::any_of(begin, end, [](char c) { return c == '\0' || c == '\r'; }))
            return QStringLiteral("the value holds a control character that needs base64");
        value = QByteArrayView(begin, end - begin);
        return std::nullopt;
    }
    while (end != begin && end[-1] == ' ')
        --end;
    const QByteArray encoded = QByteArray::fromRawData(begin, end - begin);
    auto decoded = QByteArray::fromBase64Encoding(
        encoded, QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded)
        return QStringLiteral("the value is not base64");
    const qsizetype size = decoded.decoded.size();
    std::copy_n(decoded.decoded.constData(), size, begin);
    // The value may be a password, so no copy of it stays behind.
    decoded.decoded.fill('\0');
    value = QByteArrayView(begin, size);
    return std::nullopt;
}

std::optional<QString> LdifDocument::Parser::addAttribute(QByteArrayView name, QByteArrayView value)
{
    if (name.endsWith(";binary"))
        name.chop(7);
    if (name.isEmpty())
        return QStringLiteral("the attribute name is not valid");
    m_document.m_attributes.push_back({internName(name), value});
    ++m_document.m_entries.back().attributeCount;
    return std::nullopt;
}

int LdifDocument::Parser::internName(QByteArrayView name)
{
    // A multi-valued attribute repeats its name line after line.
    if (m_lastName >= 0 && name == m_lastNameText)
        return m_lastName;
    const QByteArray lower = name.toByteArray().toLower();
    const auto known = m_document.m_indexOfName.constFind(lower);
    if (known != m_document.m_indexOfName.constEnd()) {
        m_lastName = *known;
    } else {
        m_lastName = static_cast<int>(m_document.m_names.size());
        m_document.m_names.push_back(name.toByteArray());
        m_document.m_indexOfName.insert(lower, m_lastName);
    }
    m_lastNameText = name;
    return m_lastName;
}

Result<LdifDocument, LdifError> LdifDocument::parse(QByteArray text, const LdifLimits &limits)
{
    LdifDocument document;
    if (text.size() > limits.fileBytes)
        return Failure{LdifError{0, QStringLiteral("larger than %1 bytes").arg(limits.fileBytes)}};
    document.m_text = std::move(text);
    Parser parser(document, limits);
    if (auto error = parser.run())
        return Failure{std::move(*error)};
    return document;
}

LdifDocument::~LdifDocument()
{
    // A moved-from document has no text; data() of an empty array is not ours to write to.
    if (!m_text.isEmpty())
        explicit_bzero(m_text.data(), static_cast<std::size_t>(m_text.size()));
}

int LdifDocument::indexOfName(QByteArrayView name) const
{
    return m_indexOfName.value(name.toByteArray().toLower(), -1);
}

QByteArrayView LdifDocument::firstValue(const Entry &entry, int name) const
{
    if (name < 0)
        return {};
    for (const Attribute &attribute : attributes(entry)) {
        if (attribute.name == name)
            return attribute.value;
    }
    return {};
}
