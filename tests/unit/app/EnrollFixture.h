#pragma once

#include "app/SSEnroll.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/FakeUrlSession.h"

#include <memory>
#include <utility>

/// A platform of fakes with a directory that serves one user and one connection point, for the
/// controller's tests.
class EnrollFixture
{
public:
    EnrollFixture()
    {
        fake.platform.directory = std::make_shared<Directory>(this);
        fake.platform.urlSessions = urls;
    }

    static QString oid() { return QStringLiteral("1.3.6.1.4.1.32473.2.3.1"); }
    static QString identifier() { return QStringLiteral("{0DA0AD54-B798-4608-8B7E-A517AD2563A6}"); }

    void start() { enroll = SSEnroll::initWithNotification(std::nullopt); }
    void startWithClick(const QString &clicked)
    {
        UserNotification notification;
        notification.identifier = clicked;
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

    bool directoryFails = false;
    int searches = 0; ///< for connection points
    bool userIsOfADomain = true;
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
    std::shared_ptr<SSEnroll> enroll;

private:
    class Record final : public DirectoryRecord
    {
    public:
        explicit Record(DirectoryDetails details) : m_details(std::move(details)) {}
        [[nodiscard]] QString description() const override { return QStringLiteral("record"); }
        [[nodiscard]] Result<DirectoryDetails, DirectoryError> details() override
        {
            return m_details;
        }
        [[nodiscard]] Result<bool, DirectoryError> verifyPassword(std::u16string_view) override
        {
            return false;
        }

    private:
        DirectoryDetails m_details;
    };

    class Node final : public DirectoryNode
    {
    public:
        explicit Node(EnrollFixture *fixture) : m_fixture(fixture) {}
        [[nodiscard]] Result<DirectoryRecords, DirectoryError>
        query(const DirectoryQuery &query) override
        {
            DirectoryDetails details;
            if (query.recordType == DirectoryRecordType::Users) {
                details.insert(QString::fromUtf16(DirectoryAttribute::RecordName), {query.value});
                if (m_fixture->userIsOfADomain) {
                    details.insert(QString::fromUtf16(DirectoryAttribute::PrimaryNTDomain),
                                   {QStringLiteral("CORP")});
                }
            } else {
                ++m_fixture->searches;
                if (m_fixture->directoryFails) {
                    return Failure{DirectoryError{DirectoryError::Code::ServerUnreachable,
                                                  QStringLiteral("no server")}};
                }
                QStringList values;
                for (auto it = m_fixture->keywords.cbegin(); it != m_fixture->keywords.cend();
                     ++it) {
                    values.append(it.key() == oid() ? it.key()
                                                    : it.key() + QLatin1Char('=') + it.value());
                }
                details.insert(QStringLiteral("keywords"), values);
                details.insert(QStringLiteral("serviceDNSName"), {QStringLiteral("host")});
                details.insert(QStringLiteral("objectClass"),
                               {QStringLiteral("serviceConnectionPoint")});
                details.insert(QString::fromUtf16(DirectoryAttribute::MetaNodeLocation),
                               {QStringLiteral("/Active Directory/CORP/All Domains")});
            }
            return DirectoryRecords{std::make_shared<Record>(details)};
        }

    private:
        EnrollFixture *m_fixture;
    };

    class Directory final : public DirectoryService
    {
    public:
        explicit Directory(EnrollFixture *fixture) : m_fixture(fixture) {}
        [[nodiscard]] Result<std::shared_ptr<DirectoryNode>, DirectoryError>
        nodeWithName(const QString &) override
        {
            return std::shared_ptr<DirectoryNode>(std::make_shared<Node>(m_fixture));
        }
        [[nodiscard]] Result<std::shared_ptr<DirectoryNode>, DirectoryError>
        nodeWithType(quint32) override
        {
            return std::shared_ptr<DirectoryNode>(std::make_shared<Node>(m_fixture));
        }

    private:
        EnrollFixture *m_fixture;
    };
};
