// Shows one dialog, alert or the whole update in real windows and prints what comes of it, a line
// each. Lines on the standard input tell it what to do meanwhile; its end ends the probe.
#include "filevault/SSElidedLabel.h"
#include "filevault/SSSecureTokenAlertAdminPasswordNotInSyncError.h"
#include "filevault/SSSecureTokenAlertAdminUser.h"
#include "filevault/SSSecureTokenAlertAdminUserError.h"
#include "filevault/SSSecureTokenAlertUserPassword.h"
#include "filevault/SSSecureTokenAlertUserPasswordError.h"
#include "filevault/SSSecureTokenUpdate.h"
#include "foundation/SSUtils.h"
#include "platform/linux/desktop/LinuxAlertPresenter.h"
#include "tests/unit/filevault/DialogFixture.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSocketNotifier>
#include <QThread>

#include <unistd.h>

#include <cstdio>

using namespace Dialog;

namespace {

void say(const QString &text)
{
    std::fputs((text + u'\n').toUtf8().constData(), stdout);
    std::fflush(stdout);
}

std::shared_ptr<const SSLogonSettings> textsNamed(const QString &name)
{
    if (name == u"continue-only")
        return texts({{u"Dialog.ContinueButtonText"_s, u"Go on"_s}});
    if (name == u"rtl") {
        return texts({
            {u"Dialog.Text1"_s, u"أدخل اسم المستخدم وكلمة المرور لمسؤول SecureToken."_s},
            {u"Dialog.Text2"_s, u"إذا تخطيت هذه الخطوة، فلن تتمكن من تسجيل الدخول بكلمة المرور "
                                u"الجديدة عند بدء تشغيل الكمبيوتر حتى يحل المسؤول هذه المشكلة."_s},
            {u"Dialog.UsernameLabel"_s, u"اسم المستخدم:"_s},
            {u"Dialog.PasswordLabel"_s, u"كلمة المرور:"_s},
            {u"Dialog.ContinueButtonText"_s, u"متابعة"_s},
            {u"Dialog.SkipButtonText"_s, u"تخطي"_s},
            {u"Dialog.CancelButtonText"_s, u"إلغاء"_s},
            {u"NewPasswordDialog.Text"_s, u"أدخل كلمة المرور لحسابك."_s},
            {u"NewPasswordDialog.PasswordLabel"_s, u"كلمة المرور:"_s},
            {u"NewPasswordDialog.OkButtonText"_s, u"موافق"_s},
            {u"NewPasswordDialog.CancelButtonText"_s, u"إلغاء"_s},
            {u"Dialog.NotSecureTokenEnabledError"_s, u"اسم المستخدم أو كلمة المرور غير صحيحة."_s},
            {u"NewPasswordDialog.InvalidPasswordError"_s, u"كلمة المرور غير صحيحة."_s},
        });
    }
    if (name == u"long") {
        const QString sentence = u"Ein langer Satz, wie ihn jemand in das Verzeichnis schrieb. "_s;
        return texts({
            {u"Dialog.Text1"_s, sentence.repeated(3)},
            {u"Dialog.Text2"_s, sentence.repeated(60)},
            {u"Dialog.UsernameLabel"_s, u"Anmeldename der Verwalterin oder des Verwalters:"_s},
            {u"Dialog.PasswordLabel"_s, u"Kennwort & noch etwas:"_s},
            {u"Dialog.ContinueButtonText"_s,
             u"Mit den Angaben dieser Person fortfahren & weiter"_s},
            {u"Dialog.SkipButtonText"_s, u"Diesen Schritt jetzt überspringen"_s},
            {u"Dialog.CancelButtonText"_s, u"Den ganzen Vorgang abbrechen"_s},
        });
    }
    return nullptr;
}

/// What of the window's contents is not to be seen.
QStringList cutParts(const QWidget &window)
{
    QStringList cut;
    const auto report = [&cut](const QString &what, QSize needed, QSize given) {
        cut.append(u"%1 needs %2x%3, has %4x%5"_s.arg(what)
                       .arg(needed.width())
                       .arg(needed.height())
                       .arg(given.width())
                       .arg(given.height()));
    };
    if (!window.screen()->availableGeometry().contains(window.geometry()))
        report(u"the screen"_s, window.size(), window.screen()->availableSize());
    for (const QWidget *widget : window.findChildren<QWidget *>()) {
        if (!widget->isVisible())
            continue;
        const auto *label = qobject_cast<const QLabel *>(widget);
        const auto *elided = qobject_cast<const SSElidedLabel *>(widget);
        if (elided && elided->shownText() != elided->plainText())
            report(elided->plainText(), elided->sizeHint(), elided->size());
        else if (label && label->wordWrap() &&
                 (label->heightForWidth(label->width()) > label->height() ||
                  label->minimumSizeHint().width() > label->width()))
            report(label->text(), label->minimumSizeHint(), label->size());
        else if (label && !label->pixmap(Qt::ReturnByValue).isNull() &&
                 !label->size().expandedTo(label->sizeHint()).isEmpty() &&
                 label->size().expandedTo(label->sizeHint()) != label->size())
            report(u"icon"_s, label->sizeHint(), label->size());
        const bool control = qobject_cast<const QAbstractButton *>(widget) != nullptr;
        const bool entry = qobject_cast<const QLineEdit *>(widget) != nullptr;
        if (control && widget->size().expandedTo(widget->sizeHint()) != widget->size())
            report(widget->accessibleName() + u" button"_s, widget->sizeHint(), widget->size());
        if (entry && widget->height() < widget->sizeHint().height())
            report(u"entry"_s, widget->sizeHint(), widget->size());
        const QRect inParent = widget->geometry();
        const auto *viewport = widget->parentWidget();
        const bool scrolled = viewport && qobject_cast<QScrollArea *>(viewport->parentWidget());
        if (viewport && !scrolled && !viewport->rect().contains(inParent))
            report(QString::fromLatin1(widget->metaObject()->className()) + u" in its parent"_s,
                   inParent.size(), viewport->size());
        if (const auto *area = qobject_cast<const QScrollArea *>(widget)) {
            if (area->verticalScrollBar()->maximum() > 0)
                say(u"scrolls down"_s);
            if (area->horizontalScrollBar()->maximum() > 0)
                say(u"scrolls aside"_s);
        }
    }
    return cut;
}

QString nameOfFocus()
{
    const QWidget *widget = QApplication::focusWidget();
    if (!widget)
        return u"nothing"_s;
    if (const auto *button = qobject_cast<const QAbstractButton *>(widget))
        return button->text();
    return widget->accessibleName();
}

class Probe
{
public:
    explicit Probe(const QStringList &arguments) : m_mode(arguments.value(1))
    {
        for (const QString &argument : arguments.mid(2)) {
            const qsizetype equals = argument.indexOf(u'=');
            m_options.insert(argument.left(equals), argument.mid(equals + 1));
        }
    }

