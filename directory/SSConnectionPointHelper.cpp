#include "directory/SSConnectionPointHelper.h"

#include "directory/SSConnectionPointKeywords.h"
#include "directory/SSOpenDirectoryHelper.h"
#include "directory/SSRecordValues.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"

#include <algorithm>
#include <utility>

namespace {

constexpr char serviceObjectIdentifier[] = SS_SERVICE_OID;

std::optional<QString> localizedDescription(const std::optional<DirectoryError> &error)
{
    return error ? std::optional(error->localizedDescription) : std::nullopt;
}

bool validateMatch(const DirectoryDetails &details, const SSMatchCondition &condition)
{
    const auto values = details.constFind(condition.attribute());
    if (values == details.cend()) {
        SSLog(1, SSMessageType::Error, "Unable get attribute %@ to match condition. %@.",
              condition.attribute(), std::nullopt);
        return false;
    }
    switch (condition.matchType()) {
    case DirectoryMatchType::Any:
        return true;
    case DirectoryMatchType::EqualTo:
        return values->contains(condition.value());
    case DirectoryMatchType::BeginsWith:
        return std::any_of(values->cbegin(), values->cend(), [&](const QString &value) {
            return value.startsWith(condition.value());
        });
    default:
        SSLog(1, SSMessageType::Error, "Invalid match condition type %u", condition.matchType());
        return false;
    }
}

/// The connection point that a validated record describes; null when the record lacks something.
std::shared_ptr<SSConnectionService> connectionService(const DirectoryDetails &details,
                                                       const DirectoryRecord &record)
{
    const SSRecordValues dnsNames(details, DirectoryAttribute::serviceDNSName);
    const std::optional<QString> dnsName = dnsNames.first();
    if (!dnsName)
        return nullptr;
    if (dnsNames.count() > 1) {
        SSLog(2, SSMessageType::Info, "'serviceDNSName' attribute has %@ values for record: %@.",
              dnsNames.count(), record.description());
    }
    const SSRecordValues locations(details, DirectoryAttribute::MetaNodeLocation);
    if (locations.count() != 1) {
        SSLog(2, SSMessageType::Info,
              "'dsAttrTypeStandard::AppleMetaNodeLocation' attribute has %@ values for record: %@.",
              locations.count(), record.description());
    }
    const QStringList rawKeywords = SSRecordValues(details, DirectoryAttribute::keywords).list();
    if (rawKeywords.isEmpty()) {
        SSLog(1, SSMessageType::Error, "'keywords' attribute is absent for record: %@.",
              record.description());
        return nullptr;
    }
    auto service = std::make_shared<SSConnectionService>(*dnsName, locations.first());
    for (const QString &rawKeyword : rawKeywords)
        service->addKeywordFromRawValue(rawKeyword);
    return service;
}

} // namespace

QString SSConnectionPointHelper::serviceOID()
{
    return QString::fromLatin1(serviceObjectIdentifier);
}

std::shared_ptr<SSConnectionPointKeywords> SSConnectionPointHelper::getConnectionPointKeywords()
{
    const SSFunctionLog scope("+[SSConnectionPointHelper getConnectionPointKeywords]");
    std::optional<DirectoryError> error;
    const auto services = findConnectionPoints(error);
    if (!services)
        return nullptr;
    const auto selected = chooseConnectionPoint(*services);
    return SSConnectionPointKeywords::connectionPointWithData(selected->keywords(),
                                                              selected->appleMetaNodeLocation());
}

std::optional<SSConnectionServices>
SSConnectionPointHelper::findConnectionPoints(std::optional<DirectoryError> &error)
{
    const QString keywords = QString::fromUtf16(DirectoryAttribute::keywords);
    const QString objectClass = QString::fromUtf16(DirectoryAttribute::objectClass);
    const auto isService = SSMatchCondition::matchConditionWithAttribute(
        keywords, DirectoryMatchType::EqualTo, serviceOID());
    const SSValidationCondition::List conditions{
        isService,
        SSMatchCondition::matchConditionWithAttribute(objectClass, DirectoryMatchType::EqualTo,
                                                      QStringLiteral("serviceConnectionPoint")),
        // Whatever its value: a connection point that is switched off is still found.
        SSMatchCondition::matchConditionWithAttribute(
            keywords, DirectoryMatchType::BeginsWith,
            QStringLiteral("WinlogonResetPassword.Enabled"))};

    const auto records = SSOpenDirectoryHelper::searchWithType(
        DirectoryNodeType::Authentication, DirectoryRecordType::FileMakerServers, isService,
        {keywords, QString::fromUtf16(DirectoryAttribute::serviceDNSName), objectClass}, error);
    SSLog(1, SSMessageType::Info, "Result objects found: %lu", records ? records->size() : 0);
    if (!records || error) {
        SSLog(1, SSMessageType::Error, "Unable process open directory search request: %@",
              localizedDescription(error));
        return std::nullopt;
    }
    auto services = parseResult(*records, conditions);
    SSLog(1, SSMessageType::Info, "Connection points found: %lu", services ? services->size() : 0);
    return services;
}

std::shared_ptr<SSConnectionService>
SSConnectionPointHelper::chooseConnectionPoint(const SSConnectionServices &services)
{
    std::shared_ptr<SSConnectionService> best;
    for (const auto &service : services) {
        SSLog(1, SSMessageType::Info, "%@", service->keywords());
        if (!best || compareConnectionPoints(*best, *service).candidateWins)
            best = service;
    }
    if (best)
        SSLog(1, SSMessageType::Info, "Selected service: %@", best->keywords());
    return best;
}

SSConnectionPointHelper::Comparison
SSConnectionPointHelper::compareConnectionPoints(const SSConnectionService &best,
                                                 const SSConnectionService &candidate)
{
    const qint32 bestPriority = best.settingsPriority();
    const qint32 priority = candidate.settingsPriority();
    if (priority != bestPriority)
        return {priority > bestPriority, SSConnectionPointPreference::Priority};
    const int order =
        best.serviceDnsName().compare(candidate.serviceDnsName(), Qt::CaseInsensitive);
    if (order != 0)
        return {order > 0, SSConnectionPointPreference::DnsName};
    return {false, SSConnectionPointPreference::Order};
}

std::optional<SSConnectionServices>
SSConnectionPointHelper::parseResult(const DirectoryRecords &records,
                                     const SSValidationCondition &condition)
{
    SSConnectionServices result;
    for (const auto &record : records) {
        std::optional<DirectoryError> error;
        const auto details = SSOpenDirectoryHelper::recordDetails(*record, error);
        if (!details || error) {
            SSLog(1, SSMessageType::Error, "Unable get attributes from record: %@. Error: %@",
                  record->description(), localizedDescription(error));
            continue;
        }
        if (!validateResult(*details, condition))
            continue;
        if (auto service = connectionService(*details, *record))
            result.append(std::move(service));
    }
    if (result.isEmpty())
        return std::nullopt;
    return result;
}

bool SSConnectionPointHelper::validateResult(const DirectoryDetails &details,
                                             const SSValidationCondition &condition)
{
    if (const auto *match = std::get_if<SSMatchCondition>(&condition.value()))
        return validateMatch(details, *match);
    if (const auto *list = std::get_if<SSValidationCondition::List>(&condition.value())) {
        return std::all_of(list->cbegin(), list->cend(), [&](const SSValidationCondition &element) {
            return validateResult(details, element);
        });
    }
    SSLog(1, SSMessageType::Error, "Invalid match condition object. (%@).",
          std::get<QVariant>(condition.value()));
    return false;
}
