#include "directory/SSConnectionPointKeywords.h"

#include "foundation/SSFormat.h"
#include "foundation/SSNumberReading.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr SSConnectionPointKeywords::Getter getters[] = {
#define SS_KEYWORD(type, getter, keyword) {#getter, keyword, &SSConnectionPointKeywords::getter},
#include "directory/SSConnectionPointKeywords.def"
#undef SS_KEYWORD
};

QString partName(const QString &name, int index)
{
    return SSFormat::format("%@:%d", name, index);
}

} // namespace

std::shared_ptr<SSConnectionPointKeywords> SSConnectionPointKeywords::connectionPointWithData(
    const QMap<QString, QString> &data, const std::optional<QString> &appleMetaNodeLocation)
{
    return std::make_shared<SSConnectionPointKeywords>(data, appleMetaNodeLocation);
}

SSConnectionPointKeywords::SSConnectionPointKeywords(
    const QMap<QString, QString> &data, const std::optional<QString> &appleMetaNodeLocation)
    : m_appleMetaNodeLocation(appleMetaNodeLocation), m_data(data)
{
}

QString SSConnectionPointKeywords::description() const
{
    return SSFormat::format("appleMetaNodeLocation: %@\ndata: %@", m_appleMetaNodeLocation, m_data);
}

std::optional<QString> SSConnectionPointKeywords::valueForKey(const QString &name) const
{
    if (const auto it = m_data.constFind(name); it != m_data.cend())
        return *it;
    auto part = m_data.constFind(partName(name, 0));
    if (part == m_data.cend())
        return std::nullopt;
    QString text;
    for (int i = 1; part != m_data.cend(); ++i) {
        text += *part;
        part = m_data.constFind(partName(name, i));
    }
    return text;
}

QMap<QString, QString> SSConnectionPointKeywords::joinedKeywords() const
{
    static const QString firstPart = QStringLiteral(":0");
    QMap<QString, QString> result = m_data;
    for (auto it = m_data.cbegin(); it != m_data.cend(); ++it) {
        if (!it.key().endsWith(firstPart))
            continue;
        const QString name = it.key().chopped(firstPart.size());
        if (m_data.contains(name))
            continue;
        if (const auto value = valueForKey(name))
            result.insert(name, *value);
        for (int i = 0; m_data.contains(partName(name, i)); ++i)
            result.remove(partName(name, i));
    }
    return result;
}

const SSConnectionPointKeywords::Getter *
SSConnectionPointKeywords::getterWithName(const QString &name)
{
    const auto *const it =
        std::find_if(std::begin(getters), std::end(getters),
                     [&](const Getter &getter) { return name == QLatin1String(getter.name); });
    return it == std::end(getters) ? nullptr : it;
}

SSConnectionPointKeywords::Boolean
SSConnectionPointKeywords::readBoolean(const QString &keyword) const
{
    return valueForKey(keyword) == QStringLiteral("1");
}

SSConnectionPointKeywords::Integer
SSConnectionPointKeywords::readInteger(const QString &keyword) const
{
    const auto value = valueForKey(keyword);
    return value ? SSNumberReading::intValue(*value) : 0;
}

SSConnectionPointKeywords::String
SSConnectionPointKeywords::readString(const QString &keyword) const
{
    return valueForKey(keyword);
}
