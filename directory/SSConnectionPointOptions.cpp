#include "directory/SSConnectionPointHelper.h"

#include "directory/SSConnectionPointKeywords.h"
#include "foundation/SSDefaults.h"
#include "foundation/SSLogger.h"

namespace {

/// Calls the getter of that name and type into `variable`.
template<typename Value>
SSOptionSource readKeyword(const SSConnectionPointKeywords *cpKeywords, const QString &selector,
                           Value &variable)
{
    const auto *const getter =
        cpKeywords ? SSConnectionPointKeywords::getterWithName(selector) : nullptr;
    using Read = Value (SSConnectionPointKeywords::*)() const;
    const Read *const read = getter ? std::get_if<Read>(&getter->read) : nullptr;
    if (!read) {
        SSLog(1, SSMessageType::Error,
              "selector %@ is not found in SSConnectionPointKeywords class.", selector);
        return SSOptionSource::None;
    }
    variable = (cpKeywords->**read)();
    return cpKeywords->valueForKey(QString::fromLatin1(getter->keyword)) ? SSOptionSource::Keyword
                                                                         : SSOptionSource::None;
}

} // namespace

SSOptionSource SSConnectionPointHelper::initializeBooleanOptionWithKey(
    const QString &key, const SSDefaults &defaults, const SSConnectionPointKeywords *cpKeywords,
    const QString &cpKeywordsSelector, bool &varBoolean)
{
    if (defaults.getBooleanForKey(key, varBoolean))
        return SSOptionSource::Defaults;
    return readKeyword(cpKeywords, cpKeywordsSelector, varBoolean);
}

SSOptionSource SSConnectionPointHelper::initializeIntegerOptionWithKey(
    const QString &key, const SSDefaults &defaults, const SSConnectionPointKeywords *cpKeywords,
    const QString &cpKeywordsSelector, qint32 &varInteger)
{
    if (defaults.getIntegerForKey(key, varInteger))
        return SSOptionSource::Defaults;
    return readKeyword(cpKeywords, cpKeywordsSelector, varInteger);
}

SSOptionSource SSConnectionPointHelper::initializeStringOptionWithKey(
    const QString &key, const SSDefaults &defaults, const SSConnectionPointKeywords *cpKeywords,
    const QString &cpKeywordsSelector, std::optional<QString> &varString)
{
    if (defaults.getStringForKey(key, varString))
        return SSOptionSource::Defaults;
    return readKeyword(cpKeywords, cpKeywordsSelector, varString);
}

SSOptionSource SSConnectionPointHelper::initializeStringOptionWithKey(
    const QString &key, const SSDefaults &defaults, const std::optional<QString> &defaultValue,
    std::optional<QString> &varString)
{
    if (defaults.getStringForKey(key, varString))
        return SSOptionSource::Defaults;
    varString = defaultValue;
    return defaultValue ? SSOptionSource::DefaultValue : SSOptionSource::None;
}