    int run()
    {
        dress();
        m_presenter = std::make_shared<LinuxAlertPresenter>(
            u"Self-Service Password Reset"_s,
            [](unsigned, DiagnosticType, const QString &text) { say(u"log "_s + text); });
        m_fixture.fake.platform.alerts = m_presenter;
        const QImage icon(m_options.value(u"icon"_s));
        if (!icon.isNull()) {
            m_fixture.fake.workspace->images.insert(
                u"/Library/ZevrikSelfService/Self-Service Password Reset.app:AppIcon"_s, icon);
        }
        if (m_options.value(u"failure"_s) == u"long") {
            QString output = u"sysadminctl[4711]: the password was not accepted\n"_s;
            for (int line = 1; line <= 200; ++line)
                output += u"line %1 of what the tool printed about the matter\n"_s.arg(line);
            m_fixture.tools.failure = output;
        } else {
            m_fixture.tools.failure = m_options.value(u"failure"_s);
        }
        m_fixture.tools.updates = !m_options.contains(u"failure"_s);
        m_fixture.tools.diskPasswordValid = m_options.value(u"disk"_s) != u"old";

        if (const QString file = m_options.value(u"wait"_s); !file.isEmpty()) {
            m_fixture.tools.duringCheck = [file] {
                say(u"checking"_s);
                while (!QFile::exists(file))
                    QThread::msleep(10);
            };
        }

        QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
        QObject::connect(&input, &QSocketNotifier::activated, qApp, [this, &input] {
            char buffer[256];
            const auto count = ::read(STDIN_FILENO, buffer, sizeof buffer);
            if (count <= 0) {
                input.setEnabled(false);
                QCoreApplication::exit(3);
                return;
            }
            m_commands += QByteArray(buffer, static_cast<qsizetype>(count));
            for (qsizetype end = m_commands.indexOf('\n'); end >= 0;
                 end = m_commands.indexOf('\n')) {
                const QString command = QString::fromUtf8(m_commands.left(end));
                m_commands.remove(0, end + 1);
                obey(command);
            }
        });
        // The dialogs run inside the main loop, as in the program.
        QMetaObject::invokeMethod(
            qApp,
            [this] {
                const qint64 result = show();
                for (const QString &asked : std::as_const(m_fixture.tools.asked))
                    say(u"tools "_s + asked);
                say(u"flag %1"_s.arg(m_fixture.flag() ? u"set"_s : u"clear"_s));
                say(u"result %1"_s.arg(result));
                QCoreApplication::exit(0);
            },
            Qt::QueuedConnection);
        return QApplication::exec();
    }

private:
    void dress() const
    {
        QApplication::setQuitOnLastWindowClosed(false);
        QApplication::setStyle(u"Fusion"_s);
        if (m_options.value(u"theme"_s) == u"dark") {
            QPalette dark(QColor(0x31, 0x36, 0x3b), QColor(0x2a, 0x2e, 0x32));
            dark.setColor(QPalette::Base, QColor(0x1b, 0x1e, 0x20));
            dark.setColor(QPalette::Highlight, QColor(0x3d, 0xae, 0xe9));
            QApplication::setPalette(dark);
        }
        if (m_options.value(u"direction"_s) == u"rtl")
            QApplication::setLayoutDirection(Qt::RightToLeft);
        QFont font = QApplication::font();
        font.setFamily(u"DejaVu Sans"_s);
        font.setPointSizeF(font.pointSizeF() * m_options.value(u"font"_s, u"100"_s).toDouble() /
                           100);
        QApplication::setFont(font);
    }

