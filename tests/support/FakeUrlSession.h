#pragma once

#include "platform/UrlSession.h"

#include <QStringList>

#include <functional>

/// Transfers that a test answers by hand, on its own thread.
class FakeUrlSessionFactory final : public UrlSessionFactory
{
public:
    [[nodiscard]] std::shared_ptr<UrlSession>
    sessionWithConfiguration(const UrlSessionConfiguration &configuration,
                             std::weak_ptr<UrlSessionDelegate> delegate) override;

    /// URLs of the transfers resumed so far.
    [[nodiscard]] QStringList urls() const;
    [[nodiscard]] const UrlSessionConfiguration &configuration(qsizetype index) const;
    [[nodiscard]] bool isCancelled(qsizetype index) const;

    /// Ends transfer `index` with an answer of status 200 and `body`.
    void answer(qsizetype index, const QByteArray &body);
    void fail(qsizetype index, const UrlError &error);

    /// Called with its index when a transfer was resumed, before resume() returns.
    std::function<void(qsizetype)> onResume;

private:
    class Session;
    class Task;
    struct Transfer
    {
        QString url;
        UrlSessionConfiguration configuration;
        std::weak_ptr<UrlSessionDelegate> delegate;
        UrlSessionTaskState state = UrlSessionTaskState::Running;
        bool cancelled = false;
    };
    QList<std::shared_ptr<Transfer>> m_transfers;
};
