#include "tests/unit/settings/LogonSettingsFixture.h"

#include <QTest>

using namespace LogonSettingsFixture;

/// The lines that a load writes: their texts, their levels and their order.
class tst_SSLogonSettingsLog : public QObject
{
    Q_OBJECT

    static QString line(const QString &text) { return u"[Info]:     - "_s + text; }

    static QStringList linesOf(const QStringList &texts)
    {
        QStringList result;
        for (const QString &text : texts)
            result.append(line(text));
        return result;
    }

    /// The progress lines of a load with everything on, in their order.
    static QStringList everyProgressLine()
    {
        QStringList texts{u"Enabled flag"_s,
                          u"ResetPasswordButton.Position flag"_s,
                          u"Link URL"_s,
                          u"Proxy"_s,
                          u"Text"_s,
                          u"Link text"_s,
                          u"Reset Password dialog title"_s,
                          u"Loading text"_s,
                          u"Unable reset password message"_s,
                          u"Unable reset password title"_s,
                          u"Unable exchange keys message"_s,
                          u"Unable exchange keys title"_s,
                          u"UpdateCredentialsCache.Enabled flag"_s,
                          u"OfflinePasswordReset.Enabled flag"_s,
                          u"UpdateCredentialsCache.Error message"_s};
        QStringList offline = offlineTexts();
        offline.last() = u"IntroDialogResponseKeyError"_s;
        for (const QString &name : std::as_const(offline))
            texts.append(u"OfflinePasswordReset."_s + name);
        texts += QStringList{u"ConfigurationSet.Key"_s, u"FileVaultSyncPrompt.Enabled flag"_s};
        return linesOf(texts + fileVaultPromptKeys() + fileVaultDialogKeys());
    }

    static QString keyed(const QString &key)
    {
        return key + (key == u"FileVaultSyncPrompt.RemindLaterIntervalMins"_s
                          ? u": 45"_s
                          : u": <"_s + key + u">"_s);
    }

    /// The settings block after a load of every keyword, at the given level.
    static QStringList everyBlockLine(int level)
    {
        QStringList texts{
            u"Log level: %1"_s.arg(level),
            u"appleMetaNodeLocation: /Active Directory/CORP/All Domains"_s,
            u"Enabled: YES"_s,
            u"ResetPasswordButton.Position: <WinlogonResetPassword.PositionOnLoginScreen>"_s,
            u"Text: <WinlogonResetPassword.Text>"_s,
            u"Link test: <WinlogonResetPassword.LinkText>"_s,
            u"Link URL: <WinlogonResetPassword.WebUiUrl>"_s,
            u"Reset Password dialog title: Reset Password"_s,
            u"Loading text: Loading..."_s,
            u"Unable reset password message: This feature is not available because domain '%s' "
            "could not be contacted and the 'Out of Office password reset' option is disabled. "
            "Please address the issue to your system administrator."_s,
            u"Unable reset password title: Error"_s,
            u"Unable exchange keys 'offline password reset' message: Failed to bind to the "
            "computer's AD object.%s\n\nCannot continue because the operation is required to "
            "update the computer's local credentials cache. Please address the issue to your "
            "system administrator."_s,
            u"Unable exchange keys title: Error"_s,
            u"Unable exchange keys error: (null)"_s,
            u"UpdateCredentialsCache.Enabled: YES"_s,
            u"UpdateCredentialsCache.Error: <UpdateCredentialsCache.Error>"_s,
            u"OfflinePasswordReset.Enabled: YES"_s};
        const QStringList offline = offlineTexts();
        for (const QString &name : offline)
            texts.append(keyed(u"OfflinePasswordReset."_s + name));
        texts.append(u"FileVaultSyncPrompt.Enabled: YES"_s);
        const QStringList fileVault = fileVaultPromptKeys() + fileVaultDialogKeys();
        for (const QString &key : fileVault)
            texts.append(keyed(key));
        texts.append(u"ConfigurationSetComputerRID: 0"_s);
        texts.append(u"ConfigurationSetPublicKey: <01020304 0506>"_s);
        return QStringList{u"[Info]: SETTINGS: LOGON EXTENSION"_s} + linesOf(texts);
    }

private Q_SLOTS:
    void theWholeLogOfALoad()
    {
        const FakePlatform fake;
        SSLogonSettings s;
        load(s, everyKeyword());
        const QString scope = u"[Debug]: >> -[SSLogonSettings loadFromConnectionPointKeywords:] "_s;
        QCOMPARE(fake.log->lines(), (QStringList{scope + u"started"_s} + everyProgressLine() +
                                     everyBlockLine(2) + QStringList{scope + u"ended"_s}));
    }

    void onlyTheProgressOfThePositionIsWrittenAtTheLowerLevel()
    {
        const FakePlatform fake;
        SSLogger::sharedInstance()->setLogLevel(1);
        SSLogonSettings s;
        load(s, everyKeyword());
        QCOMPARE(fake.log->lines(),
                 (QStringList{line(u"ResetPasswordButton.Position flag"_s)} + everyBlockLine(1)));
    }

    void aSilentLogWritesNoBlock()
    {
        const FakePlatform fake;
        SSLogger::sharedInstance()->setLogLevel(0);
        SSLogonSettings s;
        load(s, everyKeyword());
        s.log();
        QVERIFY(fake.log->rawLines().isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_SSLogonSettingsLog)
#include "tst_SSLogonSettingsLog.moc"
