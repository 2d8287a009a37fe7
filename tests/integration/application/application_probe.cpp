#include "platform/linux/application/LinuxApplication.h"

#include <QCoreApplication>
#include <QTimer>

#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

/// Appends "<pid> <text>" to the file that the test reads.
void report(const QString &text)
{
    const QByteArray line = QByteArray::number(::getpid()) + ' ' + text.toUtf8() + '\n';
    const int file = ::open((qgetenv("SESSION_FOLDER") + "/probe.log").constData(),
                            O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    [[maybe_unused]] const ssize_t written =
        ::write(file, line.constData(), static_cast<std::size_t>(line.size()));
    ::close(file);
}

QString described(const UserNotification &notification)
{
    return notification.identifier + QLatin1Char(' ') +
           notification.additionalActivationAction.value_or(QStringLiteral("none"));
}

class Delegate final : public ApplicationLifecycleDelegate
{
public:
    Delegate(LinuxApplication &application, bool staysAlive)
        : m_application(application), m_staysAlive(staysAlive)
    {
    }
    void applicationDidFinishLaunching(const LaunchNotice &notice) override
    {
        report(QStringLiteral("launched ") + (notice.userNotification
                                                  ? described(*notice.userNotification)
                                                  : QStringLiteral("plainly")));
        if (!m_staysAlive && !notice.userNotification)
            m_application.terminate();
    }
    void applicationWillTerminate() override { report(QStringLiteral("will terminate")); }

private:
    LinuxApplication &m_application;
    bool m_staysAlive;
};

} // namespace

int main(int argc, char **argv)
{
    const bool resident = argc > 1 && std::strcmp(argv[1], "--enrollMenuExtra") == 0;
    const bool quits = argc > 2 && std::strcmp(argv[2], "--logout") == 0;
    {
        LinuxApplication application(argc, argv,
                                     {QStringLiteral("com.zevrik.selfservice"), QString()},
                                     [](unsigned, DiagnosticType, const QString &message) {
                                         report(QStringLiteral("log ") + message);
                                     });
        const auto delegate = std::make_shared<Delegate>(application, resident);
        application.disableRelaunchOnLogin();
        application.setDelegate(delegate);
        application.setTerminationSignalHandler([&application] {
            report(QStringLiteral("signal"));
            application.terminate();
            application.terminate();
        });
        application.setNotificationActivationHandler([](const UserNotification &notification) {
            report(QStringLiteral("activated ") + described(notification));
        });
        application.setResident(resident);
        if (quits)
            QTimer::singleShot(200, [] { QCoreApplication::quit(); });
        application.run();
    }
    report(QStringLiteral("ended"));
    return 0;
}
