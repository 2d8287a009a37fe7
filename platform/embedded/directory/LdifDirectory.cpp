#include "platform/embedded/directory/LdifDirectory.h"

#include "platform/embedded/directory/LdifNames.h"

#include <algorithm>

namespace {

/// What never leaves through details or comparisons.
bool isSecret(const QByteArray &name)
{
    return name.compare("userPassword", Qt::CaseInsensitive) == 0 ||
           name.compare("unicodePwd", Qt::CaseInsensitive) == 0;
}

bool isBinary(const QByteArray &name)
{
    return name.compare("objectGUID", Qt::CaseInsensitive) == 0 ||
           name.compare("objectSid", Qt::CaseInsensitive) == 0;
}

/// The spelling that the program asks for, whatever the file's.
QString publicName(const QByteArray &name)
{
    for (const char16_t *known :
         {DirectoryAttribute::sAMAccountName, DirectoryAttribute::keywords,
          DirectoryAttribute::serviceDNSName, DirectoryAttribute::objectClass}) {
        if (QLatin1StringView(name).compare(QStringView(known), Qt::CaseInsensitive) == 0)
            return QString::fromUtf16(known);
    }
    return QString::fromLatin1(name);
}

/// UTF-8 as it is: a byte order mark that begins a value is part of it.
QString decoded(QByteArrayView value)
{
    constexpr QByteArrayView mark("\xEF\xBB\xBF");
    QString marks;
    while (value.startsWith(mark)) {
        marks.append(QChar(QChar::ByteOrderMark));
        value = value.sliced(mark.size());
    }
    return marks + QString::fromUtf8(value);
}

bool compares(quint32 matchType, QStringView value, const QString &wanted)
{
    if (matchType == DirectoryMatchType::BeginsWith)
        return value.startsWith(wanted, Qt::CaseInsensitive);
    return matchType == DirectoryMatchType::Any || value.compare(wanted, Qt::CaseInsensitive) == 0;
}

constexpr const char16_t *standardAttributes[] = {
    DirectoryAttribute::RecordName,       DirectoryAttribute::GUID,
    DirectoryAttribute::PrimaryNTDomain,  DirectoryAttribute::OriginalNodeName,
    DirectoryAttribute::PrimaryGroupID,   DirectoryAttribute::OriginalNFSHomeDirectory,
    DirectoryAttribute::NFSHomeDirectory, DirectoryAttribute::MetaNodeLocation,
};

} // namespace

LdifDirectory::LdifDirectory(LdifDocument document, const QString &source,
                             const DiagnosticSink &diagnostics)
    : m_document(std::move(document))
    , m_objectClass(m_document.indexOfName("objectClass"))
    , m_objectGuid(m_document.indexOfName("objectGUID"))
    , m_userPassword(m_document.indexOfName("userPassword"))
{
    constexpr int mostReports = 20;
    int reports = 0;
    const auto report = [&](const LdifDocument::Entry &at, const QString &text) {
        if (diagnostics && reports++ < mostReports)
            diagnostics(1, DiagnosticType::Error,
                        QStringLiteral("%1, line %2: %3").arg(source).arg(at.line).arg(text));
    };
    const int ncName = m_document.indexOfName("nCName");
    const int netBios = m_document.indexOfName("nETBIOSName");
    const int accountName = m_document.indexOfName("uid");
    const int userName = m_document.indexOfName("sAMAccountName");

    for (std::size_t i = 0; i < m_document.entries().size(); ++i) {
        const LdifDocument::Entry &candidate = entry(i);
        std::optional<Kind> kind;
        if (hasClass(candidate, "serviceConnectionPoint")) {
            m_connectionPoints.push_back(i);
        } else if (hasClass(candidate, "user")) {
            if (!hasClass(candidate, "computer"))
                kind = Kind::User;
        } else if (hasClass(candidate, "posixAccount")) {
            kind = Kind::Account;
        } else if (hasClass(candidate, "crossRef")) {
            const auto name = m_document.firstValue(candidate, netBios);
            const auto domain = m_document.firstValue(candidate, ncName);
            // Partitions without a NetBIOS name (configuration, schema) are no domains.
            if (!name.isEmpty() && !domain.isEmpty())
                m_netBiosNames.insert(LdifNames::normalizedDn(domain), QString::fromUtf8(name));
        }
        if (!kind)
            continue;
        const bool local = *kind == Kind::Account;
        if (m_document.firstValue(candidate, local ? accountName : userName).isEmpty()) {
            report(candidate, local ? QStringLiteral("the account has no \"uid\"")
                                    : QStringLiteral("the user has no \"sAMAccountName\""));
            continue;
        }
        if (guid(*kind, candidate).isEmpty())
            report(candidate, local ? QStringLiteral("the account has no valid \"uidNumber\"")
                                    : QStringLiteral("the user has no valid \"objectGUID\""));
        (local ? m_accounts : m_users).push_back(i);
    }
    if (reports > mostReports && diagnostics)
        diagnostics(1, DiagnosticType::Error,
                    QStringLiteral("%1: %2 more entries like these")
                        .arg(source)
                        .arg(reports - mostReports));
}