    qint64 show()
    {
        const auto settings = textsNamed(m_options.value(u"texts"_s));
        if (m_mode == u"admin" || m_mode == u"admin-again") {
            m_admin = SSSecureTokenAlertAdminUser::initWithSettings(settings);
            qint64 result = m_admin->doModal();
            if (m_mode == u"admin-again") {
                say(u"first %1"_s.arg(result));
                result = m_admin->doModal();
            }
            return result;
        }
        if (m_mode == u"user")
            return SSSecureTokenAlertUserPassword::initWithSettings(settings, u"jdoe"_s)->doModal();
        if (m_mode == u"refused")
            return SSSecureTokenAlertAdminUserError(settings).runModal();
        if (m_mode == u"not-in-sync")
            return SSSecureTokenAlertAdminPasswordNotInSyncError(settings).runModal();
        if (m_mode == u"wrong-password")
            return SSSecureTokenAlertUserPasswordError(settings).runModal();
        m_update = std::make_unique<SSSecureTokenUpdate>(settings.get(), u"jdoe"_s);
        if (m_mode == u"failure") {
            m_update->alertWithMessage(m_fixture.tools.failure.value_or(QString()));
            return 0;
        }
        return m_update->update();
    }

    void obey(const QString &command)
    {
        if (command == u"quit") {
            QCoreApplication::quit();
        } else if (command == u"exit") {
            QCoreApplication::exit(0);
        } else if (command == u"abort") {
            if (m_update)
                m_update->abort();
            else
                m_presenter->stopModal(ModalResponse::Abort);
        } else if (command == u"abort twice") {
            m_presenter->stopModal(ModalResponse::Abort);
            m_presenter->stopModal(ModalResponse::Abort);
        } else if (command == u"activate") {
            m_update->activate();
        } else if (command == u"alert") {
            Alert alert;
            alert.messageText = u"A simple alert above."_s;
            say(u"alert %1"_s.arg(m_presenter->runModal(alert)));
        } else if (command == u"focus") {
            say(u"focus "_s + nameOfFocus());
        } else if (command == u"cut") {
            const QWidget *window = QApplication::activeModalWidget();
            const QStringList cut = window ? cutParts(*window) : QStringList{u"no window"_s};
            for (const QString &part : cut)
                say(u"cut "_s + part);
            say(u"cut parts: %1"_s.arg(cut.size()));
        } else if (command == u"windows") {
            int visible = 0;
            for (const QWidget *window : QApplication::topLevelWidgets())
                visible += window->isVisible() ? 1 : 0;
            say(u"windows %1"_s.arg(visible));
        } else if (command == u"font") {
            QFont font = QApplication::font();
            font.setPointSizeF(font.pointSizeF() * 2);
            QApplication::setFont(font);
        }
    }

    const QString m_mode;
    QMap<QString, QString> m_options;
    Fixture m_fixture;
    std::shared_ptr<LinuxAlertPresenter> m_presenter;
    std::shared_ptr<SSSecureTokenAlertAdminUser> m_admin;
    std::unique_ptr<SSSecureTokenUpdate> m_update;
    QByteArray m_commands;
};

} // namespace

int main(int argc, char **argv)
{
    const QByteArray display = qgetenv("DISPLAY");
    if (display.isEmpty()) {
        QCoreApplication application(argc, argv);
        Fixture fixture;
        fixture.fake.platform.alerts = std::make_shared<LinuxAlertPresenter>(
            u"Self-Service Password Reset"_s,
            [](unsigned, DiagnosticType, const QString &text) { say(u"log "_s + text); });
        SSSecureTokenUpdate update(nullptr, u"jdoe"_s);
        say(u"result %1"_s.arg(update.update()));
        return 0;
    }
    QApplication application(argc, argv);
    return Probe(QApplication::arguments()).run();
}
