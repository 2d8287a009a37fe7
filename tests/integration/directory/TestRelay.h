#pragma once

#include <QByteArray>

#include <atomic>
#include <mutex>
#include <thread>

/// A server on a loopback address that passes bytes on to another one, up to a point. Its thread
/// ends with it.
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
    ~TestRelay();
    TestRelay(const TestRelay &) = delete;
    TestRelay &operator=(const TestRelay &) = delete;

    [[nodiscard]] quint16 port() const { return m_port; }
    [[nodiscard]] int connections() const { return m_connections; }
    /// Everything that the target has sent so far.
    [[nodiscard]] QByteArray bytesFromTarget() const;

private:
    struct Connection;
    void run();
    [[nodiscard]] bool pass(Connection &connection, bool fromClient);

    const char *m_address;
    quint16 m_targetPort;
    qint64 m_limit;
    AtLimit m_atLimit;
    int m_listener = -1;
    int m_end = -1; ///< readable when the thread is to end
    quint16 m_port = 0;
    std::atomic<int> m_connections{0};
    mutable std::mutex m_lock;
    QByteArray m_bytesFromTarget;
    std::thread m_thread;
};
