#include "platform/linux/directory/LdapSession.h"

#include "platform/linux/directory/KerberosTicket.h"
#include "platform/linux/posix/Descriptor.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <ldap.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openldap.h>
#include <poll.h>
#include <sasl/sasl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Code = DirectoryError::Code;
using LdapSession::Context;
using Problem = std::optional<DirectoryError>;

/// The largest message taken from a server, which may not have proved who it is yet.
constexpr ber_len_t MaximumMessage = 64UL * 1024 * 1024;

DirectoryError named(const QString &serverName, Code code, const QString &what)
{
    return {code, QStringLiteral("%1: %2").arg(serverName, what)};
}

bool usesTls(const DirectorySettings &settings)
{
    switch (settings.tls) {
    case DirectorySettings::Tls::StartTls:
    case DirectorySettings::Tls::Ldaps:
        return true;
    case DirectorySettings::Tls::Off:
        return false;
    case DirectorySettings::Tls::Automatic:
        break;
    }
    return settings.bind == DirectorySettings::Bind::Simple;
}

/// Connects to one address; 0 or the reason.
int connectTo(int socket, const addrinfo &address, LdapSession::TimePoint limit)
{
    if (::connect(socket, address.ai_addr, address.ai_addrlen) == 0)
        return 0;
    if (errno != EINPROGRESS)
        return errno;
    pollfd waiting{socket, POLLOUT, 0};
    const timeval left = LdapSession::timeLeft(limit);
    const auto milliseconds = static_cast<int>(left.tv_sec * 1000 + left.tv_usec / 1000);
    if (::poll(&waiting, 1, milliseconds) <= 0)
        return ETIMEDOUT;
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size);
    return error;
}

/// The library connects anew by itself when a connection has been lost: that one would be neither
/// protected nor authenticated.
int refuseConnection(LDAP *, Sockbuf *, LDAPURLDesc *, sockaddr *, ldap_conncb *)
{
    return -1;
}
void forgetConnection(LDAP *, Sockbuf *, ldap_conncb *) {}

int answerNothing(LDAP *, unsigned, void *, void *interaction)
{
    for (auto *question = static_cast<sasl_interact_t *>(interaction);
         question->id != SASL_CB_LIST_END; ++question) {
        question->result = "";
        question->len = 0;
    }
    return LDAP_SUCCESS;
}

Problem bindWithTicket(const Context &context, ldap *handle, bool overTls)
{
    // Servers refuse a SASL layer within TLS; without TLS nothing but such a layer protects.
    const char *properties = "minssf=1";
    if (overTls)
        properties = "minssf=0,maxssf=0";
    else if (context.settings.allowUnprotected)
        properties = "minssf=0";
    // The option takes a pointer to text that it does not change.
    ldap_set_option(handle, LDAP_OPT_X_SASL_SECPROPS, properties);
    if (overTls) {
        int binding = LDAP_OPT_X_SASL_CBINDING_TLS_ENDPOINT;
        ldap_set_option(handle, LDAP_OPT_X_SASL_CBINDING, &binding);
    }
    const int status = ldap_sasl_interactive_bind_s(handle, nullptr, "GSSAPI", nullptr, nullptr,
                                                    LDAP_SASL_QUIET, answerNothing, nullptr);
    if (status == LDAP_SUCCESS)
        return std::nullopt;
    DirectoryError problem =
        LdapSession::failure(context.serverName, handle, QStringLiteral("GSSAPI bind"), status);
    if (status == LDAP_AUTH_UNKNOWN)
        problem.localizedDescription +=
            QStringLiteral(": is the GSSAPI module of Cyrus SASL installed?");
    else if (status == LDAP_LOCAL_ERROR || status == LDAP_OPERATIONS_ERROR) {
        // The ticket may have run out since it was looked at.
        if (KerberosTicket::ofUser().state != KerberosTicket::State::Valid)
            problem.code = Code::CredentialsMissing;
        else if (problem.localizedDescription.contains(QLatin1String("too weak")))
            problem.code = Code::ProtectionRefused;
        else if (problem.localizedDescription.contains(QLatin1String("KDC")))
            problem.code = Code::ServerUnreachable;
        else
            problem.code = Code::AuthenticationRefused;
    }
    return problem;
}

/// A password; wiped when released.
struct Secret
{
    std::array<char, 1024> text{};
    std::size_t length = 0;
    Secret() = default;
    ~Secret() { ::explicit_bzero(text.data(), text.size()); }
    Q_DISABLE_COPY_MOVE(Secret)
};

bool readPassword(const QString &path, Secret &secret)
{
    const Descriptor file(
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file.isOpen())
        return false;
    while (secret.length < secret.text.size()) {
        const ssize_t got = ::read(file.number(), secret.text.data() + secret.length,
                                   secret.text.size() - secret.length);
        if (got <= 0)
            break;
        secret.length += static_cast<std::size_t>(got);
    }
    const auto end = std::find_if(secret.text.begin(), secret.text.begin() + secret.length,
                                  [](char c) { return c == '\n' || c == '\r'; });
    secret.length = static_cast<std::size_t>(end - secret.text.begin());
    return secret.length > 0 && secret.length < secret.text.size();
}

