#pragma once

#include "platform/UrlSession.h"

#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

class FakeUrlSessionFactory;

/// One transfer that goes on when the test says so, on the thread that the test calls from. Nothing
/// reaches a delegate that has gone.
class FakeUrlTransfer final : public UrlSessionTask
{
public:
    FakeUrlTransfer(FakeUrlSessionFactory &factory, QString address,
                    UrlSessionConfiguration settings, std::weak_ptr<UrlSessionDelegate> listener);

    // UrlSessionTask
    void resume() override;
    void cancel() override;
    [[nodiscard]] UrlSessionTaskState state() const override { return current; }

    /// As cancel(), but not counted as one.
    void stop();

    // The transfer's course.
    std::optional<UrlResponseDisposition> respond(int status, const QString &text);
    void receive(const QByteArray &chunk);
    /// Once; a second end is not passed on.
    void complete(const std::optional<UrlError> &error = {});
    void completeCancelled();

    const QString url;
    const UrlSessionConfiguration configuration;
    const std::weak_ptr<UrlSessionDelegate> delegate;
    std::atomic<UrlSessionTaskState> current = UrlSessionTaskState::Running;
    std::atomic<int> cancels = 0;
    std::atomic<bool> cancelled = false; ///< before it had ended
    bool resumed = false;

private:
    FakeUrlSessionFactory &m_factory;
};

/// Transfers that a test drives by hand.
class FakeUrlSessionFactory final : public UrlSessionFactory
{
public:
    [[nodiscard]] std::shared_ptr<UrlSession>
    sessionWithConfiguration(const UrlSessionConfiguration &configuration,
                             std::weak_ptr<UrlSessionDelegate> delegate) override;

    /// All transfers made so far, in their order.
    [[nodiscard]] const QList<std::shared_ptr<FakeUrlTransfer>> &transfers() const
    {
        return m_transfers;
    }
    /// The last one made.
    [[nodiscard]] std::shared_ptr<FakeUrlTransfer> latest() const { return m_transfers.last(); }

    /// URLs of the transfers resumed so far.
    [[nodiscard]] QStringList urls() const;
    [[nodiscard]] const UrlSessionConfiguration &configuration(qsizetype index) const;
    [[nodiscard]] bool isCancelled(qsizetype index) const;

    /// Ends transfer `index` with an answer of status 200 and `body`.
    void answer(qsizetype index, const QByteArray &body);
    void fail(qsizetype index, const UrlError &error);

    /// Set: a transfer ends with it while it is being started, as it does where no thread can be
    /// had.
    std::optional<UrlError> startError;
    bool completesOnCancel = true; ///< within cancel(); otherwise when the test says so
    std::atomic<int> invalidations = 0;
    /// Called with its index when a transfer was resumed, before resume() returns.
    std::function<void(qsizetype)> onResume;

private:
    friend class FakeUrlTransfer;
    class Session;
    QList<std::shared_ptr<FakeUrlTransfer>> m_transfers;
};
