#include "platform/linux/directory/LdapConnection.h"

#include "platform/linux/directory/LdapSession.h"

#include <algorithm>
#include <utility>

#include <ldap.h>

namespace {

constexpr int PageSize = 500;
/// Reads that are sent before the first answer is waited for.
constexpr qsizetype ReadsAtOnce = 32;

using Code = DirectoryError::Code;

template<auto release>
struct Deleter
{
    template<typename Pointed>
    void operator()(Pointed *pointer) const
    {
        release(pointer);
    }
};
using Message = std::unique_ptr<LDAPMessage, Deleter<ldap_msgfree>>;
using Values = std::unique_ptr<berval *, Deleter<ldap_value_free_len>>;
using Text = std::unique_ptr<char, Deleter<ldap_memfree>>;
using Control = std::unique_ptr<LDAPControl, Deleter<ldap_control_free>>;
using Controls = std::unique_ptr<LDAPControl *, Deleter<ldap_controls_free>>;

struct BerDeleter
{
    void operator()(BerElement *ber) const { ber_free(ber, 0); }
};

QByteArray bytes(const berval &value)
{
    return QByteArray(value.bv_val, static_cast<qsizetype>(value.bv_len));
}

/// Absent when the server gave only some of an attribute's values.
std::optional<LdapEntry> readEntry(LDAP *handle, LDAPMessage *message)
{
    LdapEntry entry;
    const Text name(ldap_get_dn(handle, message));
    entry.name = QByteArray(name.get());
    BerElement *rawBer = nullptr;
    Text attribute(ldap_first_attribute(handle, message, &rawBer));
    const std::unique_ptr<BerElement, BerDeleter> ber(rawBer);
    while (attribute) {
        QByteArray key = QByteArray(attribute.get()).toLower();
        const qsizetype option = key.indexOf(';');
        if (option >= 0) {
            const QByteArray options = key.mid(option);
            if (options.contains(";range=") && !options.endsWith("-*"))
                return std::nullopt;
            key.truncate(option);
        }
        const Values values(ldap_get_values_len(handle, message, attribute.get()));
        QByteArrayList list;
        for (int index = 0; values && values.get()[index]; ++index)
            list.append(bytes(*values.get()[index]));
        if (!list.isEmpty())
            entry.attributes[key] += list;
        attribute.reset(ldap_next_attribute(handle, message, ber.get()));
    }
    return entry;
}

} // namespace

LdapConnection::LdapConnection(QString serverName, BoundedOperation &operation)
    : m_serverName(std::move(serverName)), m_operation(operation)
{
}

LdapConnection::~LdapConnection()
{
    if (m_ldap)
        ldap_unbind_ext(m_ldap, nullptr, nullptr);
}

DirectoryError LdapConnection::failed(const QString &doing, int status)
{
    m_isBroken = true;
    return LdapSession::failure(m_serverName, m_ldap, doing, status);
}

DirectoryError LdapConnection::failed(Code code, const QString &what)
{
    m_isBroken = true;
    return {code, QStringLiteral("%1: %2").arg(m_serverName, what)};
}

LdapConnection::Outcome<std::unique_ptr<LdapConnection>>
LdapConnection::open(const DirectoryServerAddress &server, const DirectorySettings &settings,
                     BoundedOperation &operation, TimePoint limit)
{
    // Not make_unique: the constructor is nobody else's.
    std::unique_ptr<LdapConnection> connection(
        new LdapConnection(QStringLiteral("%1:%2").arg(server.host).arg(server.port), operation));
    const LdapSession::Context context{server, connection->m_serverName, settings, operation,
                                       limit};
    const Result<int, DirectoryError> socket = LdapSession::connectSocket(context);
    if (!socket.ok())
        return Failure{socket.error()};
    const Result<ldap *, DirectoryError> handle = LdapSession::attach(context, socket.value());
    if (!handle.ok())
        return Failure{handle.error()};
    connection->m_ldap = handle.value();
    connection->m_socket = socket.value();

    const BoundedOperation::SocketWatch watch(operation, socket.value(), limit);
    std::optional<DirectoryError> problem = LdapSession::protect(context, connection->m_ldap);
    if (!problem)
        problem = LdapSession::bind(context, connection->m_ldap);
    if (!problem)
        return connection;
    const bool isSilent = watch.wasCut() || problem->code == Code::TimedOut;
    if (isSilent && problem->code != Code::CredentialsMissing)
        return Failure{connection->failed(
            Code::TimedOut, QStringLiteral("accepts connections but does not answer in time"))};
    return Failure{*problem};
}

LdapConnection::Outcome<QList<LdapEntry>>
LdapConnection::searchBelow(const QByteArray &base, const QByteArray &filter,
                            const QByteArrayList &attributes, int maximum, TimePoint limit)
{
    const BoundedOperation::SocketWatch watch(m_operation, m_socket, limit);
    QList<LdapEntry> entries;
    QByteArray cookie;
    const int pageSize = maximum > 0 ? std::min(maximum, PageSize) : PageSize;
    do {
        const Outcome<int> sent =
            send(base, LDAP_SCOPE_SUBTREE, filter, attributes, &cookie, pageSize);
        if (!sent.ok())
            return Failure{sent.error()};
        Outcome<Page> page = receive(sent.value(), Missing::IsError, limit);
        if (!page.ok())
            return Failure{page.error()};
        entries += page.value().entries;
        cookie = page.value().cookie;
        if (maximum > 0 && entries.size() >= maximum) {
            entries.resize(maximum);
            break;
        }
    } while (!cookie.isEmpty());
    return entries;
}

