#pragma once

#include "tests/support/FakePlatform.h"
#include "tests/support/FakeUrlSession.h"
#include "web/SSWebDownloader.h"
#include "web/SSWebDownloaderDelegate.h"

#include <functional>
#include <memory>
#include <optional>

using Text = std::optional<QString>;

inline const QString url = QStringLiteral("http://h/x");

/// A target of the downloader: counts its calls, and answers them with `onHeard`.
class Listener : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE void heard(QObject *sender)
    {
        ++calls;
        last = sender;
        if (onHeard)
            onHeard(qobject_cast<SSWebDownloader *>(sender));
    }
    int calls = 0;
    QObject *last = nullptr;
    std::function<void(SSWebDownloader *)> onHeard;
};

/// A platform of fakes whose transfers the test brings on, and a target for them.
struct World : FakePlatform
{
    World() { platform.urlSessions = web; }
    [[nodiscard]] std::shared_ptr<SSWebDownloader> download(const Text &proxy = {}) const
    {
        return SSWebDownloader::initWithURL(url, proxy, listener, "heard");
    }
    [[nodiscard]] QStringList errors() const
    {
        return log->lines().filter(QStringLiteral("[Error]"));
    }
    /// What a transfer of this body gives.
    [[nodiscard]] Text textOf(const QList<QByteArray> &chunks) const
    {
        const auto downloader = download();
        Text text;
        listener->onHeard = [&](SSWebDownloader *sender) { text = sender->result(); };
        (void)web->latest()->respond(200, QStringLiteral("no error"));
        for (const QByteArray &chunk : chunks)
            web->latest()->receive(chunk);
        web->latest()->complete();
        return text;
    }
    std::shared_ptr<FakeUrlSessionFactory> web = std::make_shared<FakeUrlSessionFactory>();
    std::shared_ptr<Listener> listener = makeSharedObject<Listener>();
};
