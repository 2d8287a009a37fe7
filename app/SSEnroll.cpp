#include "app/SSEnroll.h"

#include "app/SSEnrollUserInfo.h"
#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
#include "directory/SSUserInfo.h"
#include "directory/SSUserInfoHelper.h"
#include "filevault/SSSecureTokenUpdate.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "foundation/SSTargetAction.h"
#include "foundation/SSUtils.h"
#include "platform/Application.h"
#include "platform/Identity.h"
#include "platform/Platform.h"
#include "security/SSSecureData.h"
#include "settings/SSLogonSettings.h"
#include "settings/SSTraySettings.h"

#include <utility>

namespace {
constexpr double loadSettingsSeconds = 10;
constexpr double watchdogSeconds = 60;
constexpr qint32 retries = 6; // after the first attempt
} // namespace

std::shared_ptr<SSEnroll>
SSEnroll::initWithNotification(const std::optional<UserNotification> &notification,
                               std::shared_ptr<SSEnroll> *keeper)
{
    auto enroll = makeSharedObject<SSEnroll>(notification);
    if (keeper)
        *keeper = enroll;
    // A later click reaches this process, which never shows a notification of its own.
    if (notification)
        Platform::current().notificationCenter->setDelegate(enroll);
    enroll->processNotification();
    return enroll;
}

SSEnroll::SSEnroll(const std::optional<UserNotification> &notification)
    : m_enrollFlow({[this] { return startEnrollInitialTimer(); },
                    [this] { return startEnrollTimer(); }, [this] { checkTerminateApplication(); },
                    [](quint64 stage) {
                        SSLog(1, SSMessageType::Error, "Something wrong with enrollment stage: %lu",
                              stage);
                    }})
    , m_passwordChangedFlow({[this] { return startPasswordChangedInitialTimer(); },
                             [this] { return startPasswordChangedTimer(); },
                             [this] { checkTerminateApplication(); },
                             [this](quint64) {
                                 // The other flow's stage, on purpose.
                                 SSLog(1, SSMessageType::Error,
                                       "Something wrong with enrollment stage: %lu", stageEnroll());
                             }})
    , m_notification(notification)
{
    if (notification)
        m_waitingClicks.append(*notification);
}

SSEnroll::~SSEnroll() = default;

void SSEnroll::processNotification()
{
    const SSFunctionLog scope("-[SSEnroll processNotification]");
    if (!m_notification) {
        removeAllNotificationsSync();
        preprocessPasswordChangedNotification();
        preprocessEnrollNotification();
        m_settingsPasswordChangedCached = SSLogonSettings::settingsFromCache();
        if (m_settingsPasswordChangedCached && needProcessPasswordChanged())
            updatePasswordChangedStage(SSStage::Initial);
        if (checkTerminateApplication())
            return;
    }
    loadSettingsAndProcessNotification();
    startWatchDogTimer();
}

void SSEnroll::preprocessEnrollNotification()
{
    const SSFunctionLog scope("-[SSEnroll preprocessEnrollNotification]");
    if (!needProcessEnroll()) {
        SSLog(1, SSMessageType::Error, "Unexpected enroll stage: %lu", stageEnroll());
        return;
    }
    if (!SSUserInfoHelper::isEnrollCapableUser(Platform::current().identity->userName()))
        updateEnrollStage(SSStage::Done);
}

bool SSEnroll::loadSettings()
{
    const SSFunctionLog scope("-[SSEnroll loadSettings]");
    const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
    if (!keywords)
        return false;
    m_settingsEnroll = std::make_unique<SSTraySettings>();
    m_settingsPasswordChanged = std::make_unique<SSLogonSettings>();
    m_settingsEnroll->loadFromConnectionPointKeywords(keywords.get());
    m_settingsPasswordChanged->loadFromConnectionPointKeywords(keywords.get());
    if (!m_settingsPasswordChanged->compare(m_settingsPasswordChangedCached.get(), false)) {
        keepKeys();
        m_settingsPasswordChanged->save();
    }
    m_userInfo = std::make_unique<SSUserInfo>(Platform::current().identity->userName());
    return true;
}

void SSEnroll::keepKeys()
{
    // Root writes the key file as well, and the directory knows the public key alone. A session key
    // belongs to the public key that it was ciphered with. The settings file has no say in this:
    // anybody may write it.
    const auto cached = SSLogonSettings::keysFromCache();
    if (!cached)
        return;
    m_settingsPasswordChanged->updateComputerRID(cached->computerRID());
    if (SSUtils::isEqualEx(m_settingsPasswordChanged->configurationSetPublicKey(),
                           cached->configurationSetPublicKey())) {
        m_settingsPasswordChanged->copySessionKeyFromSettings(cached.get());
    }
}

