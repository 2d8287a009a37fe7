#pragma once

#include "web/SSRevocableAction.h"

#include <QObject>

#include <memory>
#include <optional>

class SSWebDownloaderDelegate;

/// Fetches one URL, once, and tells a target when the text is there or has failed. Any thread; the
/// target is called at most once, on the transfer's background thread, with the downloader as the
/// argument.
class SSWebDownloader final : public QObject
{
    Q_OBJECT
public:
    /// Starts the transfer at once; null when it could not be started. Neither a target nor an
    /// action: nobody is told.
    [[nodiscard]] static std::shared_ptr<SSWebDownloader>
    initWithURL(const std::optional<QString> &url, const std::optional<QString> &proxy,
                std::weak_ptr<QObject> target, QByteArray action);
    /// Fetches and waits; the text, absent after a failure.
    [[nodiscard]] static std::optional<QString>
    downloadWithURL(const std::optional<QString> &url, const std::optional<QString> &proxy);
    /// Unsubscribes.
    ~SSWebDownloader() override;

    /// Waits for the end of the transfer; the text, absent after a failure or an unsubscription. It
    /// stays after the target was told.
    [[nodiscard]] std::optional<QString> result();

    /// The delegate's end of transfer.
    Q_INVOKABLE void onAction(QObject *delegate);
    void performAction();

    /// Ends the transfer and waits for its end. When it returns, the target is not being called and
    /// will not be; from inside the target's operation it returns at once. The caller holds no lock
    /// that the target's operation takes.
    void unsubscribe();

private:
    template<typename T, typename... Arguments>
    friend std::shared_ptr<T> makeSharedObject(Arguments &&...arguments);
    SSWebDownloader(std::weak_ptr<QObject> target, QByteArray action);
    [[nodiscard]] std::shared_ptr<SSWebDownloaderDelegate> delegate() const;

    SSRevocableAction m_action;
    mutable std::mutex m_lock; ///< guards what follows
    std::shared_ptr<SSWebDownloaderDelegate> m_delegate;
    std::optional<QString> m_result; ///< once the delegate is dropped
};
