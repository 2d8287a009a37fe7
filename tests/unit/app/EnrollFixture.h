#pragma once

#include "app/SSEnroll.h"
#include "tests/support/FakeDirectory.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/FakeUrlSession.h"

#include <algorithm>
#include <memory>
#include <utility>

/// A platform of fakes with a directory that serves one user and one connection point, for the
/// controller's tests.
class EnrollFixture
{
public:
    EnrollFixture()
    {
        fake.platform.directory = directory;
        fake.platform.urlSessions = urls;
        // As the installation makes it.
        fake.settingsFiles->addFolder(QStringLiteral("/Library/Caches/ZevrikSelfService"));
    }

    static QString oid() { return QStringLiteral("1.3.6.1.4.1.32473.2.3.1"); }
    static QString identifier() { return QStringLiteral("{0DA0AD54-B798-4608-8B7E-A517AD2563A6}"); }

    void start()
    {
        fillDirectory();
        enroll = SSEnroll::initWithNotification(std::nullopt);
    }
    void startWithClick(const QString &clicked)
    {
        UserNotification notification;
        notification.identifier = clicked;
        fillDirectory();
        enroll = SSEnroll::initWithNotification(notification);
    }
    /// Up to the first question asked of the web interface.
    void startAndAsk()
    {
        start();
        fake.runLoop->advance(10);
    }
    void answer(const QByteArray &text)
    {
        urls->answer(urls->urls().size() - 1, text);
        fake.runLoop->runPending();
    }
    /// Up to the reminder on the screen.
    void startAndRemind()
    {
        startAndAsk();
        answer("NeedPssEnroll=true");
    }

    void set(const char16_t *name, const QString &value)
    {
        keywords.insert(QString::fromUtf16(name), value);
    }
    void remove(const char16_t *name) { keywords.remove(QString::fromUtf16(name)); }

    [[nodiscard]] bool terminated() const { return fake.application->terminateCalls > 0; }
    [[nodiscard]] QStringList errors() const
    {
        return fake.log->lines().filter(QStringLiteral("[Error]"));
    }

    void setDirectoryFails(bool fails)
    {
        directory->connectionPoints.error =
            fails ? std::optional(QStringLiteral("no server")) : std::nullopt;
    }
    /// How often connection points were searched for.
    [[nodiscard]] qsizetype searches() const
    {
        return std::count_if(directory->calls.cbegin(), directory->calls.cend(),
                             [](const FakeDirectory::Call &call) {
                                 return call.query.recordType ==
                                        DirectoryRecordType::FileMakerServers;
                             });
    }

    bool userIsOfADomain = true;
    QList<DirectoryDetails> otherUsers;
    QMap<QString, QString> keywords{
        {oid(), {}},
        {QStringLiteral("WinlogonResetPassword.Enabled"), QStringLiteral("1")},
        {QStringLiteral("EnrollSysNotification.Enabled"), QStringLiteral("1")},
        {QStringLiteral("EnrollSysNotification.Url"), QStringLiteral("https://host/app")},
        {QStringLiteral("EnrollSysNotification.IntervalMins"), QStringLiteral("30")},
        {QStringLiteral("EnrollSysNotification.Title"), QStringLiteral("Enroll")},
        {QStringLiteral("EnrollSysNotification.Text"), QStringLiteral("Please enroll")},
        {QStringLiteral("EnrollSysNotification.MenuEnroll"), QStringLiteral("Enroll now")},
        {QStringLiteral("EnrollSysNotification.MenuExit"), QStringLiteral("Not today")},
    };

    FakePlatform fake;
    std::shared_ptr<FakeUrlSessionFactory> urls = std::make_shared<FakeUrlSessionFactory>();
    std::shared_ptr<FakeDirectory> directory = std::make_shared<FakeDirectory>();
    std::shared_ptr<SSEnroll> enroll;

    /// Puts the user and the connection point into the directory; start() does it by itself.
    void fillDirectory()
    {
        directory->users = {};
        directory->connectionPoints.records.clear();
        DirectoryDetails user;
        user.insert(QString::fromUtf16(DirectoryAttribute::RecordName), {QStringLiteral("jdoe")});
        if (userIsOfADomain) {
            user.insert(QString::fromUtf16(DirectoryAttribute::PrimaryNTDomain),
                        {QStringLiteral("CORP")});
        }
        FakeDirectory::add(directory->users, user);
        for (const DirectoryDetails &other : std::as_const(otherUsers))
            FakeDirectory::add(directory->users, other);
        QStringList values;
        for (auto it = keywords.cbegin(); it != keywords.cend(); ++it)
            values.append(it.key() == oid() ? it.key() : it.key() + QLatin1Char('=') + it.value());
        FakeDirectory::add(
            directory->connectionPoints,
            {{QStringLiteral("keywords"), values},
             {QStringLiteral("serviceDNSName"), {QStringLiteral("host")}},
             {QStringLiteral("objectClass"), {QStringLiteral("serviceConnectionPoint")}},
             {QString::fromUtf16(DirectoryAttribute::MetaNodeLocation),
              {QStringLiteral("/Active Directory/CORP/All Domains")}}});
    }
};