Problem bindWithPassword(const Context &context, ldap *handle)
{
    Secret secret;
    // An empty password would make the bind an anonymous one that succeeds.
    if (!readPassword(context.settings.bindPasswordFile, secret))
        return named(context.serverName, Code::CredentialsMissing,
                     QStringLiteral("the password file '%1' cannot be read or is empty")
                         .arg(context.settings.bindPasswordFile));
    const QByteArray name = context.settings.bindName.toUtf8();
    berval credentials{static_cast<ber_len_t>(secret.length), secret.text.data()};
    const int status = ldap_sasl_bind_s(handle, name.constData(), LDAP_SASL_SIMPLE, &credentials,
                                        nullptr, nullptr, nullptr);
    if (status == LDAP_SUCCESS)
        return std::nullopt;
    return LdapSession::failure(context.serverName, handle,
                                QStringLiteral("bind as %1").arg(context.settings.bindName),
                                status);
}

} // namespace

namespace LdapSession {

timeval timeLeft(TimePoint limit)
{
    using namespace std::chrono;
    const auto left = duration_cast<microseconds>(limit - BoundedOperation::Clock::now());
    // A wait of nothing would mean forever in some calls.
    const auto count = std::max<microseconds::rep>(left.count(), 1000);
    return {static_cast<time_t>(count / 1'000'000), static_cast<suseconds_t>(count % 1'000'000)};
}

DirectoryError failure(const QString &serverName, ldap *handle, const QString &doing, int status)
{
    Code code = Code::Internal;
    switch (status) {
    case LDAP_SERVER_DOWN:
    case LDAP_CONNECT_ERROR:
    case LDAP_UNAVAILABLE:
    case LDAP_BUSY:
        code = Code::ServerUnreachable;
        break;
    case LDAP_TIMEOUT:
        code = Code::TimedOut;
        break;
    case LDAP_INVALID_CREDENTIALS:
    case LDAP_INAPPROPRIATE_AUTH:
    case LDAP_INSUFFICIENT_ACCESS:
        code = Code::AuthenticationRefused;
        break;
    case LDAP_STRONG_AUTH_REQUIRED:
    case LDAP_CONFIDENTIALITY_REQUIRED:
        code = Code::ProtectionRefused;
        break;
    case LDAP_SIZELIMIT_EXCEEDED:
    case LDAP_TIMELIMIT_EXCEEDED:
    case LDAP_ADMINLIMIT_EXCEEDED:
    case LDAP_PARTIAL_RESULTS:
    case LDAP_REFERRAL:
        code = Code::PartialResult;
        break;
    default:
        break;
    }
    QString what = QStringLiteral("%1: %2").arg(doing, QString::fromUtf8(ldap_err2string(status)));
    char *more = nullptr;
    ldap_get_option(handle, LDAP_OPT_DIAGNOSTIC_MESSAGE, &more);
    const bool isTelling = more && *more && !std::strstr(more, "unknown error code");
    if (isTelling)
        what += QStringLiteral(" (%1)").arg(QString::fromUtf8(more).simplified().left(300));
    ldap_memfree(more);
    return named(serverName, code, what);
}

Problem problemOf(const DirectorySettings &settings)
{
    if (settings.bind != DirectorySettings::Bind::Simple || usesTls(settings) ||
        settings.allowUnprotected)
        return std::nullopt;
    return DirectoryError{
        Code::ProtectionRefused,
        QStringLiteral("The directory password is not sent over a connection without TLS")};
}

Result<int, DirectoryError> connectSocket(const Context &context)
{
    addrinfo hints = {};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo *raw = nullptr;
    const int status =
        ::getaddrinfo(context.server.host.toUtf8().constData(),
                      QByteArray::number(context.server.port).constData(), &hints, &raw);
    if (status != 0)
        return Failure{named(context.serverName, Code::ServerUnreachable,
                             QString::fromLocal8Bit(::gai_strerror(status)))};
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> addresses(raw, &::freeaddrinfo);
    int count = 0;
    for (const addrinfo *address = raw; address; address = address->ai_next)
        ++count;
    int error = EHOSTUNREACH;
    for (const addrinfo *address = raw; address; address = address->ai_next, --count) {
        const int socket =
            ::socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK,
                     address->ai_protocol);
        if (socket < 0) {
            error = errno;
            continue;
        }
        // One address that swallows packets leaves time for the others.
        const TimePoint now = BoundedOperation::Clock::now();
        error = connectTo(socket, *address, now + (context.limit - now) / count);
        if (error == 0) {
            // A bind is a handful of small messages, none of which may wait for the next.
            const int on = 1;
            ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            ::fcntl(socket, F_SETFL, ::fcntl(socket, F_GETFL) & ~O_NONBLOCK);
            return socket;
        }
        ::close(socket);
    }
    return Failure{named(context.serverName, Code::ServerUnreachable,
                         QString::fromLocal8Bit(std::strerror(error)))};
}

