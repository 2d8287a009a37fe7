// Saves or loads the logon settings as whoever runs it: logon_settings_probe ROOT LDIF save|load.
// The answer goes to the standard output as JSON, the log's errors to the standard error.
#include "directory/SSConnectionPointHelper.h"
#include "directory/SSConnectionPointKeywords.h"
#include "foundation/SSLogger.h"
#include "platform/LogFile.h"
#include "platform/PlatformFactory.h"
#include "security/SSSecureData.h"
#include "settings/SSLogonSettings.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace {

class ErrorOutput final : public LogFile
{
public:
    void append(const QString &, QByteArrayView line) override
    {
        if (line.contains("[Error]"))
            std::fwrite(line.data(), 1, static_cast<std::size_t>(line.size()), stderr);
    }
};

QJsonObject save()
{
    const auto keywords = SSConnectionPointHelper::getConnectionPointKeywords();
    if (!keywords)
        return {};
    SSLogonSettings settings;
    settings.loadFromConnectionPointKeywords(keywords.get());
    settings.updateComputerRID(0xFFFFFFFF);
    settings.generateNewSessionKey();
    return {{QStringLiteral("saved"), settings.save()},
            {QStringLiteral("sessionKey"), settings.sessionKey()->base64EncodedString()}};
}

QJsonObject load()
{
    const auto settings = SSLogonSettings::settingsFromCache();
    if (!settings)
        return {{QStringLiteral("loaded"), false}};
    const auto &key = settings->sessionKey();
    return {{QStringLiteral("loaded"), true},
            {QStringLiteral("linkURL"), settings->linkURL().value_or(QString())},
            {QStringLiteral("computerRID"), static_cast<qint64>(settings->computerRID())},
            {QStringLiteral("sessionKey"),
             key ? QJsonValue(key->base64EncodedString()) : QJsonValue(QJsonValue::Null)}};
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4)
        return 2;
    PlatformOptions options;
    options.rootPrefix = QString::fromLocal8Bit(argv[1]);
    options.bundleIdentifier = applicationIdentifier();
    options.ldifFile = QString::fromLocal8Bit(argv[2]);
    int argumentCount = 1;
    Platform platform = makeCommandLinePlatform(argumentCount, argv, options);
    platform.logFile = std::make_shared<ErrorOutput>();
    Platform::install(&platform);
    SSLogger::sharedInstance()->setLogLevel(1);
    const QJsonObject answer = QByteArrayView(argv[3]) == "save" ? save() : load();
    Platform::install(nullptr);
    std::puts(QJsonDocument(answer).toJson(QJsonDocument::Compact).constData());
    return 0;
}
