#pragma once

#include "filevault/SSCredentialsView.h"
#include "filevault/SSSecureTextField.h"
#include "security/SSSecureData.h"
#include "settings/SSLogonSettings.h"
#include "tests/unit/filevault/FlagFixture.h"
#include "tests/unit/filevault/PlayedTools.h"

#include <QLineEdit>

#include <functional>
#include <utility>

/// A platform on which jdoe is logged in and boss is an administrator, and the tools answer as
/// told.
namespace Dialog {

using namespace Qt::Literals::StringLiterals;

inline constexpr qint64 confirm = 1001;
inline constexpr qint64 cancel = 1002;
inline constexpr qint64 skip = 1003;
inline constexpr qint64 ok = 1000; ///< the one button of an error alert

inline const QString adminText =
    u"Enter the username and password of a SecureToken administrator."_s;
inline const QString userText = u"Enter the password for your account."_s;
inline const QString refusedText =
    u"The username/password is incorrect or the specified account is not a SecureToken administrator."_s;
inline const QString notInSyncText =
    u"There is a mismatch between the password of the specified account and FileVault password. Probably, the account password was recently reset. This account can't access FileVault to sync your new password. Enter the credentials of another SecureToken administrator account."_s;
inline const QString wrongPasswordText = u"The password is incorrect."_s;

/// Settings with only the texts given by their keys after "FileVaultSync".
inline std::shared_ptr<const SSLogonSettings> texts(const QMap<QString, QString> &given)
{
    PropertyListDictionary dictionary{{u"LoginSettingsVersion"_s, qlonglong{1}}};
    for (auto text = given.cbegin(); text != given.cend(); ++text)
        dictionary.insert(u"FileVaultSync"_s + text.key(), text.value());
    auto settings = std::make_shared<SSLogonSettings>();
    if (!settings->deserialize(dictionary))
        qFatal("the settings were not read");
    return settings;
}

inline SSCredentialsView &panel(const FakeAlertWindow &window)
{
    return *qobject_cast<SSCredentialsView *>(window.accessoryView);
}

/// The password in the panel.
inline QString entered(const FakeAlertWindow &window)
{
    const auto data = panel(window).passwordEdit()->secureText();
    return utf16(*data);
}

/// Types into the panel what is given.
inline void enter(const FakeAlertWindow &window, const std::optional<QString> &name,
                  const QString &password)
{
    if (name)
        panel(window).userNameEdit()->setText(*name);
    panel(window).passwordEdit()->setText(password);
}

struct Fixture : Flag::Fixture
{
    Fixture()
    {
        fake.identity->users = {{u"jdoe"_s, 1000}, {u"boss"_s, 2000}};
        fake.identity->groups = {{u"admin"_s, 80}};
        fake.identity->memberships = {{2000, 80}};
        setPasswords({u"s3cret"_s, u"new-pass"_s});
        addFile(Flag::xmlFile("<true/>"));
        FakeDirectory::add(directory->users,
                           {{u"dsAttrTypeStandard:RecordName"_s, {u"boss"_s}},
                            {u"dsAttrTypeStandard:GeneratedUID"_s, {u"B055-ID"_s}}});
        fake.childProcesses->answer = [this](const FakeChildProcesses::Run &run) {
            return tools.answer(run);
        };
    }
    Fixture(const Fixture &) = delete;
    Fixture &operator=(const Fixture &) = delete;

    /// Those that the directory finds right, whoever's.
    void setPasswords(const QStringList &passwords) const
    {
        addRecord(u"1234"_s);
        const auto details = directory->localUsers.records.first()->details().value();
        directory->localUsers.records.clear();
        for (const QString &password : passwords)
            FakeDirectory::add(directory->localUsers, details)->correctPassword =
                password.toStdU16String();
    }

    /// The next window that is run.
    Fixture &then(FakeAlerts::Answer answer)
    {
        fake.alerts->answers.append(std::move(answer));
        return *this;
    }
    Fixture &thenPress(qint64 tag)
    {
        return then([tag](FakeAlertWindow &window) { window.press(tag); });
    }
    Fixture &thenEnter(const std::optional<QString> &name, const QString &password)
    {
        return then([=](FakeAlertWindow &window) {
            enter(window, name, password);
            window.press(confirm);
        });
    }

    [[nodiscard]] bool flag() const { return values().value(u"PasswordChanged"_s).toBool(); }
    [[nodiscard]] const QStringList &windows() const { return fake.alerts->windowsRun; }

    PlayedTools tools;
};

} // namespace Dialog
