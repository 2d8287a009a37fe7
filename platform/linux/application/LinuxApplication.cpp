#include "platform/linux/application/LinuxApplication.h"

#include "platform/linux/application/ApplicationBusObject.h"
#include "platform/linux/application/DisplayProbe.h"
#include "platform/linux/application/SessionPlace.h"
#include "platform/linux/application/TerminationSignals.h"

#include <QApplication>
#include <QProcess>
#include <QSessionManager>
#include <QTimer>

#include <cstring>
#include <optional>
#include <utility>

namespace {
constexpr int kFirstCallMilliseconds = 10000;
} // namespace

LinuxApplication::LinuxApplication(int &argc, char **argv, LinuxApplicationOptions options,
                                   DiagnosticSink diagnostics)
    : m_options(std::move(options)), m_diagnostics(std::move(diagnostics))
{
    if (!m_diagnostics)
        m_diagnostics = [](unsigned, DiagnosticType, const QString &) {};
    for (int i = 1; i < argc; ++i)
        m_startedByBus = m_startedByBus || std::strcmp(argv[i], "--dbus-activated") == 0;
    makeQtApplication(argc, argv);

    m_busObject = std::make_unique<ApplicationBusObject>(ApplicationBusCalls{
        [this] { activateFromBus(); },
        [this](const UserNotification &notification) { activateNotificationFromBus(notification); },
        [this] { terminate(); },
        [this] { return roleName(); },
        [this](const QDBusMessage &call, const QString &reason) {
            m_diagnostics(1, DiagnosticType::Error,
                          QStringLiteral("A call from the session bus is refused: %1").arg(reason));
            m_place->replyError(call, reason);
        },
    });
    m_place = std::make_unique<SessionPlace>(m_options.applicationIdentifier, m_busObject.get(),
                                             m_diagnostics);
}

LinuxApplication::~LinuxApplication()
{
    m_signals.reset();
    m_place.reset();
    m_busObject.reset();
}

void LinuxApplication::makeQtApplication(int argc, char **argv)
{
    // A copy: the caller's arguments stay whole, and the plugin is named here rather than in the
    // environment, which every child would inherit.
    m_arguments.assign(argv, argv + argc);
    const std::optional<QByteArray> plugin = reachableDisplayPlugin(m_diagnostics);
    m_hasDisplay = plugin.has_value();
    static char platformSwitch[] = "-platform";
    if (plugin) {
        m_displayPlugin = *plugin;
        m_arguments.push_back(platformSwitch);
        m_arguments.push_back(m_displayPlugin.data());
    }
    m_argumentCount = static_cast<int>(m_arguments.size());
    m_arguments.push_back(nullptr);

    QCoreApplication::setApplicationName(m_options.applicationIdentifier);
    // The process ends when it is told to, not when a dialog or a transfer of its own does.
    QCoreApplication::setQuitLockEnabled(false);
    if (m_hasDisplay) {
        QGuiApplication::setDesktopFileName(m_options.applicationIdentifier);
        QGuiApplication::setQuitOnLastWindowClosed(false);
        m_application = std::make_unique<QApplication>(m_argumentCount, m_arguments.data());
    } else {
        m_application = std::make_unique<QCoreApplication>(m_argumentCount, m_arguments.data());
        m_diagnostics(1, DiagnosticType::Error,
                      QStringLiteral("No display can be reached; nothing can be shown but "
                                     "notifications."));
    }
    // The desktop ends its programs at logout by Qt's own quit.
    connect(m_application.get(), &QCoreApplication::aboutToQuit, this, [this] { finish(); });
}

void LinuxApplication::disableRelaunchOnLogin()
{
    auto *application = qobject_cast<QGuiApplication *>(m_application.get());
    if (!application)
        return;
    const auto never = [](QSessionManager &manager) {
        manager.setRestartHint(QSessionManager::RestartNever);
    };
    connect(application, &QGuiApplication::saveStateRequest, this, never, Qt::DirectConnection);
    connect(application, &QGuiApplication::commitDataRequest, this, never, Qt::DirectConnection);
}

