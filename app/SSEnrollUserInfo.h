#pragma once

#include "foundation/SSTargetAction.h"

#include <QMap>
#include <QObject>
#include <QString>

#include <memory>
#include <mutex>
#include <optional>

class SSTraySettings;
class SSUserInfo;
class SSWebDownloader;

/// One question to the web interface: must this user still enroll? The answer is a text of lines
/// "name = value"; the target is called when it is in, or has failed, on the thread on which the
/// download completed. A failed download reads as an answer that asks to be asked again.
class SSEnrollUserInfo : public QObject, public std::enable_shared_from_this<SSEnrollUserInfo>
{
    Q_OBJECT
public:
    /// Starts the request at once; null when it could not be started. `action` names an invokable
    /// of the target with the query (a QObject) as its one argument.
    [[nodiscard]] static std::shared_ptr<SSEnrollUserInfo>
    initWithSettings(const SSTraySettings &settings, const SSUserInfo &userInfo,
                     std::weak_ptr<QObject> target, QByteArray action);
    /// A query over an answer that is there already, such as one kept in a file.
    [[nodiscard]] static std::shared_ptr<SSEnrollUserInfo>
    initWithAnswer(const std::optional<QString> &text);
    ~SSEnrollUserInfo() override;

    /// Starts the download; refused while one is running.
    bool checkNeedUserEnroll();
    /// Cancels the download; the target is not called afterwards.
    void terminate();
    /// As terminate(), and forgets the request, the answer and the target.
    void terminste(); // the name's spelling is kept

    void parseResult(const std::optional<QString> &text);

    [[nodiscard]] std::optional<QString> stringValueForKey(const QString &key) const;
    /// Whether the answer said nothing of the user, so that it must be asked for again.
    [[nodiscard]] bool needReckeck() const;
    [[nodiscard]] bool isUserEnrolled() const;
    /// What the web interface says went wrong with finding out.
    [[nodiscard]] std::optional<QString> error() const;

    [[nodiscard]] std::optional<QString> url() const { return m_url; }
    [[nodiscard]] std::optional<QString> proxy() const { return m_proxy; }
    /// The answer, by key in lower case.
    [[nodiscard]] QMap<QString, QString> params() const { return m_params; }

    Q_INVOKABLE void onWebDownloader(QObject *downloader);

private:
    template<typename T, typename... Arguments>
    friend std::shared_ptr<T> makeSharedObject(Arguments &&...arguments);
    SSEnrollUserInfo() = default;

    void performAction();
    void stopWebDownloader();

    std::optional<QString> m_url;
    std::optional<QString> m_proxy;
    QMap<QString, QString> m_params;
    SSTargetAction m_targetAction;
    // A download may complete before its creation here has returned: on its own thread, which waits
    // for that, or on this one.
    std::recursive_mutex m_downloaderLock;
    std::shared_ptr<SSWebDownloader> m_webDownloader;
    bool m_completedEarly = false; ///< within the creation, on its own thread
};
