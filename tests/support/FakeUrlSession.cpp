#include "tests/support/FakeUrlSession.h"

class FakeUrlSessionFactory::Session final : public UrlSession
{
public:
    Session(FakeUrlSessionFactory &factory, UrlSessionConfiguration configuration,
            std::weak_ptr<UrlSessionDelegate> delegate)
        : m_factory(factory)
        , m_configuration(std::move(configuration))
        , m_delegate(std::move(delegate))
    {
    }
    [[nodiscard]] std::shared_ptr<UrlSessionTask> dataTaskWithUrl(const QString &url) override
    {
        m_task = std::make_shared<FakeUrlTransfer>(m_factory, url, m_configuration, m_delegate);
        m_factory.m_transfers.append(m_task);
        return m_task;
    }
    void invalidateAndCancel() override
    {
        ++m_factory.invalidations;
        if (m_task)
            m_task->stop();
    }

private:
    FakeUrlSessionFactory &m_factory;
    const UrlSessionConfiguration m_configuration;
    const std::weak_ptr<UrlSessionDelegate> m_delegate;
    std::shared_ptr<FakeUrlTransfer> m_task;
};

FakeUrlTransfer::FakeUrlTransfer(FakeUrlSessionFactory &factory, QString address,
                                 UrlSessionConfiguration settings,
                                 std::weak_ptr<UrlSessionDelegate> listener)
    : url(std::move(address))
    , configuration(std::move(settings))
    , delegate(std::move(listener))
    , m_factory(factory)
{
}

void FakeUrlTransfer::resume()
{
    resumed = true;
    if (m_factory.startError)
        complete(m_factory.startError);
    else if (m_factory.onResume)
        m_factory.onResume(m_factory.m_transfers.size() - 1);
}

void FakeUrlTransfer::cancel()
{
    ++cancels;
    stop();
}

void FakeUrlTransfer::stop()
{
    auto running = UrlSessionTaskState::Running;
    if (!current.compare_exchange_strong(running, UrlSessionTaskState::Canceling))
        return;
    cancelled = true;
    if (m_factory.completesOnCancel)
        completeCancelled();
}

std::optional<UrlResponseDisposition> FakeUrlTransfer::respond(int status, const QString &text)
{
    if (const auto strong = delegate.lock())
        return strong->didReceiveResponse(status, text);
    return std::nullopt;
}

void FakeUrlTransfer::receive(const QByteArray &chunk)
{
    if (const auto strong = delegate.lock())
        strong->didReceiveData(chunk);
}

void FakeUrlTransfer::complete(const std::optional<UrlError> &error)
{
    if (current.exchange(UrlSessionTaskState::Completed) == UrlSessionTaskState::Completed)
        return;
    if (const auto strong = delegate.lock())
        strong->didCompleteWithError(error);
}

void FakeUrlTransfer::completeCancelled()
{
    complete(UrlError{UrlError::Code::Cancelled, QStringLiteral("cancelled")});
}

std::shared_ptr<UrlSession>
FakeUrlSessionFactory::sessionWithConfiguration(const UrlSessionConfiguration &configuration,
                                                std::weak_ptr<UrlSessionDelegate> delegate)
{
    return std::make_shared<Session>(*this, configuration, std::move(delegate));
}

QStringList FakeUrlSessionFactory::urls() const
{
    QStringList result;
    for (const auto &transfer : m_transfers) {
        if (transfer->resumed)
            result.append(transfer->url);
    }
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
    if (transfer->state() != UrlSessionTaskState::Running)
        return;
    if (transfer->respond(200, QStringLiteral("no error")) == UrlResponseDisposition::Allow)
        transfer->receive(body);
    transfer->complete();
}

void FakeUrlSessionFactory::fail(qsizetype index, const UrlError &error)
{
    const auto transfer = m_transfers.at(index);
    if (transfer->state() == UrlSessionTaskState::Running)
        transfer->complete(error);
}
