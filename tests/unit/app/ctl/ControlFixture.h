#pragma once

#include "app/ctl/SSControl.h"
#include "tests/support/FakeDirectory.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/FakeUrlSession.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <sstream>
#include <vector>

/// The command line over a platform of fakes, its output caught.
class ControlFixture
{
public:
    ControlFixture()
    {
        fake.platform.directory = directory;
        fake.platform.urlSessions = urls;
    }

    static QStringList pointKeywords(const QStringList &more = {})
    {
        return QStringList{QStringLiteral("1.3.6.1.4.1.32473.2.3.1"),
                           QStringLiteral("WinlogonResetPassword.Enabled=1")} +
               more;
    }
    void addPoint(const QString &dnsName, const QStringList &keywords,
                  const QString &location = QStringLiteral("/Active Directory/CORP/All Domains"))
    {
        FakeDirectory::add(
            directory->connectionPoints,
            {{QStringLiteral("keywords"), keywords},
             {QStringLiteral("serviceDNSName"), {dnsName}},
             {QStringLiteral("objectClass"),
              {QStringLiteral("top"), QStringLiteral("serviceConnectionPoint")}},
             {QStringLiteral("dsAttrTypeStandard:AppleMetaNodeLocation"), {location}}});
    }
    void addUser(const QString &name, const QStringList &domains)
    {
        DirectoryDetails details{{QStringLiteral("dsAttrTypeStandard:RecordName"), {name}},
                                 {QStringLiteral("sAMAccountName"), {name}},
                                 {QStringLiteral("dsAttrTypeStandard:GeneratedUID"),
                                  {QStringLiteral("DEADBEEF-BEAD-DEAD-BEEF-DEADBEEFDEAD")}}};
        if (!domains.isEmpty())
            details.insert(QStringLiteral("dsAttrTypeStandard:PrimaryNTDomain"), domains);
        FakeDirectory::add(directory->users, details);
    }

    int run(const std::vector<const char *> &arguments)
    {
        std::ostringstream outStream;
        std::ostringstream errStream;
        std::vector<const char *> all{"zevrikselfservicectl"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        SSControl control(outStream, errStream, [this](const PlatformOptions &asked) {
            ++platformsMade;
            options = asked;
            Platform platform;
            platform.clock = fake.platform.clock;
            platform.runLoop = fake.platform.runLoop;
            platform.logFile = fake.platform.logFile;
            platform.system = fake.platform.system;
            platform.defaults = fake.platform.defaults;
            platform.identity = fake.platform.identity;
            platform.cryptography = fake.platform.cryptography;
            platform.publicKeys = fake.platform.publicKeys;
            platform.machineIdentity = fake.platform.machineIdentity;
            platform.settingsFiles = fake.platform.settingsFiles;
            platform.childProcesses = fake.platform.childProcesses;
            platform.secretInput = fake.platform.secretInput;
            platform.directory = fake.platform.directory;
            platform.urlSessions = fake.platform.urlSessions;
            if (whenMade)
                whenMade(asked);
            return platform;
        });
        const int status = control.run(all, {});
        output = QString::fromStdString(outStream.str());
        errors = QString::fromStdString(errStream.str());
        return status;
    }

    /// The answer as a program reads it.
    [[nodiscard]] QJsonObject json() const
    {
        return QJsonDocument::fromJson(output.toUtf8()).object();
    }

    FakePlatform fake;
    std::shared_ptr<FakeDirectory> directory = std::make_shared<FakeDirectory>();
    std::shared_ptr<FakeUrlSessionFactory> urls = std::make_shared<FakeUrlSessionFactory>();
    std::function<void(const PlatformOptions &)> whenMade;
    PlatformOptions options; ///< of the platform made last
    int platformsMade = 0;
    QString output;
    QString errors;
};
