#pragma once

#include "platform/UrlSession.h"

#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>

/// A transfer that goes on when the test says so, on the thread that the test calls from. Only the
/// latest one goes on.
class FakeUrlSessionFactory final : public UrlSessionFactory,
                                    public std::enable_shared_from_this<FakeUrlSessionFactory>
{
public:
    struct Task final : UrlSessionTask
    {
        void resume() override { resumed = true; }
        void cancel() override
        {
            ++cancels;
            auto running = UrlSessionTaskState::Running;
            if (current.compare_exchange_strong(running, UrlSessionTaskState::Canceling) &&
                onCancel)
                onCancel();
        }
        [[nodiscard]] UrlSessionTaskState state() const override { return current; }

        std::atomic<UrlSessionTaskState> current = UrlSessionTaskState::Running;
        std::atomic<int> cancels = 0;
        std::function<void()> onCancel;
        bool resumed = false;
    };

    struct Session final : UrlSession
    {
        explicit Session(FakeUrlSessionFactory &owner) : factory(owner) {}
        [[nodiscard]] std::shared_ptr<UrlSessionTask> dataTaskWithUrl(const QString &url) override
        {
            factory.urls.append(url);
            factory.task = std::make_shared<Task>();
            if (factory.completesOnCancel)
                factory.task->onCancel = [this] { factory.completeCancelled(); };
            return factory.task;
        }
        void invalidateAndCancel() override { ++factory.invalidations; }
        FakeUrlSessionFactory &factory;
    };

    [[nodiscard]] std::shared_ptr<UrlSession>
    sessionWithConfiguration(const UrlSessionConfiguration &configuration,
                             std::weak_ptr<UrlSessionDelegate> newDelegate) override
    {
        configurations.append(configuration);
        delegate = std::move(newDelegate);
        return std::make_shared<Session>(*this);
    }

    // The transfer's course. None reaches a delegate that has gone.
    std::optional<UrlResponseDisposition> respond(int status, const QString &text)
    {
        if (const auto strong = delegate.lock())
            return strong->didReceiveResponse(status, text);
        return std::nullopt;
    }
    void receive(const QByteArray &chunk)
    {
        if (const auto strong = delegate.lock())
            strong->didReceiveData(chunk);
    }
    void complete(const std::optional<UrlError> &error = {})
    {
        const auto kept = task;
        if (kept->current.exchange(UrlSessionTaskState::Completed) ==
            UrlSessionTaskState::Completed)
            return;
        if (const auto strong = delegate.lock())
            strong->didCompleteWithError(error);
    }
    void completeCancelled()
    {
        complete(UrlError{UrlError::Code::Cancelled, QStringLiteral("cancelled")});
    }

    bool completesOnCancel = true; ///< within cancel(); otherwise when the test says so
    QList<UrlSessionConfiguration> configurations;
    QStringList urls;
    std::weak_ptr<UrlSessionDelegate> delegate;
    std::shared_ptr<Task> task;
    std::atomic<int> invalidations = 0;
};
