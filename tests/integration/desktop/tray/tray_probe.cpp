// Shows one status item or one alert and prints what happens to it, a line each.
#include "platform/linux/desktop/LinuxAlertPresenter.h"
#include "platform/linux/statusbar/LinuxStatusBar.h"

#include <QApplication>
#include <QColor>
#include <QImage>
#include <QSocketNotifier>

#include <cstdio>
#include <string_view>

namespace {

void say(const QString &text)
{
    std::fputs((text + QLatin1Char('\n')).toUtf8().constData(), stdout);
    std::fflush(stdout);
}

int runAlert(const DiagnosticSink &sink, AlertStyle style = AlertStyle::Critical,
             const QImage &icon = QImage())
{
    LinuxAlertPresenter presenter(QStringLiteral("Self-Service Password Reset"), sink);
    Alert alert;
    alert.messageText = QStringLiteral("This service is <b>not</b> configured.");
    alert.informativeText = QStringLiteral("Ask your administrator.");
    alert.style = style;
    if (!icon.isNull())
        alert.icon = icon;
    say(QStringLiteral("response %1").arg(presenter.runModal(alert)));
    return 0;
}

int runItem(QCoreApplication &application, const DiagnosticSink &sink)
{
    LinuxStatusBar bar(QStringLiteral("com.zevrik.selfservice"),
                       QStringLiteral("Self-Service Password Reset"), sink);
    std::unique_ptr<StatusItem> item = bar.squareStatusItem();
    const auto menu = [&item] {
        return Menu{
            QString(),
            {{QStringLiteral("Enroll_now & here"),
              [&item] {
                  item.reset();
                  say(QStringLiteral("destroyed"));
              },
              QString()},
             {QStringLiteral("Exit"), [] { say(QStringLiteral("exit chosen")); }, QString()}}};
    };
    item->setImage(QStringLiteral("Enroll"));
    item->setAction([&item, menu](StatusItemEvent event) {
        const char *names[] = {"left", "control-left", "right"};
        say(QString::fromLatin1(names[static_cast<int>(event)]));
        if (event != StatusItemEvent::LeftMouseUp)
            item->popUpMenu(menu());
    });
    item->setMenuProvider(menu);

    // The end of the standard input ends the probe.
    QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &application,
                     [] { QCoreApplication::quit(); });
    say(QStringLiteral("ready"));
    return application.exec();
}

} // namespace

int main(int argc, char **argv)
{
    const DiagnosticSink sink = [](unsigned, DiagnosticType, const QString &text) {
        say(QStringLiteral("log ") + text);
    };
    const std::string_view mode = argc > 1 ? argv[1] : "";
    if (mode == "item-without-display") {
        QCoreApplication application(argc, argv);
        return runItem(application, sink);
    }
    if (mode == "alert-without-display") {
        QCoreApplication application(argc, argv);
        return runAlert(sink);
    }
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QSocketNotifier input(0, QSocketNotifier::Read);
    if (mode == "alert" || mode == "alert-with-icon" || mode == "warning-with-icon") {
        const AlertStyle style =
            mode == "warning-with-icon" ? AlertStyle::Warning : AlertStyle::Critical;
        // No theme has a magenta square.
        QImage icon;
        if (mode != "alert") {
            icon = QImage(128, 128, QImage::Format_RGB32);
            icon.fill(QColor(255, 0, 255));
        }
        QObject::connect(&input, &QSocketNotifier::activated, &application, [&input] {
            input.setEnabled(false);
            QCoreApplication::quit();
        });
        // The alert runs inside the main loop, as in the program.
        QMetaObject::invokeMethod(
            &application,
            [&sink, style, icon] {
                runAlert(sink, style, icon);
                QCoreApplication::quit();
            },
            Qt::QueuedConnection);
        return QApplication::exec();
    }
    input.setEnabled(false);
    return runItem(application, sink);
}