const std::vector<std::size_t> &LdifDirectory::entriesOfKind(Kind kind) const
{
    switch (kind) {
    case Kind::Account:
        return m_accounts;
    case Kind::User:
        return m_users;
    case Kind::ConnectionPoint:
        break;
    }
    return m_connectionPoints;
}

bool LdifDirectory::hasClass(const LdifDocument::Entry &entry, QByteArrayView name) const
{
    if (m_objectClass < 0)
        return false;
    const auto attributes = m_document.attributes(entry);
    return std::any_of(attributes.begin(), attributes.end(), [&](const auto &attribute) {
        return attribute.name == m_objectClass &&
               attribute.value.compare(name, Qt::CaseInsensitive) == 0;
    });
}

QByteArrayView LdifDirectory::rawName(Kind kind, const QString &attribute)
{
    struct Row
    {
        const char16_t *standard;
        const char *account;
        const char *user;
        const char *connectionPoint;
    };
    // An empty name stands for an attribute that is computed or that the kind does not have.
    static constexpr Row rows[] = {
        {DirectoryAttribute::RecordName, "uid", "sAMAccountName", "cn"},
        {DirectoryAttribute::GUID, "", "", ""},
        {DirectoryAttribute::PrimaryNTDomain, "primaryNTDomain", "", ""},
        {DirectoryAttribute::OriginalNodeName, "originalNodeName", "", ""},
        {DirectoryAttribute::PrimaryGroupID, "gidNumber", "", ""},
        {DirectoryAttribute::OriginalNFSHomeDirectory, "originalHomeDirectory", "", ""},
        {DirectoryAttribute::NFSHomeDirectory, "homeDirectory", "unixHomeDirectory", ""},
        {DirectoryAttribute::MetaNodeLocation, "", "", ""},
    };
    for (const Row &row : rows) {
        if (attribute == QStringView(row.standard))
            return kind == Kind::Account ? row.account
                   : kind == Kind::User  ? row.user
                                         : row.connectionPoint;
    }
    return {};
}

QStringList LdifDirectory::computedValues(Kind kind, const LdifDocument::Entry &entry,
                                          const QString &attribute) const
{
    if (attribute == QStringView(DirectoryAttribute::MetaNodeLocation)) {
        if (kind == Kind::Account)
            return {QString::fromUtf16(DirectoryLocalNode)};
        const QString domain = netBiosName(entry);
        return {domain.isEmpty() ? QStringLiteral("/Active Directory/All Domains")
                                 : QStringLiteral("/Active Directory/%1/All Domains").arg(domain)};
    }
    QString value;
    if (attribute == QStringView(DirectoryAttribute::GUID))
        value = guid(kind, entry);
    else if (attribute == QStringView(DirectoryAttribute::PrimaryNTDomain) && kind == Kind::User)
        value = netBiosName(entry);
    return value.isEmpty() ? QStringList() : QStringList(value);
}

