#pragma once

#include "platform/linux/web/LinuxUrlSession.h"

#include <QNetworkReply>
#include <QUrl>

class LinuxUrlTask;
class QEventLoop;
class QNetworkAccessManager;
class QTimer;

struct LinuxUrlTransferSettings
{
    LinuxUrlSessionLimits limits;
    std::optional<UrlProxyDictionary> proxies;
    DiagnosticSink diagnostics;
};

/// One GET from its start to its end, on the thread that calls run().
class LinuxUrlTransfer
{
public:
    LinuxUrlTransfer(LinuxUrlTask &task, const LinuxUrlTransferSettings &settings,
                     std::weak_ptr<UrlSessionDelegate> delegate);

    /// Returns when the delegate has been told of the end.
    void run();

    /// Sets the task completed and tells the delegate.
    static void complete(LinuxUrlTask &task, const std::weak_ptr<UrlSessionDelegate> &delegate,
                         const std::optional<UrlError> &error);

private:
    [[nodiscard]] std::optional<UrlError> transfer(const QUrl &url);
    /// One request of possibly several: an answer that redirects leaves its address in m_redirect.
    void exchange(QNetworkAccessManager &manager, const QUrl &url);
    void redirect(const QUrl &from, const QByteArray &location);
    void watch(QNetworkReply &reply, QEventLoop &loop, QTimer &stall);
    void readHead(QNetworkReply &reply);
    void readBody(QNetworkReply &reply);
    void finished(QNetworkReply &reply);
    void fail(UrlError::Code code, const QString &description);
    void failTooLarge();

    LinuxUrlTask &m_task;
    const LinuxUrlTransferSettings &m_settings;
    const std::weak_ptr<UrlSessionDelegate> m_delegate;
    QEventLoop *m_loop = nullptr;
    std::optional<UrlError> m_error;
    std::optional<QUrl> m_redirect;
    bool m_headRead = false;
    bool m_ended = false;
    qint64 m_received = 0;
};
