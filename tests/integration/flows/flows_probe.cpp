// Goes through the password-changed flow again and again in one process, with everything that the
// agent has but for its end and the length of its timers. A line on the standard input names the
// kind of the next flow, or says to "wait" until every timer has run out; "opened" tells that the
// first dialog is there, "done BYTES" that a flow is over and how much of the heap is in use. Each
// name given as an argument has something left behind by every flow.
#include "app/SSDiagnosticLog.h"
#include "app/SSEnroll.h"
#include "foundation/SSLogger.h"
#include "platform/Application.h"
#include "platform/Platform.h"
#include "platform/PlatformFactory.h"
#include "platform/RunLoop.h"
#include "platform/linux/notifications/LinuxNotificationCenter.h"
#include "tests/integration/flows/Answers.h"

#include <QApplication>
#include <QByteArrayList>
#include <QFile>
#include <QSocketNotifier>
#include <QTimer>

#include <cstdio>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <unistd.h>

namespace {

constexpr int kLookMilliseconds = 2;

using Dialog = Answers::Dialog;

/// The real run loop. What takes seconds is over soon, and what takes minutes when it is told.
class ShortRunLoop final : public RunLoop
{
public:
    explicit ShortRunLoop(std::shared_ptr<RunLoop> real) : m_real(std::move(real)) {}

    std::shared_ptr<RunLoopTimer> scheduleTimer(double seconds, TimerHandler handler) override
    {
        if (seconds <= kSeconds)
            return m_real->scheduleTimer(seconds / kShortening, std::move(handler));
        auto timer = m_real->scheduleTimer(seconds, handler);
        std::erase_if(m_long, [](const Long &one) { return one.timer.expired(); });
        m_long.push_back({timer, std::move(handler)});
        return timer;
    }
    void performOnMainThread(std::function<void()> work) override
    {
        m_real->performOnMainThread(std::move(work));
    }

    void fireLongTimers()
    {
        for (const Long &one : std::exchange(m_long, {})) {
            if (const auto timer = one.timer.lock())
                one.handler(timer.get());
        }
    }

private:
    struct Long
    {
        std::weak_ptr<RunLoopTimer> timer;
        TimerHandler handler;
    };
    static constexpr double kSeconds = 10;
    static constexpr double kShortening = 1000;

    std::shared_ptr<RunLoop> m_real;
    std::vector<Long> m_long;
};

/// The real application, which only tells that it was asked to end.
class LastingApplication final : public Application
{
public:
    explicit LastingApplication(std::shared_ptr<Application> real) : m_real(std::move(real)) {}

    void disableRelaunchOnLogin() override { m_real->disableRelaunchOnLogin(); }
    void setDelegate(std::weak_ptr<ApplicationLifecycleDelegate> delegate) override
    {
        m_real->setDelegate(std::move(delegate));
    }
    void setTerminationSignalHandler(std::function<void()> handler) override
    {
        m_real->setTerminationSignalHandler(std::move(handler));
    }
    void setResident(bool resident) override { m_real->setResident(resident); }
    void run() override { m_real->run(); }
    void terminate() override { onTerminate(); }

    std::function<void()> onTerminate;

private:
    std::shared_ptr<Application> m_real;
};

void say(const QByteArray &line)
{
    std::fputs((line + '\n').constData(), stdout);
    std::fflush(stdout);
}

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s cannot be written", qPrintable(path));
}

QString fromEnvironment(const char *name)
{
    return QString::fromUtf8(qgetenv(name));
}

/// What a careless program leaves behind.
class Leaks
{
public:
    explicit Leaks(QStringList kinds) : m_kinds(std::move(kinds)) {}

    void leave()
    {
        if (m_kinds.contains(QStringLiteral("descriptors")))
            static_cast<void>(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        if (m_kinds.contains(QStringLiteral("heap")))
            m_heap.append(QByteArray(20000, 'x'));
        if (m_kinds.contains(QStringLiteral("children"))) {
            char name[] = "true";
            char *arguments[] = {name, nullptr};
            pid_t child = 0;
            static_cast<void>(::posix_spawnp(&child, name, nullptr, nullptr, arguments, environ));
        }
        if (m_kinds.contains(QStringLiteral("notifications")))
            forgetNotification();
    }

private:
    void forgetNotification()
    {
        if (!m_center) {
            m_center = std::make_unique<LinuxNotificationCenter>(
                NotificationCenterOptions{QStringLiteral("forgetful"), {}, {}, {}}, nullptr);
        }
        UserNotification notification;
        notification.identifier = QString::number(++m_count);
        notification.title = QStringLiteral("forgotten");
        m_center->deliver(notification);
    }

    const QStringList m_kinds;
    QByteArrayList m_heap;
    std::unique_ptr<LinuxNotificationCenter> m_center;
    int m_count = 0;
};

class Probe final : public QObject
{
public:
    explicit Probe(QStringList leaks) : m_leaks(std::move(leaks))
    {
        m_preferences = fromEnvironment("HOME") +
                        QStringLiteral("/Library/Preferences/com.zevrik.selfservice.plist");
    }