bool LdifDirectory::matches(Kind kind, std::size_t index, const DirectoryQuery &query) const
{
    if (query.attribute.isEmpty())
        return query.matchType == DirectoryMatchType::Any;
    const LdifDocument::Entry &candidate = entry(index);
    const bool standard =
        std::any_of(std::begin(standardAttributes), std::end(standardAttributes),
                    [&](const char16_t *name) { return query.attribute == QStringView(name); });
    const QByteArray raw =
        standard ? rawName(kind, query.attribute).toByteArray() : query.attribute.toUtf8();
    if (raw.isEmpty()) {
        const QStringList values = computedValues(kind, candidate, query.attribute);
        return std::any_of(values.begin(), values.end(), [&](const QString &value) {
            return compares(query.matchType, value, query.value);
        });
    }
    const int name = m_document.indexOfName(raw);
    if (name < 0 || isSecret(m_document.name(name)) || isBinary(m_document.name(name)))
        return false;
    const auto attributes = m_document.attributes(candidate);
    const QByteArray wanted = query.value.toUtf8();
    // Almost every query is ASCII, which is compared without decoding a single value.
    const bool ascii = wanted.size() == query.value.size();
    return std::any_of(attributes.begin(), attributes.end(), [&](const auto &attribute) {
        if (attribute.name != name)
            return false;
        if (!ascii)
            return compares(query.matchType, decoded(attribute.value), query.value);
        switch (query.matchType) {
        case DirectoryMatchType::EqualTo:
            return attribute.value.size() == wanted.size() &&
                   attribute.value.compare(wanted, Qt::CaseInsensitive) == 0;
        case DirectoryMatchType::BeginsWith:
            return attribute.value.size() >= wanted.size() &&
                   attribute.value.first(wanted.size()).compare(wanted, Qt::CaseInsensitive) == 0;
        default:
            return true;
        }
    });
}

DirectoryDetails LdifDirectory::details(Kind kind, std::size_t index) const
{
    const LdifDocument::Entry &source = entry(index);
    QHash<int, QStringList> byName;
    for (const auto &attribute : m_document.attributes(source)) {
        const QByteArray &name = m_document.name(attribute.name);
        if (!isSecret(name) && !isBinary(name) && attribute.value.isValidUtf8())
            byName[attribute.name].append(decoded(attribute.value));
    }
    DirectoryDetails details;
    for (auto it = byName.cbegin(); it != byName.cend(); ++it)
        details.insert(publicName(m_document.name(it.key())), it.value());
    for (const char16_t *standard : standardAttributes) {
        const QString attribute = QString::fromUtf16(standard);
        const QByteArrayView raw = rawName(kind, attribute);
        const QStringList values = raw.isEmpty() ? computedValues(kind, source, attribute)
                                                 : byName.value(m_document.indexOfName(raw));
        if (!values.isEmpty())
            details.insert(attribute, values);
    }
    return details;
}

QString LdifDirectory::distinguishedName(std::size_t index) const
{
    return QString::fromUtf8(entry(index).dn);
}

QByteArrayView LdifDirectory::storedPassword(std::size_t index) const
{
    return m_document.firstValue(entry(index), m_userPassword);
}

QString LdifDirectory::guid(Kind kind, const LdifDocument::Entry &source) const
{
    const QByteArrayView value = m_document.firstValue(source, m_objectGuid);
    if (!value.isNull() || kind != Kind::Account)
        return LdifNames::guidText(value);
    return LdifNames::accountGuid(
        m_document.firstValue(source, m_document.indexOfName("uidNumber")));
}

QString LdifDirectory::netBiosName(const LdifDocument::Entry &source) const
{
    return LdifNames::netBiosName(LdifNames::normalizedDn(source.dn), m_netBiosNames);
}
