#include "directory/SSConnectionPointKeywords.h"
#include "directory/SSConnectionService.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <cstdint>
#include <cstdlib>

/// Takes one keyword a line, as the directory would give them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    SSConnectionService service(QStringLiteral("dns"), std::nullopt);
    for (const QByteArray &line : input.split('\n'))
        service.addKeywordFromRawValue(QString::fromUtf8(line));
    if (service.keywords().isEmpty())
        std::abort(); // even an empty line is a keyword

    const SSConnectionPointKeywords keywords(service.keywords(), service.appleMetaNodeLocation());
    const QMap<QString, QString> joined = keywords.joinedKeywords();
    for (auto it = joined.cbegin(); it != joined.cend(); ++it) {
        if (keywords.valueForKey(it.key()) != it.value())
            std::abort();
    }
    for (auto it = service.keywords().cbegin(); it != service.keywords().cend(); ++it) {
        if (it.key().contains(QLatin1Char('=')) || keywords.valueForKey(it.key()) != it.value())
            std::abort();
    }
    static_cast<void>(service.settingsPriority());
    static_cast<void>(keywords.enrollNotificationMins());
    static_cast<void>(keywords.enrollNotificationEnabled());
    static_cast<void>(keywords.text());
    static_cast<void>(keywords.configurationSetPublicKey());
    static_cast<void>(keywords.description());
    return 0;
}