void LinuxApplication::setDelegate(std::weak_ptr<ApplicationLifecycleDelegate> delegate)
{
    m_delegate = std::move(delegate);
}

void LinuxApplication::setTerminationSignalHandler(std::function<void()> handler)
{
    m_terminationHandler = std::move(handler);
    if (!m_signals)
        m_signals = std::make_unique<TerminationSignals>([this] { terminationSignal(); });
}

void LinuxApplication::setNotificationActivationHandler(
    std::function<void(const UserNotification &)> handler)
{
    m_activationHandler = std::move(handler);
}

void LinuxApplication::terminationSignal()
{
    if (m_terminationHandler)
        m_terminationHandler();
    else
        terminate();
}

void LinuxApplication::run()
{
    if (!takePlace() || m_terminating)
        return;
    if (m_role != Role::Starting)
        launch(LaunchNotice{});
    QCoreApplication::exec();
    finish();
}

bool LinuxApplication::takePlace()
{
    if (m_resident) {
        m_role = Role::Tray;
        if (m_place->claimResident() == SessionPlace::Claim::Taken) {
            m_diagnostics(1, DiagnosticType::Info,
                          QStringLiteral("The tray process of this session runs already."));
            return false;
        }
        return true;
    }
    if (!m_startedByBus)
        return true;
    m_role = Role::Starting;
    if (m_place->claimActivated([this] { terminate(); }) != SessionPlace::Claim::Claimed) {
        m_diagnostics(1, DiagnosticType::Error,
                      QStringLiteral("Started by the session bus, but its name is taken."));
        return false;
    }
    QTimer::singleShot(kFirstCallMilliseconds, this, [this] {
        if (m_role != Role::Starting)
            return;
        m_diagnostics(1, DiagnosticType::Error,
                      QStringLiteral("Started by the session bus, but nobody called."));
        terminate();
    });
    return true;
}

void LinuxApplication::launch(const LaunchNotice &notice)
{
    QMetaObject::invokeMethod(
        this,
        [this, notice] {
            if (m_terminating || m_launched)
                return;
            m_launched = true;
            if (const auto delegate = m_delegate.lock())
                delegate->applicationDidFinishLaunching(notice);
        },
        Qt::QueuedConnection);
}

void LinuxApplication::terminate()
{
    if (std::exchange(m_terminating, true))
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            finish();
            QCoreApplication::exit(0);
        },
        Qt::QueuedConnection);
}

void LinuxApplication::finish()
{
    m_terminating = true;
    if (std::exchange(m_finished, true) || !m_launched)
        return;
    if (const auto delegate = m_delegate.lock())
        delegate->applicationWillTerminate();
}

void LinuxApplication::activateFromBus()
{
    if (m_terminating)
        return;
    if (m_role == Role::Starting) {
        // The plain role joins nobody and is joined by nobody.
        m_role = Role::Plain;
        QMetaObject::invokeMethod(
            this, [this] { m_place->release(); }, Qt::QueuedConnection);
        launch(LaunchNotice{});
        return;
    }
    const QString program = m_options.executable.isEmpty() ? QCoreApplication::applicationFilePath()
                                                           : m_options.executable;
    if (!QProcess::startDetached(program, {})) {
        m_diagnostics(1, DiagnosticType::Error,
                      QStringLiteral("%1 could not be started.").arg(program));
    }
}

void LinuxApplication::activateNotificationFromBus(const UserNotification &notification)
{
    if (m_terminating)
        return;
    if (m_role == Role::Starting) {
        m_role = Role::Notification;
        launch(LaunchNotice{notification});
        return;
    }
    if (m_activationHandler)
        m_activationHandler(notification);
}

QString LinuxApplication::roleName() const
{
    switch (m_role) {
    case Role::Tray:
        return QStringLiteral("tray");
    case Role::Notification:
        return QStringLiteral("notification");
    case Role::Starting:
        return QStringLiteral("starting");
    case Role::Plain:
        break;
    }
    return QStringLiteral("plain");
}
