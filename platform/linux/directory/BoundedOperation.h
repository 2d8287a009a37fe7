#pragma once

#include "platform/Diagnostics.h"
#include "platform/Directory.h"

#include <QList>
#include <QString>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

/// Runs directory work on a thread of its own and waits for it no longer than a limit, since the
/// resolver and libkrb5 take no limit themselves. Work that is late is abandoned: nobody joins its
/// thread, its answer is dropped, and it closes what it has opened when the call that holds it up
/// returns. Work and caller share this object, so neither minds which of them ends first. Nothing
/// is logged after run() has returned, and only from the caller's thread.
class BoundedOperation
{
public:
    using Clock = std::chrono::steady_clock;
    using Answer = Result<DirectoryRecords, DirectoryError>;
    using Work = std::function<Answer(BoundedOperation &)>;

    /// How many threads one node may have at work, abandoned ones included.
    static constexpr int MaximumRunning = 4;
    /// Counts the threads at work; shared by the operations of one node.
    using Running = std::shared_ptr<std::atomic<int>>;

    /// The work's answer, or TimedOut when `limit` passed before. The thread has ended or is about
    /// to when there is an answer.
    [[nodiscard]] static Answer run(Clock::duration limit, const DiagnosticSink &diagnostics,
                                    const Running &running, Work work);

    // For the work, on its thread:

    [[nodiscard]] Clock::time_point deadline() const { return m_deadline; }
    /// Whether the caller has stopped waiting or is about to.
    [[nodiscard]] bool isLate() const { return Clock::now() >= m_deadline; }
    void log(unsigned level, DiagnosticType type, const QString &message);

    /// While it lives, the socket is shut down at `limit`, whatever call is waiting for it.
    class SocketWatch
    {
    public:
        SocketWatch(BoundedOperation &operation, int socket, Clock::time_point limit);
        ~SocketWatch();
        SocketWatch(const SocketWatch &) = delete;
        SocketWatch &operator=(const SocketWatch &) = delete;
        [[nodiscard]] bool wasCut() const;

    private:
        BoundedOperation &m_operation;
    };

    explicit BoundedOperation(Clock::time_point deadline) : m_deadline(deadline) {}

private:
    struct Message
    {
        unsigned level;
        DiagnosticType type;
        QString text;
    };

    [[nodiscard]] Answer wait(const DiagnosticSink &diagnostics);
    void finish(Answer answer);

    const Clock::time_point m_deadline;
    mutable std::mutex m_lock;
    std::condition_variable m_changed;
    QList<Message> m_messages;
    std::optional<Answer> m_answer;
    int m_socket = -1;
    Clock::time_point m_socketLimit;
    bool m_socketCut = false;
    bool m_abandoned = false;
};
