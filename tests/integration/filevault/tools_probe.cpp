// Asks the disk encryption tools as whoever runs it. The question comes as JSON on the standard
// input, so that no password stands in an argument list but where the tools take it; the answer
// goes to the standard output as JSON, the log to its file.
#include "filevault/SSFdeUsers.h"
#include "filevault/SSSecureTokenHelper.h"
#include "foundation/SSLogger.h"
#include "platform/PlatformFactory.h"
#include "security/SSSecureData.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <optional>

namespace {

std::shared_ptr<SSSecureData> password(const QString &text)
{
    SSSecure::Bytes bytes;
    for (const QChar character : text) {
        bytes.push_back(static_cast<std::byte>(character.unicode() & 0xffU));
        bytes.push_back(static_cast<std::byte>(character.unicode() >> 8U));
    }
    return SSSecureData::initWithData(std::move(bytes));
}

QJsonObject answer(const QJsonObject &question)
{
    const auto text = [&](const char *key) { return question[QLatin1String(key)].toString(); };
    const QString operation = text("operation");
    const QString user = text("user");
    const QString admin = text("admin");
    const auto userPassword = password(text("password"));
    const auto adminPassword = password(text("adminPassword"));
    std::optional<QString> message;
    bool result = false;
    if (operation == QLatin1String("status"))
        result = SSSecureTokenHelper::fdeStatus();
    else if (operation == QLatin1String("token"))
        result = SSSecureTokenHelper::secureTokenStatusWithUserName(user);
    else if (operation == QLatin1String("list"))
        result = SSSecureTokenHelper::fdeUserWithUserName(user, admin, *adminPassword);
    else if (operation == QLatin1String("verify"))
        result = SSSecureTokenHelper::verifyDiskPasswordWithAdminUserName(user, *userPassword);
    else if (operation == QLatin1String("grant"))
        result = SSSecureTokenHelper::secureTokenOnWithUserName(user, *userPassword, admin,
                                                                *adminPassword, message);
    else if (operation == QLatin1String("readd"))
        result = SSSecureTokenHelper::updateFdeUserWithUserName(user, *userPassword, admin,
                                                                *adminPassword, message);
    else
        message = QStringLiteral("unknown operation");
    return {{QStringLiteral("result"), result},
            {QStringLiteral("message"), message ? QJsonValue(*message) : QJsonValue()}};
}

} // namespace

int main(int argc, char **argv)
{
    PlatformOptions options;
    options.bundleIdentifier = applicationIdentifier();
    options.diagnostics = [](unsigned level, DiagnosticType type, const QString &text) {
        SSLog(level, type == DiagnosticType::Error ? SSMessageType::Error : SSMessageType::Info,
              "%@", text);
    };
    Platform platform = makeCommandLinePlatform(argc, argv, options);
    Platform::install(&platform);
    SSLogger::sharedInstance()->setLogLevel(2);
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly))
        return 2;
    const QByteArray told =
        QJsonDocument(answer(QJsonDocument::fromJson(input.readAll()).object())).toJson();
    std::fwrite(told.constData(), 1, static_cast<std::size_t>(told.size()), stdout);
    Platform::install(nullptr);
    return 0;
}
