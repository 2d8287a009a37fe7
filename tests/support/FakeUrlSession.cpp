#include "tests/support/FakeUrlSession.h"

#include <utility>

class FakeUrlSessionFactory::Task final : public UrlSessionTask
{
public:
    Task(FakeUrlSessionFactory *factory, std::shared_ptr<Transfer> transfer)
        : m_factory(factory), m_transfer(std::move(transfer))
    {
    }
    void resume() override
    {
        m_factory->m_transfers.append(m_transfer);
        if (m_factory->onResume)
            m_factory->onResume(m_factory->m_transfers.size() - 1);
    }
    void cancel() override
    {
        if (m_transfer->state != UrlSessionTaskState::Running)
            return;
        m_transfer->cancelled = true;
        m_transfer->state = UrlSessionTaskState::Completed;
        if (const auto delegate = m_transfer->delegate.lock()) {
            delegate->didCompleteWithError(
                UrlError{UrlError::Code::Cancelled, QStringLiteral("cancelled")});
        }
    }
    [[nodiscard]] UrlSessionTaskState state() const override { return m_transfer->state; }

private:
    FakeUrlSessionFactory *m_factory;
    std::shared_ptr<Transfer> m_transfer;
};

class FakeUrlSessionFactory::Session final : public UrlSession
{
public:
    Session(FakeUrlSessionFactory *factory, UrlSessionConfiguration configuration,
            std::weak_ptr<UrlSessionDelegate> delegate)
        : m_factory(factory)
        , m_configuration(std::move(configuration))
        , m_delegate(std::move(delegate))
    {
    }
    [[nodiscard]] std::shared_ptr<UrlSessionTask> dataTaskWithUrl(const QString &url) override
    {
        auto transfer = std::make_shared<Transfer>();
        transfer->url = url;
        transfer->configuration = m_configuration;
        transfer->delegate = m_delegate;
        m_task = std::make_shared<Task>(m_factory, transfer);
        return m_task;
    }
    void invalidateAndCancel() override
    {
        if (m_task)
            m_task->cancel();
    }

private:
    FakeUrlSessionFactory *m_factory;
    UrlSessionConfiguration m_configuration;
    std::weak_ptr<UrlSessionDelegate> m_delegate;
    std::shared_ptr<Task> m_task;
};

std::shared_ptr<UrlSession>
FakeUrlSessionFactory::sessionWithConfiguration(const UrlSessionConfiguration &configuration,
                                                std::weak_ptr<UrlSessionDelegate> delegate)
{
    return std::make_shared<Session>(this, configuration, std::move(delegate));
}

QStringList FakeUrlSessionFactory::urls() const
{
    QStringList result;
    for (const auto &transfer : m_transfers)
        result.append(transfer->url);
    return result;
}

const UrlSessionConfiguration &FakeUrlSessionFactory::configuration(qsizetype index) const
{
    return m_transfers.at(index)->configuration;
}

bool FakeUrlSessionFactory::isCancelled(qsizetype index) const
{
    return m_transfers.at(index)->cancelled;
}

void FakeUrlSessionFactory::answer(qsizetype index, const QByteArray &body)
{
    const auto transfer = m_transfers.at(index);
    const auto delegate = transfer->delegate.lock();
    if (!delegate || transfer->state != UrlSessionTaskState::Running)
        return;
    if (delegate->didReceiveResponse(200, QStringLiteral("no error")) ==
        UrlResponseDisposition::Allow) {
        delegate->didReceiveData(body);
    }
    transfer->state = UrlSessionTaskState::Completed;
    delegate->didCompleteWithError(std::nullopt);
}

void FakeUrlSessionFactory::fail(qsizetype index, const UrlError &error)
{
    const auto transfer = m_transfers.at(index);
    const auto delegate = transfer->delegate.lock();
    if (!delegate || transfer->state != UrlSessionTaskState::Running)
        return;
    transfer->state = UrlSessionTaskState::Completed;
    delegate->didCompleteWithError(error);
}
