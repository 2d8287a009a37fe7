#include "app/SSEnrollUserInfo.h"

#include "directory/SSUserInfo.h"
#include "foundation/SSLogger.h"
#include "foundation/SSStringHelper.h"
#include "foundation/SSUtils.h"
#include "settings/SSTraySettings.h"
#include "web/SSWebDownloader.h"

#include <utility>

namespace {

const QString needPssEnrollKey = QStringLiteral("NeedPssEnroll");
const QString getPssDataErrorKey = QStringLiteral("GetPssDataError");

QString normalisedKey(const QString &key)
{
    return SSHelper::stringByTrimmingWhitespaceAndNewlineCharacters(key).toLower();
}

} // namespace

std::shared_ptr<SSEnrollUserInfo> SSEnrollUserInfo::initWithSettings(const SSTraySettings &settings,
                                                                     const SSUserInfo &userInfo,
                                                                     std::weak_ptr<QObject> target,
                                                                     QByteArray action)
{
    auto query = makeSharedObject<SSEnrollUserInfo>();
    query->m_url = SSUtils::clientInfoUrlWithBaseUrlString(
        settings.enrollWebUiUrl(),
        userInfo.legacyLogonNameWithAppleMetaNodeLocation(settings.appleMetaNodeLocation()));
    query->m_proxy = settings.enrollProxy();
    query->m_targetAction = SSTargetAction(std::move(target), std::move(action));
    return query->checkNeedUserEnroll() ? query : nullptr;
}

std::shared_ptr<SSEnrollUserInfo>
SSEnrollUserInfo::initWithAnswer(const std::optional<QString> &text)
{
    auto query = makeSharedObject<SSEnrollUserInfo>();
    query->parseResult(text);
    return query;
}

SSEnrollUserInfo::~SSEnrollUserInfo()
{
    terminate();
}

bool SSEnrollUserInfo::checkNeedUserEnroll()
{
    std::shared_ptr<SSWebDownloader> started;
    bool completed = false;
    {
        const std::lock_guard guard(m_downloaderLock);
        if (m_webDownloader) {
            SSLog(1, SSMessageType::Error, "SSEnrollUserInfo web downloader is already started.");
            return false;
        }
        m_completedEarly = false;
        m_webDownloader =
            SSWebDownloader::initWithURL(m_url, m_proxy, weak_from_this(), "onWebDownloader");
        started = m_webDownloader;
        completed = m_completedEarly;
    }
    if (!started)
        return false;
    if (completed)
        onWebDownloader(started.get());
    return true;
}

void SSEnrollUserInfo::onWebDownloader(QObject *downloader)
{
    std::shared_ptr<SSWebDownloader> current;
    {
        const std::lock_guard guard(m_downloaderLock);
        current = m_webDownloader;
        // Another thread cannot hold the lock while the creation does.
        m_completedEarly = !current;
    }
    if (!current || current.get() != downloader)
        return;
    parseResult(current->result());
    stopWebDownloader();
    performAction();
}

void SSEnrollUserInfo::parseResult(const std::optional<QString> &text)
{
    QMap<QString, QString> params;
    const QString all = text.value_or(QString());
    for (qsizetype start = 0; start < all.size();) {
        qsizetype end = start;
        while (end < all.size() && !SSHelper::isLineEnd(all.at(end)))
            ++end;
        const QString line = all.mid(start, end - start);
        start = end + 1;
        if (line.isEmpty())
            continue;
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        const QString key = normalisedKey(equals < 0 ? line : line.left(equals));
        if (equals < 0)
            params.remove(key);
        else
            params.insert(key, SSHelper::stringByTrimmingWhitespaceAndNewlineCharacters(
                                   line.mid(equals + 1)));
    }
    m_params = params;
}

std::optional<QString> SSEnrollUserInfo::stringValueForKey(const QString &key) const
{
    const auto it = m_params.constFind(normalisedKey(key));
    if (it == m_params.cend())
        return std::nullopt;
    return *it;
}

bool SSEnrollUserInfo::needReckeck() const
{
    return !stringValueForKey(needPssEnrollKey) && !stringValueForKey(getPssDataErrorKey);
}

bool SSEnrollUserInfo::isUserEnrolled() const
{
    const std::optional<QString> value = stringValueForKey(needPssEnrollKey);
    if (!value)
        return false;
    // Only "true" asks the user to enroll: "yes" and "1" count as enrolled, and stay so.
    return value->compare(QLatin1String("true"), Qt::CaseInsensitive) != 0;
}

std::optional<QString> SSEnrollUserInfo::error() const
{
    return stringValueForKey(getPssDataErrorKey);
}

void SSEnrollUserInfo::performAction()
{
    switch (m_targetAction.perform(this)) {
    case SSTargetAction::Outcome::Called:
    case SSTargetAction::Outcome::NothingSet:
        break;
    case SSTargetAction::Outcome::TargetMissing:
        SSLog(1, SSMessageType::Error, "SSEnrollUserInfo target is not assigned.");
        break;
    case SSTargetAction::Outcome::ActionMissing:
        SSLog(1, SSMessageType::Error, "SSEnrollUserInfo action is not assigned.");
        break;
    case SSTargetAction::Outcome::OperationMissing:
        // "selctor" is the message's own spelling.
        SSLog(1, SSMessageType::Error, "selctor %@ is not found in SSEnrollUserInfo target class.",
              m_targetAction.action());
        break;
    }
}

void SSEnrollUserInfo::stopWebDownloader()
{
    std::shared_ptr<SSWebDownloader> stopped;
    {
        const std::lock_guard guard(m_downloaderLock);
        stopped.swap(m_webDownloader);
    }
    if (stopped)
        stopped->unsubscribe();
}

void SSEnrollUserInfo::terminate()
{
    stopWebDownloader();
}

void SSEnrollUserInfo::terminste()
{
    stopWebDownloader();
    m_url.reset();
    m_proxy.reset();
    m_params.clear();
    m_targetAction.clear();
}
