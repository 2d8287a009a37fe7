#include "tests/integration/directory/TestRelay.h"

#include "tests/integration/directory/PartialCatalog.h"

#include <algorithm>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

struct TestRelay::Connection
{
    int client = -1;
    int target = -1;
    qint64 fromTarget = 0;
    bool isStalled = false;
    QByteArray receivedFromClient;
    QByteArray receivedFromTarget;
};

namespace {

sockaddr_in addressOf(const char *address, quint16 port)
{
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    ::inet_pton(AF_INET, address, &result.sin_addr);
    return result;
}

} // namespace

TestRelay::TestRelay(const char *address, quint16 targetPort, qint64 limit, AtLimit atLimit)
    : m_targetAddress(address), m_targetPort(targetPort), m_limit(limit), m_atLimit(atLimit)
{
    listen(address, 0);
}

TestRelay::TestRelay(const char *address, quint16 port, const char *targetAddress,
                     quint16 targetPort, const PartialCatalog &catalog)
    : m_targetAddress(targetAddress)
    , m_targetPort(targetPort)
    , m_limit(-1)
    , m_atLimit(AtLimit::Close)
    , m_catalog(std::make_unique<PartialCatalog>(catalog))
{
    listen(address, port);
}

void TestRelay::listen(const char *address, quint16 port)
{
    m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in own = addressOf(address, port);
    socklen_t size = sizeof own;
    if (::bind(m_listener, reinterpret_cast<sockaddr *>(&own), size) != 0 ||
        ::listen(m_listener, 16) != 0 ||
        ::getsockname(m_listener, reinterpret_cast<sockaddr *>(&own), &size) != 0)
        qFatal("no socket to listen on at %s", address);
    m_port = ntohs(own.sin_port);
    m_end = ::eventfd(0, EFD_CLOEXEC);
    m_thread = std::thread([this] { run(); });
}

TestRelay::~TestRelay()
{
    const quint64 one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_end, &one, sizeof one);
    m_thread.join();
    ::close(m_listener);
    ::close(m_end);
}

QByteArray TestRelay::bytesFromTarget() const
{
    const std::lock_guard guard(m_lock);
    return m_bytesFromTarget;
}

bool TestRelay::pass(Connection &connection, bool fromClient)
{
    char buffer[4096];
    std::size_t wanted = sizeof buffer;
    if (!fromClient && m_limit >= 0)
        wanted = std::min(wanted, static_cast<std::size_t>(m_limit - connection.fromTarget));
    const ssize_t got =
        ::recv(fromClient ? connection.client : connection.target, buffer, wanted, 0);
    if (got <= 0)
        return false;
    if (!fromClient) {
        const std::lock_guard guard(m_lock);
        m_bytesFromTarget.append(buffer, got);
    }
    if (connection.target < 0)
        return true;
    if (m_catalog) {
        (fromClient ? connection.receivedFromClient : connection.receivedFromTarget)
            .append(buffer, got);
        return passMessages(connection, fromClient);
    }
    if (::send(fromClient ? connection.target : connection.client, buffer,
               static_cast<std::size_t>(got), MSG_NOSIGNAL) != got)
        return false;
    if (fromClient)
        return true;
    connection.fromTarget += got;
    if (m_limit < 0 || connection.fromTarget < m_limit)
        return true;
    connection.isStalled = true;
    return m_atLimit == AtLimit::Stall;
}

bool TestRelay::passMessages(Connection &connection, bool fromClient) const
{
    QByteArray &received =
        fromClient ? connection.receivedFromClient : connection.receivedFromTarget;
    for (;;) {
        const std::optional<QByteArray> message = PartialCatalog::takeMessage(received);
        if (!message)
            return false;
        if (message->isEmpty())
            return true;
        const std::optional<QByteArray> edited = m_catalog->edited(*message, fromClient);
        if (!edited)
            return false;
        if (::send(fromClient ? connection.target : connection.client, edited->constData(),
                   static_cast<std::size_t>(edited->size()), MSG_NOSIGNAL) != edited->size())
            return false;
    }
}

void TestRelay::run()
{
    std::vector<Connection> connections;
    for (;;) {
        std::vector<pollfd> waiting{{m_end, POLLIN, 0}, {m_listener, POLLIN, 0}};
        for (const Connection &connection : connections) {
            waiting.push_back({connection.client, POLLIN, 0});
            waiting.push_back({connection.isStalled ? -1 : connection.target, POLLIN, 0});
        }
        ::poll(waiting.data(), waiting.size(), -1);
        if (waiting[0].revents)
            break;
        std::vector<Connection> kept;
        for (std::size_t index = 0; index < connections.size(); ++index) {
            Connection connection = connections[index];
            bool lives = true;
            if (waiting[2 + 2 * index].revents)
                lives = pass(connection, true);
            if (lives && waiting[3 + 2 * index].revents)
                lives = pass(connection, false);
            if (lives) {
                kept.push_back(connection);
                continue;
            }
            ::close(connection.client);
            if (connection.target >= 0)
                ::close(connection.target);
        }
        connections = kept;
        if (waiting[1].revents) {
            Connection connection;
            connection.client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            ++m_connections;
            if (m_targetPort != 0) {
                connection.target = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
                const sockaddr_in target = addressOf(m_targetAddress, m_targetPort);
                if (::connect(connection.target, reinterpret_cast<const sockaddr *>(&target),
                              sizeof target) != 0) {
                    ::close(connection.target);
                    ::close(connection.client);
                    continue;
                }
            }
            connections.push_back(connection);
        }
    }
    for (const Connection &connection : connections) {
        ::close(connection.client);
        if (connection.target >= 0)
            ::close(connection.target);
    }
}