Result<ldap *, DirectoryError> attach(const Context &context, int socket)
{
    const bool isLdaps = context.settings.tls == DirectorySettings::Tls::Ldaps;
    const bool isIPv6Address = context.server.host.contains(u':');
    const QString url = QStringLiteral("%1://%2:%3")
                            .arg(isLdaps ? QStringLiteral("ldaps") : QStringLiteral("ldap"),
                                 isIPv6Address ? QStringLiteral("[%1]").arg(context.server.host)
                                               : context.server.host)
                            .arg(context.server.port);
    LDAP *handle = nullptr;
    const int status = ldap_init_fd(socket, LDAP_PROTO_TCP, url.toUtf8().constData(), &handle);
    if (status != LDAP_SUCCESS) {
        ::close(socket);
        return Failure{
            named(context.serverName, Code::Internal, QString::fromUtf8(ldap_err2string(status)))};
    }
    const int version = LDAP_VERSION3;
    ldap_set_option(handle, LDAP_OPT_PROTOCOL_VERSION, &version);
    ldap_set_option(handle, LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    ldap_set_option(handle, LDAP_OPT_RESTART, LDAP_OPT_ON);
    ldap_set_option(handle, LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON);
    const timeval limit = timeLeft(context.limit);
    ldap_set_option(handle, LDAP_OPT_NETWORK_TIMEOUT, &limit);
    ldap_set_option(handle, LDAP_OPT_TIMEOUT, &limit);
    static ldap_conncb refusal = {refuseConnection, forgetConnection, nullptr};
    ldap_set_option(handle, LDAP_OPT_CONNECT_CB, &refusal);
    Sockbuf *buffer = nullptr;
    if (ldap_get_option(handle, LDAP_OPT_SOCKBUF, &buffer) == LDAP_OPT_SUCCESS && buffer) {
        ber_len_t maximum = MaximumMessage;
        ber_sockbuf_ctrl(buffer, LBER_SB_OPT_SET_MAX_INCOMING, &maximum);
    }
    // Said outright, whatever the library's own settings files say.
    const int check =
        context.settings.allowUnprotected ? LDAP_OPT_X_TLS_ALLOW : LDAP_OPT_X_TLS_DEMAND;
    ldap_set_option(handle, LDAP_OPT_X_TLS_REQUIRE_CERT, &check);
    if (!context.settings.tlsAuthorityFile.isEmpty())
        ldap_set_option(handle, LDAP_OPT_X_TLS_CACERTFILE,
                        QFile::encodeName(context.settings.tlsAuthorityFile).constData());
    return handle;
}

Problem protect(const Context &context, ldap *handle)
{
    if (!usesTls(context.settings))
        return std::nullopt;
    if (context.settings.allowUnprotected)
        context.operation.log(1, DiagnosticType::Error,
                              QStringLiteral("%1: the certificate is not checked, as "
                                             "allow-unprotected permits")
                                  .arg(context.serverName));
    const int isClient = 0;
    if (ldap_set_option(handle, LDAP_OPT_X_TLS_NEWCTX, &isClient) != LDAP_OPT_SUCCESS)
        return named(context.serverName, Code::ProtectionRefused,
                     QStringLiteral("TLS cannot be set up, is the file of authorities '%1' "
                                    "readable?")
                         .arg(context.settings.tlsAuthorityFile));
    const int status = context.settings.tls == DirectorySettings::Tls::Ldaps
                           ? ldap_install_tls(handle)
                           : ldap_start_tls_s(handle, nullptr, nullptr);
    if (status == LDAP_SUCCESS)
        return std::nullopt;
    DirectoryError problem =
        failure(context.serverName, handle, QStringLiteral("no verified TLS"), status);
    if (status != LDAP_SERVER_DOWN && status != LDAP_TIMEOUT && status != LDAP_UNAVAILABLE)
        problem.code = Code::ProtectionRefused;
    return problem;
}

Problem bind(const Context &context, ldap *handle)
{
    const bool overTls = usesTls(context.settings);
    const bool isSimple = context.settings.bind == DirectorySettings::Bind::Simple;
    if (Problem problem = problemOf(context.settings))
        return problem;
    if (Problem problem =
            isSimple ? bindWithPassword(context, handle) : bindWithTicket(context, handle, overTls))
        return problem;
    ber_len_t strength = 0;
    if (!isSimple)
        ldap_get_option(handle, LDAP_OPT_X_SASL_SSF, &strength);
    if (overTls || strength > 0)
        return std::nullopt;
    if (!context.settings.allowUnprotected)
        return named(context.serverName, Code::ProtectionRefused,
                     QStringLiteral("the connection is neither signed nor encrypted"));
    context.operation.log(1, DiagnosticType::Error,
                          QStringLiteral("%1: the connection is neither signed nor encrypted, as "
                                         "allow-unprotected permits")
                              .arg(context.serverName));
    return std::nullopt;
}

} // namespace LdapSession