LdapConnection::Outcome<QList<LdapEntry>> LdapConnection::read(const QByteArrayList &names,
                                                               const QByteArray &filter,
                                                               const QByteArrayList &attributes,
                                                               TimePoint limit)
{
    const BoundedOperation::SocketWatch watch(m_operation, m_socket, limit);
    QList<LdapEntry> entries;
    for (qsizetype start = 0; start < names.size(); start += ReadsAtOnce) {
        QList<int> messages;
        for (const QByteArray &name : names.mid(start, ReadsAtOnce)) {
            const Outcome<int> sent = send(name, LDAP_SCOPE_BASE, filter, attributes, nullptr, 0);
            if (!sent.ok())
                return Failure{sent.error()};
            messages.append(sent.value());
        }
        for (const int message : std::as_const(messages)) {
            // An object that the catalog still names may be gone.
            Outcome<Page> page = receive(message, Missing::IsEmpty, limit);
            if (!page.ok())
                return Failure{page.error()};
            entries += page.value().entries;
        }
    }
    return entries;
}

LdapConnection::Outcome<int> LdapConnection::send(const QByteArray &base, int scope,
                                                  const QByteArray &filter,
                                                  const QByteArrayList &attributes,
                                                  const QByteArray *cookie, int pageSize)
{
    if (m_isBroken)
        return Failure{
            failed(Code::ServerUnreachable, QStringLiteral("the connection was given up"))};
    QList<char *> wanted;
    for (const QByteArray &attribute : attributes)
        wanted.append(const_cast<char *>(attribute.constData())); // the library only reads
    wanted.append(nullptr);
    Control paging;
    if (cookie) {
        berval value{static_cast<ber_len_t>(cookie->size()),
                     const_cast<char *>(cookie->constData())}; // the library only reads
        LDAPControl *control = nullptr;
        const int status = ldap_create_page_control(m_ldap, pageSize, &value, 1, &control);
        if (status != LDAP_SUCCESS)
            return Failure{failed(QStringLiteral("search"), status)};
        paging.reset(control);
    }
    LDAPControl *controls[] = {paging.get(), nullptr};
    int message = -1;
    const int status =
        ldap_search_ext(m_ldap, base.constData(), scope, filter.constData(), wanted.data(), 0,
                        paging ? controls : nullptr, nullptr, nullptr, LDAP_NO_LIMIT, &message);
    if (status != LDAP_SUCCESS)
        return Failure{failed(QStringLiteral("search"), status)};
    return message;
}

LdapConnection::Outcome<LdapConnection::Page> LdapConnection::receive(int message, Missing missing,
                                                                      TimePoint limit)
{
    timeval left = LdapSession::timeLeft(limit);
    LDAPMessage *raw = nullptr;
    const int kind = ldap_result(m_ldap, message, LDAP_MSG_ALL, &left, &raw);
    const Message result(raw);
    const bool isLate = BoundedOperation::Clock::now() >= limit;
    if (kind == 0 || (kind < 0 && isLate))
        return Failure{failed(Code::TimedOut, QStringLiteral("stopped answering"))};
    if (kind < 0)
        return Failure{
            failed(Code::PartialResult, QStringLiteral("broke off in the middle of an answer"))};

    int status = LDAP_OTHER;
    LDAPControl **rawControls = nullptr;
    const int parsed =
        ldap_parse_result(m_ldap, raw, &status, nullptr, nullptr, nullptr, &rawControls, 0);
    const Controls controls(rawControls);
    if (parsed != LDAP_SUCCESS)
        return Failure{failed(QStringLiteral("search"), parsed)};
    if (status == LDAP_NO_SUCH_OBJECT && missing == Missing::IsEmpty)
        return Page{};
    if (status != LDAP_SUCCESS)
        return Failure{failed(QStringLiteral("search"), status)};

    Page page;
    for (LDAPMessage *entry = ldap_first_entry(m_ldap, raw); entry;
         entry = ldap_next_entry(m_ldap, entry)) {
        std::optional<LdapEntry> read = readEntry(m_ldap, entry);
        if (!read)
            return Failure{failed(Code::PartialResult,
                                  QStringLiteral("gave only some of an attribute's values"))};
        page.entries.append(std::move(*read));
    }
    if (LDAPControl *paging =
            ldap_control_find(LDAP_CONTROL_PAGEDRESULTS, controls.get(), nullptr)) {
        ber_int_t estimate = 0;
        berval cookie{0, nullptr};
        if (ldap_parse_pageresponse_control(m_ldap, paging, &estimate, &cookie) != LDAP_SUCCESS)
            return Failure{
                failed(Code::PartialResult, QStringLiteral("gave a page that cannot be read"))};
        page.cookie = bytes(cookie);
        ber_memfree(cookie.bv_val);
    }
    return page;
}