void SSEnroll::loadSettingsAndProcessNotification()
{
    const SSFunctionLog scope("-[SSEnroll loadSettingsAndProcessNotification]");
    if (loadSettings()) {
        if (m_notification) {
            processWaitingClicks();
            return;
        }
        if (!m_settingsPasswordChangedCached && needProcessPasswordChanged())
            updatePasswordChangedStage(SSStage::Initial);
        if (needProcessEnroll())
            updateEnrollStage(SSStage::Initial);
        checkTerminateApplication();
        return;
    }
    if (m_tryCount++ < retries) {
        startLoadSettingsTimer();
        return;
    }
    SSLog(1, SSMessageType::Error, "Enroll: Unable retrieve settings from Active Directory.");
    m_waitingClicks.clear();
    // A process launched by a click has not looked for the cache before.
    if (m_notification && !m_settingsPasswordChangedCached)
        m_settingsPasswordChangedCached = SSLogonSettings::settingsFromCache();
    if (m_settingsPasswordChangedCached)
        checkTerminateApplication();
    else
        terminateApplication();
}

const SSLogonSettings *SSEnroll::loginSettings() const
{
    return m_settingsPasswordChanged ? m_settingsPasswordChanged.get()
                                     : m_settingsPasswordChangedCached.get();
}

RunLoop::TimerHandler SSEnroll::timerHandler(void (SSEnroll::*operation)(const RunLoopTimer *))
{
    return [weak = weak_from_this(), operation](const RunLoopTimer *firing) {
        if (const auto self = weak.lock())
            (self.get()->*operation)(firing);
    };
}

void SSEnroll::startLoadSettingsTimer()
{
    const SSFunctionLog scope("-[SSEnroll startLoadSettingsTimer]");
    stopLoadSettingsTimer();
    m_loadSettingsTimer = Platform::current().runLoop->scheduleTimer(
        loadSettingsSeconds, timerHandler(&SSEnroll::onLoadSettingsTimer));
}

void SSEnroll::stopLoadSettingsTimer()
{
    const SSFunctionLog scope("-[SSEnroll stopLoadSettingsTimer]");
    if (m_loadSettingsTimer)
        m_loadSettingsTimer->invalidate();
    m_loadSettingsTimer.reset();
}

void SSEnroll::onLoadSettingsTimer(const RunLoopTimer *timer)
{
    const SSFunctionLog scope("-[SSEnroll onLoadSettingsTimer:]");
    if (timer != m_loadSettingsTimer.get())
        return;
    stopLoadSettingsTimer();
    loadSettingsAndProcessNotification();
}

void SSEnroll::updateEnrollStage(quint64 stage)
{
    const SSFunctionLog scope("-[SSEnroll updateEnrollStage:]");
    // A process launched by a click never changes its stages.
    if (!m_notification)
        m_enrollFlow.updateStage(stage);
}

bool SSEnroll::startEnrollInitialTimer()
{
    const SSFunctionLog scope("-[SSEnroll startEnrollInitialTimer]");
    stopEnrollTimer();
    return m_enrollFlow.armInitialTimer(m_settingsEnroll && m_settingsEnroll->enrollEnabled(),
                                        timerHandler(&SSEnroll::onEnrollInitialTimer));
}

bool SSEnroll::startEnrollTimer()
{
    const SSFunctionLog scope("-[SSEnroll startEnrollTimer]");
    stopEnrollTimer();
    return m_enrollFlow.armReminderTimer(
        m_settingsEnroll && m_settingsEnroll->enrollEnabled(),
        m_settingsEnroll ? m_settingsEnroll->enrollNotificationIntervalsMins() : 0,
        timerHandler(&SSEnroll::onEnrollTimer));
}

void SSEnroll::stopEnrollTimer()
{
    const SSFunctionLog scope("-[SSEnroll stopEnrollTimer]");
    m_enrollFlow.stopTimer();
}

void SSEnroll::onEnrollInitialTimer(const RunLoopTimer *timer)
{
    const SSFunctionLog scope("-[SSEnroll onEnrollInitialTimer:]");
    if (!m_enrollFlow.isCurrentTimer(timer))
        return;
    stopEnrollTimer();
    startQuery("onUserEnrollmentInitialInfo");
}

void SSEnroll::onEnrollTimer(const RunLoopTimer *timer)
{
    const SSFunctionLog scope("-[SSEnroll onEnrollTimer:]");
    if (!m_enrollFlow.isCurrentTimer(timer))
        return;
    stopEnrollTimer();
    startQuery("onUserEnrollmentInfo");
}

void SSEnroll::startQuery(const char *action)
{
    if (m_userEnrolmentInfo)
        m_userEnrolmentInfo->terminate();
    m_userEnrolmentInfo.reset();
    if (m_settingsEnroll && m_userInfo) {
        m_userEnrolmentInfo = SSEnrollUserInfo::initWithSettings(*m_settingsEnroll, *m_userInfo,
                                                                 weak_from_this(), action);
    }
}

