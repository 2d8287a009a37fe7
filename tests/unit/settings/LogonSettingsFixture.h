#pragma once

#include "directory/SSConnectionPointKeywords.h"
#include "settings/SSLogonSettings.h"
#include "tests/support/FakePlatform.h"

#include <QMap>
#include <QStringList>

/// What an administrator may publish, each text naming its keyword.
namespace LogonSettingsFixture {

using namespace Qt::Literals::StringLiterals;
using Data = QMap<QString, QString>;

inline void load(SSLogonSettings &settings, const Data &data)
{
    const SSConnectionPointKeywords keywords(data, u"/Active Directory/CORP/All Domains"_s);
    settings.loadFromConnectionPointKeywords(&keywords);
}

/// The texts of the dialogs of offline reset, under "OfflinePasswordReset.", in their order.
inline QStringList offlineTexts()
{
    return {u"StepsDialogTitle"_s,
            u"StepsDialogHeaderText"_s,
            u"StepsDialogStep1Text"_s,
            u"StepsDialogStep2Text"_s,
            u"StepsDialogStep3Text"_s,
            u"StepsDialogStep4Text"_s,
            u"StepsDialogCancelButtonText"_s,
            u"StepsDialogResetPasswordButtonText"_s,
            u"StepsDialogNewPasswordLabel"_s,
            u"StepsDialogResponseKeyLabel"_s,
            u"IntroDialogTitle"_s,
            u"IntroDialogText1"_s,
            u"IntroDialogText2"_s,
            u"IntroDialogCancelButtonText"_s,
            u"IntroDialogRetryButtonText"_s,
            u"IntroDialogResetOfflineButtonText"_s,
            u"IntroDialogError"_s,
            u"InvalidResponseKeyError"_s};
}

/// The keys of the disk password's prompt but its switch, and of its dialogs, in their order.
inline QStringList fileVaultPromptKeys()
{
    return {u"FileVaultSyncPrompt.Title"_s, u"FileVaultSyncPrompt.Text"_s,
            u"FileVaultSyncPrompt.SkipButtonText"_s, u"FileVaultSyncPrompt.RemindLaterButtonText"_s,
            u"FileVaultSyncPrompt.RemindLaterIntervalMins"_s};
}
inline QStringList fileVaultDialogKeys()
{
    return {u"FileVaultSyncDialog.Text1"_s,
            u"FileVaultSyncDialog.Text2"_s,
            u"FileVaultSyncDialog.UsernameLabel"_s,
            u"FileVaultSyncDialog.PasswordLabel"_s,
            u"FileVaultSyncDialog.CancelButtonText"_s,
            u"FileVaultSyncDialog.SkipButtonText"_s,
            u"FileVaultSyncDialog.ContinueButtonText"_s,
            u"FileVaultSyncDialog.NotSecureTokenEnabledError"_s,
            u"FileVaultSyncDialog.PasswordNotInSyncError"_s,
            u"FileVaultSyncNewPasswordDialog.Text"_s,
            u"FileVaultSyncNewPasswordDialog.PasswordLabel"_s,
            u"FileVaultSyncNewPasswordDialog.CancelButtonText"_s,
            u"FileVaultSyncNewPasswordDialog.OkButtonText"_s,
            u"FileVaultSyncNewPasswordDialog.InvalidPasswordError"_s};
}

/// Everything on, and every text of the directory's its own keyword in brackets.
inline Data everyKeyword()
{
    Data data{{u"WinlogonResetPassword.Enabled"_s, u"1"_s},
              {u"UpdateCredentialsCache.Enabled"_s, u"1"_s},
              {u"OfflinePasswordReset.Enabled"_s, u"1"_s},
              {u"FileVaultSyncPrompt.Enabled"_s, u"1"_s},
              // Base64 of the bytes 01 02 03 04 05 06, in two parts.
              {u"ConfigurationSet.Key:0"_s, u"AQID"_s},
              {u"ConfigurationSet.Key:1"_s, u"BAUG"_s}};
    QStringList texts{u"WinlogonResetPassword.PositionOnLoginScreen"_s,
                      u"WinlogonResetPassword.Text"_s,
                      u"WinlogonResetPassword.LinkText"_s,
                      u"WinlogonResetPassword.WebUiUrl"_s,
                      u"EnrollSysNotification.Proxy"_s,
                      u"UpdateCredentialsCache.Error"_s};
    const QStringList offline = offlineTexts();
    for (const QString &name : offline)
        texts.append(u"OfflinePasswordReset."_s + name);
    texts += fileVaultPromptKeys() + fileVaultDialogKeys();
    for (const QString &name : std::as_const(texts))
        data.insert(name, u"<"_s + name + u">"_s);
    data[u"FileVaultSyncPrompt.RemindLaterIntervalMins"_s] = u"45"_s;
    return data;
}

} // namespace LogonSettingsFixture
