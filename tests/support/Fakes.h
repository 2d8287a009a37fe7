#pragma once

#include "platform/Application.h"
#include "platform/Identity.h"
#include "platform/LogFile.h"
#include "platform/SecretInput.h"
#include "platform/StatusBar.h"
#include "platform/SystemInformation.h"
#include "platform/UserDefaultsStore.h"
#include "platform/UserNotificationCenter.h"
#include "platform/Workspace.h"

#include <QMap>
#include <QStringList>

#include <mutex>
#include <optional>

/// Keeps the lines that were logged.
class RecordingLogFile final : public LogFile
{
public:
    void append(const QString &path, QByteArrayView line) override;

    /// "[Type]: message" of each line, without the date and the line end.
    [[nodiscard]] QStringList lines() const;
    [[nodiscard]] QStringList rawLines() const;
    [[nodiscard]] QString lastPath() const;
    void clear();

private:
    mutable std::mutex m_lock;
    QStringList m_lines;
    QString m_path;
};

class FakeUserDefaults final : public UserDefaultsStore
{
public:
    [[nodiscard]] QString domain() const override { return domainName; }
    [[nodiscard]] std::optional<QVariant> objectForKey(const QString &key) override;
    QString domainName = QStringLiteral("com.zevrik.selfservice");
    QMap<QString, QVariant> values;
};

class FakeSystemInformation final : public SystemInformation
{
public:
    [[nodiscard]] QString operatingSystemVersionString() override { return version; }
    [[nodiscard]] QString bundleIdentifier() override
    {
        return QStringLiteral("com.zevrik.selfservice");
    }
    [[nodiscard]] QString cachesDirectory() override { return caches; }
    [[nodiscard]] bool isSecureTokenSupported() override { return secureTokenSupported; }
    [[nodiscard]] std::optional<bool> areArgumentsOpenToOthers() override
    {
        return argumentsOpenToOthers;
    }
    bool secureTokenSupported = true;
    std::optional<bool> argumentsOpenToOthers = false;
    QString version = QStringLiteral("Test System 1 (Linux 6.1)");
    QString caches = QStringLiteral("/Library/Caches");
};

class FakeIdentity final : public IdentityService
{
public:
    [[nodiscard]] QString userName() override { return name; }
    [[nodiscard]] QString accountName() override { return fullName.value_or(name); }
    [[nodiscard]] quint32 effectiveUserId() override { return userId; }
    [[nodiscard]] Result<std::optional<IdentityAccount>, IdentityError>
    accountWithId(quint32 id) override;
    [[nodiscard]] QList<quint32> groupsOf(const IdentityAccount &account) override;
    [[nodiscard]] Result<QList<IdentityRecord>, IdentityError>
    usersWithName(const QString &userName) override;
    [[nodiscard]] Result<QList<IdentityRecord>, IdentityError>
    groupsWithName(const QString &groupName) override;
    [[nodiscard]] bool isMember(const IdentityRecord &user, const IdentityRecord &group) override;

    QString name = QStringLiteral("jdoe");
    std::optional<QString> fullName; ///< what the account database calls him; absent: the same
    quint32 userId = 1000;
    /// What accountWithId() finds.
    QList<IdentityAccount> accounts{
        {QStringLiteral("jdoe"), 1000, 1000, QStringLiteral("/home/jdoe")}};
    QList<IdentityRecord> users;
    QList<IdentityRecord> groups;
    QList<std::pair<quint32, quint32>> memberships; ///< user id, group id
    std::optional<QString> userError;
    std::optional<QString> groupError;
};

/// Answers with the lines given, then as at the end of the input.
class FakeSecretInput final : public SecretInput
{
public:
    [[nodiscard]] Result<std::size_t, QString> readLine(const QString &prompt,
                                                        std::span<std::byte> line) override;
    QList<QByteArray> lines;
    QStringList prompts;
};

/// Delivers at once; a removal takes effect when the test says so.
class FakeNotificationCenter final : public UserNotificationCenter
{
public:
    void setDelegate(std::weak_ptr<UserNotificationCenterDelegate> newDelegate) override;
    void deliver(const UserNotification &notification) override;
    [[nodiscard]] QList<UserNotification> scheduledNotifications() override { return scheduled; }
    void removeScheduledNotification(const QString &identifier) override;
    [[nodiscard]] QList<UserNotification> deliveredNotifications() override { return delivered; }
    void removeDeliveredNotification(const QString &identifier) override;
    void removeAllDeliveredNotifications() override;

    /// The user clicks.
    void activate(const UserNotification &notification);
    /// Carries out the removals asked for, when `removesAtOnce` is off.
    void completeRemovals();

    std::weak_ptr<UserNotificationCenterDelegate> delegate;
    QList<UserNotification> scheduled;
    QList<UserNotification> delivered;
    QList<UserNotification> everDelivered;
    QStringList pendingRemovals;
    bool removesAtOnce = true;
    int removeAllCalls = 0;
};

class FakeStatusBar final : public StatusBar
{
public:
    [[nodiscard]] std::unique_ptr<StatusItem> squareStatusItem() override;

    /// The item shown last; null when none is shown.
    struct Item
    {
        QString image;
        std::function<void(StatusItemEvent)> action;
        std::function<Menu()> menuProvider;
        QList<Menu> poppedUp;
    };
    [[nodiscard]] std::shared_ptr<Item> item() const
    {
        return m_items.isEmpty() ? nullptr : m_items.last();
    }
    [[nodiscard]] qsizetype itemsShown() const { return m_items.size(); }
    int itemsMade = 0;

private:
    class Handle;
    QList<std::shared_ptr<Item>> m_items;
};

class FakeWorkspace final : public Workspace
{
public:
    bool openUrl(const QString &url) override;
    [[nodiscard]] std::optional<QImage> bundleImage(const QString &bundlePath,
                                                    const QString &imageName) override;
    [[nodiscard]] bool fileExists(const QString &path) override { return files.contains(path); }
    QStringList opened;
    QStringList files;
    QMap<QString, QImage> images; ///< by "bundle path:image name"
};

class FakeApplication final : public Application
{
public:
    void disableRelaunchOnLogin() override { relaunchDisabled = true; }
    void setDelegate(std::weak_ptr<ApplicationLifecycleDelegate> newDelegate) override
    {
        delegate = std::move(newDelegate);
    }
    void setTerminationSignalHandler(std::function<void()> handler) override
    {
        terminationHandler = std::move(handler);
    }
    void setResident(bool isResident) override { resident = isResident; }
    /// Tells the delegate of the launch, calls `duringRun`, and then of the termination.
    void run() override;
    void terminate() override { ++terminateCalls; }

    std::weak_ptr<ApplicationLifecycleDelegate> delegate;
    std::function<void()> terminationHandler;
    std::function<void()> duringRun;
    LaunchNotice notice;
    bool relaunchDisabled = false;
    bool resident = false;
    int terminateCalls = 0;
};