    void startFlow(const QString &kind)
    {
        m_running = true;
        write(m_preferences,
              "<plist version=\"1.0\"><dict><key>PasswordChanged</key><true/></dict></plist>");
        write(fromEnvironment("ANSWER"),
              kind == QLatin1String("refused") ? "No such luck\n" : "Done!\n");
        std::deque<Answers::Answer> answers = answersFor(kind);
        answers.push_front({Dialog::Administrator, {}, Qt::Key_unknown, [] { say("opened"); }});
        m_answers.give(std::move(answers));
        m_enroll = SSEnroll::initWithNotification(std::nullopt, nullptr);
    }

    /// The controller has nothing left to do, and may say so more than once.
    void finish()
    {
        if (!std::exchange(m_running, false))
            return;
        QMetaObject::invokeMethod(
            this, [this] { afterwards(); }, Qt::QueuedConnection);
    }

private:
    std::deque<Answers::Answer> answersFor(const QString &kind)
    {
        const QString administrator = fromEnvironment("ADMINISTRATOR");
        const Answers::Answer right{Dialog::Administrator,
                                    {administrator, fromEnvironment("ADMINISTRATOR_PASSWORD")}};
        const Answers::Answer password{Dialog::NewPassword, {fromEnvironment("PASSWORD")}};
        const Answers::Answer wrong{Dialog::Administrator,
                                    {administrator, QStringLiteral("wrong")}};
        const Answers::Answer wrongPassword{Dialog::NewPassword, {QStringLiteral("wrong")}};
        const Answers::Answer alert{Dialog::Alert, {}};
        const auto then = [](Dialog dialog, std::function<void()> action) {
            return Answers::Answer{dialog, {}, Qt::Key_unknown, std::move(action)};
        };
        if (kind == QLatin1String("refused"))
            return {right, password, alert};
        if (kind == QLatin1String("mistaken"))
            return {wrong, alert, right, wrongPassword, alert, password};
        if (kind == QLatin1String("cancelled")) {
            return {right, {Dialog::NewPassword, {}, Qt::Key_Escape}, then(Dialog::None, [] {
                        say("cancelled");
                    })};
        }
        if (kind == QLatin1String("ended")) {
            // As at the end of the session.
            return {then(Dialog::Administrator, [this] { m_enroll->terminate(); }),
                    then(Dialog::None, [this] { finish(); })};
        }
        if (kind == QLatin1String("skipped"))
            return {then(Dialog::Administrator, [] { say("skippable"); })};
        return {right, password};
    }

    void afterwards()
    {
        const std::weak_ptr<SSEnroll> controller = m_enroll;
        m_enroll.reset();
        if (!controller.expired())
            say("kept the controller");
        m_leaks.leave();
        settle();
    }

    /// Removals of notifications are asked for and not waited for.
    void settle()
    {
        if (!Platform::current().notificationCenter->deliveredNotifications().isEmpty()) {
            QTimer::singleShot(kLookMilliseconds, this, [this] { settle(); });
            return;
        }
        const struct mallinfo2 heap = ::mallinfo2();
        say("done " + QByteArray::number(static_cast<qulonglong>(heap.uordblks + heap.hblkhd)));
    }

    QString m_preferences;
    Answers m_answers;
    Leaks m_leaks;
    std::shared_ptr<SSEnroll> m_enroll;
    bool m_running = false;
};

} // namespace

int main(int argc, char **argv)
{
    const SSDiagnosticLog diagnostics;
    PlatformOptions options;
    options.bundleIdentifier = applicationIdentifier();
    options.diagnostics = diagnostics.sink();
    Platform platform = makeDesktopPlatform(argc, argv, options);
    const auto runLoop = std::make_shared<ShortRunLoop>(platform.runLoop);
    platform.runLoop = runLoop;
    const auto application = std::make_shared<LastingApplication>(platform.application);
    platform.application = application;
    Platform::install(&platform);
    SSLogger::sharedInstance()->setLogLevel(1);
    diagnostics.open();

    Probe probe(QCoreApplication::arguments().mid(1));
    application->onTerminate = [&probe] { probe.finish(); };
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &probe, [&] {
        char buffer[256];
        const ssize_t count = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (count <= 0) {
            input.setEnabled(false);
            QCoreApplication::exit(0);
            return;
        }
        const QString command = QString::fromUtf8(buffer, count).trimmed();
        if (command == QLatin1String("wait"))
            runLoop->fireLongTimers();
        else
            probe.startFlow(command);
    });
    say("ready");
    return QApplication::exec();
}
