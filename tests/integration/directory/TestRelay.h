#pragma once

#include <QByteArray>

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>

class PartialCatalog;

/// A server on a loopback address that passes bytes on to another one, up to a point or as a
/// partial catalog does. Its thread ends with it.
class TestRelay
{
public:
    enum class AtLimit {
        Stall, ///< keeps the connection open and passes nothing on any more
        Close,
    };
    /// Passes on to `targetPort` of the same address until `limit` bytes have come from there over
    /// one connection; a limit below 0 is none. Target port 0: accepts and never answers.
    TestRelay(const char *address, quint16 targetPort, qint64 limit, AtLimit atLimit);
    /// Listens on `port` of `address`, 0 for any, and passes on what `catalog` makes of it, both
    /// ways. Closes a connection on which anything is sent but binds and searches that it can read.
    TestRelay(const char *address, quint16 port, const char *targetAddress, quint16 targetPort,
              const PartialCatalog &catalog);
    ~TestRelay();
    TestRelay(const TestRelay &) = delete;
    TestRelay &operator=(const TestRelay &) = delete;

    [[nodiscard]] quint16 port() const { return m_port; }
    [[nodiscard]] int connections() const { return m_connections; }
    /// Everything that the target has sent so far.
    [[nodiscard]] QByteArray bytesFromTarget() const;

private:
    struct Connection;
    void listen(const char *address, quint16 port);
    void run();
    [[nodiscard]] bool pass(Connection &connection, bool fromClient);
    /// Passes on the whole messages among what has been received.
    [[nodiscard]] bool passMessages(Connection &connection, bool fromClient) const;

    const char *m_targetAddress;
    quint16 m_targetPort;
    qint64 m_limit;
    AtLimit m_atLimit;
    std::unique_ptr<const PartialCatalog> m_catalog;
    int m_listener = -1;
    int m_end = -1; ///< readable when the thread is to end
    quint16 m_port = 0;
    std::atomic<int> m_connections{0};
    mutable std::mutex m_lock;
    QByteArray m_bytesFromTarget;
    std::thread m_thread;
};
