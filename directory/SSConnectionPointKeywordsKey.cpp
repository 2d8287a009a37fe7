#include "directory/SSConnectionPointKeywords.h"

#include "foundation/SSLogger.h"
#include "security/SSSecureData.h"

std::shared_ptr<SSSecureData> SSConnectionPointKeywords::configurationSetPublicKey() const
{
    // A missing part counts as empty.
    const QString text = valueForKey(QStringLiteral("ConfigurationSet.Key:0")).value_or(QString()) +
                         valueForKey(QStringLiteral("ConfigurationSet.Key:1")).value_or(QString());
    if (text.isEmpty()) {
        SSLog(1, SSMessageType::Error, "Unable retrieve configuration set key.");
        return nullptr;
    }
    auto key = SSSecureData::initWithBase64EncodedString(text);
    if (!key || key->length() == 0) {
        SSLog(1, SSMessageType::Error, "Unable decode configuration set key (%@).", text);
        return nullptr;
    }
    return key;
}
