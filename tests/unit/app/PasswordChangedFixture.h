#pragma once

#include "directory/SSConnectionPointKeywords.h"
#include "platform/PropertyList.h"
#include "settings/SSLogonSettings.h"
#include "tests/unit/app/EnrollFixture.h"

#include <optional>
#include <string>

/// A user whose password was changed elsewhere, on a computer whose tools the test plays. The
/// enroll flow is switched off, so that the password-changed flow alone decides when the process
/// ends.
class PasswordChangedFixture : public EnrollFixture
{
public:
    PasswordChangedFixture()
    {
        set(u"EnrollSysNotification.Enabled", QStringLiteral("0"));
        set(u"FileVaultSyncPrompt.Enabled", QStringLiteral("1"));
        set(u"FileVaultSyncPrompt.Title", QStringLiteral("Finish"));
        set(u"FileVaultSyncPrompt.Text", QStringLiteral("Your disk does not know it yet"));
        set(u"FileVaultSyncPrompt.SkipButtonText", QStringLiteral("Never mind"));
        set(u"FileVaultSyncPrompt.RemindLaterButtonText", QStringLiteral("Not now"));
        set(u"FileVaultSyncPrompt.RemindLaterIntervalMins", QStringLiteral("20"));
        addLocalUser(QStringLiteral("jdoe"), u"Neu-9");
        setFlag(true);
        fake.childProcesses->answer = [this](const FakeChildProcesses::Run &run) {
            FakeChildProcesses::Answer answer;
            answer.output = toolAnswer(run);
            return answer;
        };
    }

    static QString promptIdentifier()
    {
        return QStringLiteral("{09D26182-CA47-4E97-8B65-DC140A6A715D}");
    }
    static QString skipIdentifier()
    {
        return QStringLiteral("{918D2712-EF7D-47B5-9FE7-5A67C97FF9B4}");
    }
    static QString laterIdentifier()
    {
        return QStringLiteral("{976BD9D8-657D-4516-AFF0-DE0D26D6B3A7}");
    }

    /// Up to the prompt on the screen.
    void startAndPrompt()
    {
        start();
        fake.runLoop->advance(10);
    }
    /// The user clicks the notification, or chooses an action of it.
    void click(const std::optional<QString> &action = std::nullopt)
    {
        UserNotification clicked;
        clicked.identifier = promptIdentifier();
        clicked.additionalActivationAction = action;
        fake.notificationCenter->activate(clicked);
        fake.runLoop->runPending();
    }
    /// The user closes whatever notification is on the screen.
    void dismiss() { fake.notificationCenter->delivered.clear(); }

    [[nodiscard]] qsizetype promptsShown() const
    {
        const auto &all = fake.notificationCenter->delivered;
        return std::count_if(all.cbegin(), all.cend(), [](const UserNotification &notification) {
            return notification.identifier == promptIdentifier();
        });
    }
    [[nodiscard]] qsizetype promptsEverShown() const
    {
        return fake.notificationCenter->everDelivered.size();
    }

    /// The settings of an earlier run, as the directory has them now but for `changes`.
    void cacheSettings(const QMap<QString, QString> &changes = {})
    {
        QMap<QString, QString> data = keywords;
        data.insert(changes);
        const SSConnectionPointKeywords point(data,
                                              QStringLiteral("/Active Directory/CORP/All Domains"));
        SSLogonSettings settings;
        settings.loadFromConnectionPointKeywords(&point);
        const auto bytes = writeBinaryPropertyList(settings.serialize());
        fake.settingsFiles->addFile(
            QStringLiteral("/Library/Caches/ZevrikSelfService/com.zevrik.selfservice.plist"),
            {reinterpret_cast<const char *>(bytes.value().data()),
             static_cast<qsizetype>(bytes.value().size())});
        fake.log->clear();
    }

    /// The user's flag, in his preferences file.
    void setFlag(bool isSet)
    {
        fake.settingsFiles->addFolder(preferencesFolder());
        fake.settingsFiles->addFile(
            preferencesFile(),
            QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                       "<key>PasswordChanged</key><") +
                (isSet ? "true" : "false") + "/></dict></plist>");
    }
    [[nodiscard]] bool flag() const
    {
        const auto file = fake.settingsFiles->entries.constFind(preferencesFile());
        if (file == fake.settingsFiles->entries.cend())
            return false;
        const PropertyListResult list = readPropertyList(file->bytes);
        return list && list.value().toMap().value(QStringLiteral("PasswordChanged")).toBool();
    }
    static QString preferencesFolder() { return QStringLiteral("/home/jdoe/Library/Preferences"); }
    static QString preferencesFile()
    {
        return preferencesFolder() + QStringLiteral("/com.zevrik.selfservice.plist");
    }

    /// Command lines of the programs that ran.
    [[nodiscard]] QStringList commands() const
    {
        QStringList result;
        for (const FakeChildProcesses::Run &run : std::as_const(fake.childProcesses->runs))
            result.append((QStringList(run.executable) + run.arguments.value_or(QStringList()))
                              .join(QLatin1Char(' ')));
        return result;
    }

    bool fileVaultIsOn = true;
    bool userHoldsToken = true;

protected:
    /// An account of this computer.
    void addLocalUser(const QString &name, const std::u16string &password)
    {
        const auto record = FakeDirectory::add(
            directory->localUsers,
            {{QString::fromUtf16(DirectoryAttribute::RecordName), {name}},
             {QString::fromUtf16(DirectoryAttribute::PrimaryGroupID), {QStringLiteral("1000")}},
             {QString::fromUtf16(DirectoryAttribute::NFSHomeDirectory),
              {QStringLiteral("/home/") + name}}});
        record->correctPassword = password;
    }

private:
    [[nodiscard]] QByteArray toolAnswer(const FakeChildProcesses::Run &run) const
    {
        const QStringList arguments = run.arguments.value_or(QStringList());
        if (run.executable == QLatin1String("/usr/bin/fdesetup"))
            return fileVaultIsOn ? "FileVault is On.\n" : "FileVault is Off.\n";
        if (arguments.value(0) == QLatin1String("-secureTokenStatus"))
            return userHoldsToken ? "Secure token is ENABLED for user Jane Doe\n"
                                  : "Secure token is DISABLED for user Jane Doe\n";
        return {};
    }
};