void SSEnroll::handOverQuery(QObject *query, void (SSEnroll::*operation)())
{
    // Not by its address: a query that has gone meanwhile may have given it to the next one.
    std::weak_ptr<SSEnrollUserInfo> finished;
    if (auto *own = qobject_cast<SSEnrollUserInfo *>(query))
        finished = own->weak_from_this();
    Platform::current().runLoop->performOnMainThread(
        [weak = weak_from_this(), finished = std::move(finished), operation] {
            const auto self = weak.lock();
            const auto current = finished.lock();
            if (self && current && self->m_userEnrolmentInfo == current)
                (self.get()->*operation)();
        });
}

void SSEnroll::onUserEnrollmentInitialInfo(QObject *query)
{
    const SSFunctionLog scope("-[SSEnroll onUserEnrollmentInitialInfo:]");
    handOverQuery(query, &SSEnroll::onUserEnrollmentInitialInfoImpl);
}

void SSEnroll::onUserEnrollmentInfo(QObject *query)
{
    const SSFunctionLog scope("-[SSEnroll onUserEnrollmentInfo:]");
    handOverQuery(query, &SSEnroll::onUserEnrollmentInfoImpl);
}

void SSEnroll::onUserEnrollmentInitialInfoImpl()
{
    const SSFunctionLog scope("-[SSEnroll onUserEnrollmentInitialInfo]");
    if (m_userEnrolmentInfo->needReckeck())
        updateEnrollStage(SSStage::Initial);
    else if (m_userEnrolmentInfo->isUserEnrolled() || !showEnrollNotification())
        updateEnrollStage(SSStage::Done);
    else
        updateEnrollStage(m_settingsEnroll->enrollNotificationIntervalsMins() < 1
                              ? SSStage::Done
                              : SSStage::Reminding);
}

void SSEnroll::onUserEnrollmentInfoImpl()
{
    const SSFunctionLog scope("-[SSEnroll onUserEnrollmentInfo]");
    const bool finished = !m_userEnrolmentInfo->needReckeck() &&
                          (m_userEnrolmentInfo->isUserEnrolled() || !showEnrollNotification());
    updateEnrollStage(finished ? SSStage::Done : SSStage::Reminding);
}

bool SSEnroll::startWatchDogTimer()
{
    const SSFunctionLog scope("-[SSEnroll startWatchDogTimer]");
    stopWatchdogTimer();
    m_watchdogTimer = Platform::current().runLoop->scheduleTimer(
        watchdogSeconds, timerHandler(&SSEnroll::onWatchdogTimer));
    return true;
}

void SSEnroll::stopWatchdogTimer()
{
    const SSFunctionLog scope("-[SSEnroll stopWatchdogTimer]");
    if (m_watchdogTimer)
        m_watchdogTimer->invalidate();
    m_watchdogTimer.reset();
}

void SSEnroll::onWatchdogTimer(const RunLoopTimer *timer)
{
    const SSFunctionLog scope("-[SSEnroll onWatchdogTimer:]");
    if (timer != m_watchdogTimer.get())
        return;
    stopWatchdogTimer();
    if (!checkTerminateApplication())
        startWatchDogTimer();
}

bool SSEnroll::checkTerminateApplication()
{
    const SSFunctionLog scope("-[SSEnroll checkTerminateApplication]");
    UserNotificationCenter &center = *Platform::current().notificationCenter;
    if (stageEnroll() != SSStage::Done || stagePasswordChanged() != SSStage::Done || m_statusItem ||
        !center.deliveredNotifications().isEmpty() || !center.scheduledNotifications().isEmpty()) {
        return false;
    }
    terminateApplication();
    return true;
}

void SSEnroll::terminateApplication()
{
    const SSFunctionLog scope("-[SSEnroll terminateApplication]");
    terminate();
    Platform::current().application->terminate();
}

void SSEnroll::terminate()
{
    const SSFunctionLog scope("-[SSEnroll terminate]");
    if (const auto update = m_secureTokenUpdate.lock())
        update->abort();
    stopLoadSettingsTimer();
    stopEnrollTimer();
    stopPasswordChangedTimer();
    stopWatchdogTimer();
    removeMenuBarExtras();
    removeAllNotificationsAsync();
    if (m_userEnrolmentInfo)
        m_userEnrolmentInfo->terminate();
    m_enrollFlow.abandon();
    m_passwordChangedFlow.abandon();
    m_userInfo.reset();
    m_settingsEnroll.reset();
    m_settingsPasswordChanged.reset();
    m_settingsPasswordChangedCached.reset();
    m_userEnrolmentInfo.reset();
    m_notification.reset();
    m_waitingClicks.clear();
}
