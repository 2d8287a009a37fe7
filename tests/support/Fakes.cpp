#include "tests/support/Fakes.h"

#include <cstring>

#include <utility>

void RecordingLogFile::append(const QString &path, QByteArrayView line)
{
    const std::lock_guard guard(m_lock);
    m_path = path;
    m_lines.append(QString::fromUtf8(line));
}

QStringList RecordingLogFile::rawLines() const
{
    const std::lock_guard guard(m_lock);
    return m_lines;
}

QStringList RecordingLogFile::lines() const
{
    QStringList result;
    for (const QString &line : rawLines())
        result.append(line.mid(line.indexOf(QLatin1Char('['))).chopped(1));
    return result;
}

QString RecordingLogFile::lastPath() const
{
    const std::lock_guard guard(m_lock);
    return m_path;
}

void RecordingLogFile::clear()
{
    const std::lock_guard guard(m_lock);
    m_lines.clear();
}

std::optional<QVariant> FakeUserDefaults::objectForKey(const QString &key)
{
    const auto it = values.constFind(key);
    if (it == values.cend())
        return std::nullopt;
    return *it;
}

namespace {
QList<IdentityRecord> named(const QList<IdentityRecord> &records, const QString &name)
{
    QList<IdentityRecord> result;
    for (const IdentityRecord &record : records) {
        if (record.name == name)
            result.append(record);
    }
    return result;
}
} // namespace

Result<std::optional<IdentityAccount>, IdentityError> FakeIdentity::accountWithId(quint32 id)
{
    if (userError)
        return Failure{IdentityError{*userError}};
    for (const IdentityAccount &account : std::as_const(accounts)) {
        if (account.userId == id)
            return std::optional(account);
    }
    return std::optional<IdentityAccount>();
}

QList<quint32> FakeIdentity::groupsOf(const IdentityAccount &account)
{
    QList<quint32> result{account.groupId};
    for (const auto &[member, group] : std::as_const(memberships)) {
        if (member == account.userId)
            result.append(group);
    }
    return result;
}

Result<QList<IdentityRecord>, IdentityError> FakeIdentity::usersWithName(const QString &userName)
{
    if (userError)
        return Failure{IdentityError{*userError}};
    return named(users, userName);
}

Result<QList<IdentityRecord>, IdentityError> FakeIdentity::groupsWithName(const QString &groupName)
{
    if (groupError)
        return Failure{IdentityError{*groupError}};
    return named(groups, groupName);
}

bool FakeIdentity::isMember(const IdentityRecord &user, const IdentityRecord &group)
{
    return memberships.contains(std::pair(user.id, group.id));
}

void FakeNotificationCenter::setDelegate(std::weak_ptr<UserNotificationCenterDelegate> newDelegate)
{
    delegate = std::move(newDelegate);
}

void FakeNotificationCenter::deliver(const UserNotification &notification)
{
    delivered.removeIf(
        [&](const UserNotification &old) { return old.identifier == notification.identifier; });
    delivered.append(notification);
    everDelivered.append(notification);
}

void FakeNotificationCenter::removeScheduledNotification(const QString &identifier)
{
    scheduled.removeIf([&](const UserNotification &old) { return old.identifier == identifier; });
}

void FakeNotificationCenter::removeDeliveredNotification(const QString &identifier)
{
    pendingRemovals.append(identifier);
    if (removesAtOnce)
        completeRemovals();
}

void FakeNotificationCenter::removeAllDeliveredNotifications()
{
    ++removeAllCalls;
    const QList<UserNotification> all = delivered;
    for (const UserNotification &notification : all)
        removeDeliveredNotification(notification.identifier);
}

void FakeNotificationCenter::activate(const UserNotification &notification)
{
    if (const auto strong = delegate.lock())
        strong->didActivateNotification(notification);
}

void FakeNotificationCenter::completeRemovals()
{
    delivered.removeIf(
        [&](const UserNotification &old) { return pendingRemovals.contains(old.identifier); });
    pendingRemovals.clear();
}

class FakeStatusBar::Handle final : public StatusItem
{
public:
    Handle(FakeStatusBar *bar, std::shared_ptr<Item> item) : m_bar(bar), m_item(std::move(item)) {}
    ~Handle() override { m_bar->m_items.removeOne(m_item); }
    void setImage(const QString &imageName) override { m_item->image = imageName; }
    void setAction(std::function<void(StatusItemEvent)> action) override
    {
        m_item->action = std::move(action);
    }
    void setMenuProvider(std::function<Menu()> provider) override
    {
        m_item->menuProvider = std::move(provider);
    }
    void popUpMenu(const Menu &menu) override { m_item->poppedUp.append(menu); }

private:
    FakeStatusBar *m_bar;
    std::shared_ptr<Item> m_item;
};

std::unique_ptr<StatusItem> FakeStatusBar::squareStatusItem()
{
    ++itemsMade;
    m_items.append(std::make_shared<Item>());
    return std::make_unique<Handle>(this, m_items.last());
}

bool FakeWorkspace::openUrl(const QString &url)
{
    opened.append(url);
    return true;
}

std::optional<QImage> FakeWorkspace::bundleImage(const QString &bundlePath,
                                                 const QString &imageName)
{
    const auto it = images.constFind(bundlePath + QLatin1Char(':') + imageName);
    if (it == images.cend())
        return std::nullopt;
    return *it;
}

void FakeApplication::run()
{
    if (const auto strong = delegate.lock())
        strong->applicationDidFinishLaunching(notice);
    if (duringRun)
        duringRun();
    if (const auto strong = delegate.lock())
        strong->applicationWillTerminate();
}

Result<std::size_t, QString> FakeSecretInput::readLine(const QString &prompt,
                                                       std::span<std::byte> line)
{
    prompts.append(prompt);
    if (lines.isEmpty())
        return Failure{QStringLiteral("the input has ended")};
    const QByteArray next = lines.takeFirst();
    const auto length = static_cast<std::size_t>(next.size());
    if (length > line.size())
        return Failure{QStringLiteral("the line is too long")};
    std::memcpy(line.data(), next.constData(), length);
    return length;
}
