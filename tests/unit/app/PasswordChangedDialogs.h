#pragma once

#include "tests/support/FakeAlerts.h"
#include "tests/unit/app/PasswordChangedFixture.h"

#include <QLineEdit>
#include <QMetaType>
#include <QWidget>

#include <functional>
#include <stdexcept>

/// The user at the dialogs of the update, with an administrator at hand. Needs a QApplication.
class PasswordChangedDialogs : public PasswordChangedFixture
{
public:
    static constexpr qint64 continueTag = 1001;
    static constexpr qint64 cancelTag = 1002;
    static constexpr qint64 skipTag = 1003;

    PasswordChangedDialogs()
    {
        fake.identity->users = {{QStringLiteral("boss"), 501}, {QStringLiteral("jdoe"), 1000}};
        fake.identity->groups = {{QStringLiteral("admin"), 27}};
        fake.identity->memberships = {{501, 27}};
        addLocalUser(QStringLiteral("boss"), u"Chef-7");
        otherUsers.append(
            {{QString::fromUtf16(DirectoryAttribute::RecordName), {QStringLiteral("boss")}},
             {QString::fromUtf16(DirectoryAttribute::PrimaryNTDomain), {QStringLiteral("CORP")}},
             {QString::fromUtf16(DirectoryAttribute::GUID),
              {QStringLiteral("B0550000-0000-0000-0000-000000000501")}}});
        const auto tools = fake.childProcesses->answer;
        fake.childProcesses->answer = [this, tools](const FakeChildProcesses::Run &run) {
            FakeChildProcesses::Answer answer = tools(run);
            const QStringList arguments = run.arguments.value_or(QStringList());
            if (arguments.value(0) == QLatin1String("-secureTokenOn"))
                answer.output = grantAnswer;
            else if (run.executable == QLatin1String("/usr/bin/expect"))
                answer.output = "\r\nPassphrase valid";
            return answer;
        };
    }

    /// Adds what the user does with the next dialog.
    void answerWith(FakeAlerts::Answer answer) { fake.alerts->answers.append(std::move(answer)); }

    /// The administrator's credentials and Continue.
    static void enterAdministrator(FakeAlertWindow &window)
    {
        type(window, {QStringLiteral("boss"), QStringLiteral("Chef-7")});
        window.press(continueTag);
    }
    static void enterWrongAdministrator(FakeAlertWindow &window)
    {
        type(window, {QStringLiteral("boss"), QStringLiteral("wrong")});
        window.press(continueTag);
    }
    static void enterPassword(FakeAlertWindow &window)
    {
        type(window, {QStringLiteral("Neu-9")});
        window.press(continueTag);
    }
    static void enterWrongPassword(FakeAlertWindow &window)
    {
        type(window, {QStringLiteral("wrong")});
        window.press(continueTag);
    }
    static FakeAlerts::Answer press(qint64 tag)
    {
        return [tag](FakeAlertWindow &window) { window.press(tag); };
    }

    /// Up to the alert that says that the tool has refused.
    void answerUpToTheFailureAlert()
    {
        grantAnswer = "No such luck";
        answerWith(enterAdministrator);
        answerWith(enterPassword);
    }

    /// How often a SecureToken was asked for.
    [[nodiscard]] qsizetype grants() const
    {
        return commands().filter(QStringLiteral("-secureTokenOn")).size();
    }

    static QString adminDialog()
    {
        return QStringLiteral("Enter the username and password of a SecureToken administrator.");
    }
    static QString passwordDialog()
    {
        return QStringLiteral("Enter the password for your account.");
    }

    QByteArray grantAnswer = "Done!\n";

private:
    static void type(const FakeAlertWindow &window, const QStringList &texts)
    {
        if (!window.accessoryView)
            throw std::logic_error("there is nothing to type into");
        const QList<QLineEdit *> entries = window.accessoryView->findChildren<QLineEdit *>();
        for (qsizetype i = 0; i < texts.size(); ++i)
            entries.at(i)->setText(texts.at(i));
    }
};

/// What the user, or somebody else, does from the click on; one answer for each dialog.
struct PasswordChangedScenario
{
    std::function<void(PasswordChangedDialogs &)> script;
};
Q_DECLARE_METATYPE(PasswordChangedScenario)
