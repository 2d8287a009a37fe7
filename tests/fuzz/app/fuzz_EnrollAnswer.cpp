#include "app/SSEnrollUserInfo.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdlib>

/// Takes an answer of the web interface.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray input(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const auto query = SSEnrollUserInfo::initWithAnswer(QString::fromUtf8(input));
    const QMap<QString, QString> params = query->params();
    for (auto it = params.cbegin(); it != params.cend(); ++it) {
        if (it.key() != it.key().toLower() || it.key().contains(QLatin1Char('\n')) ||
            query->stringValueForKey(it.key()) != it.value()) {
            std::abort();
        }
    }
    static_cast<void>(query->needReckeck());
    static_cast<void>(query->isUserEnrolled());
    static_cast<void>(query->error());
    return 0;
}
