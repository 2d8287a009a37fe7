#include "settings/SSLogonSettings.h"

#include "directory/SSConnectionPointKeywords.h"
#include "foundation/SSDefaults.h"
#include "foundation/SSFunctionLog.h"
#include "foundation/SSLogger.h"
#include "foundation/SSUtils.h"
#include "security/SSRSAKey.h"
#include "security/SSSecureData.h"
#include "security/SSSecurityHelper.h"
#include "settings/SSLogonSettingsTable.h"
#include "settings/SSOverloaded.h"
#include "settings/SSSettingField.h"

#include <utility>

namespace {

QByteArray bytesOf(const SSSecureData &data)
{
    const auto bytes = data.data();
    return {reinterpret_cast<const char *>(bytes.data()), static_cast<qsizetype>(bytes.size())};
}

QString keywordOf(const char *getterName)
{
    const auto *const getter =
        SSConnectionPointKeywords::getterWithName(QString::fromLatin1(getterName));
    // The public key is joined from two keywords and has no getter among the typed ones.
    return getter ? QString::fromLatin1(getter->keyword) : QStringLiteral("ConfigurationSet.Key");
}

} // namespace

using S = SSLogonSettings;

bool SSLogonSettings::isOpen(Gate gate) const
{
    if (gate == Gate::Always)
        return true;
    if (!m_enabled)
        return false;
    switch (gate) {
    case Gate::Always:
    case Gate::Enabled:
        break;
    case Gate::CredCacheOrOffline:
    case Gate::ComputerKeys:
        return m_updCredCacheEnabled || m_oprEnabled;
    case Gate::Offline:
        return m_oprEnabled;
    case Gate::FileVault:
        return m_fileVaultPromptEnabled;
    }
    return true;
}

SSLogonSettings::SSLogonSettings()
{
    reset();
}

void SSLogonSettings::reset()
{
    for (const Row &row : Table::rows)
        std::visit([this](auto field) { this->*field = {}; }, row.field);
    m_sources.fill(std::nullopt);
}

void SSLogonSettings::loadFromConnectionPointKeywords(const SSConnectionPointKeywords *keywords)
{
    const SSFunctionLog scope("-[SSLogonSettings loadFromConnectionPointKeywords:]");
    reset();
    if (!keywords) {
        SSLog(1, SSMessageType::Error, "There are no connection point keywords.");
        return;
    }
    m_appleMetaNodeLocation = keywords->appleMetaNodeLocation();
    const auto defaults = SSDefaults::defaults();
    for (const Row *row : Table::Walk<&Row::load>::rows) {
        if (!isOpen(row->gate))
            continue;
        SSLog(row->progress.level, SSMessageType::Info, row->progress.text);
        m_sources.at(static_cast<std::size_t>(row - Table::rows.data())) =
            resolve(*row, *defaults, *keywords);
    }
    log();
}

SSOptionSource SSLogonSettings::resolve(const Row &row, const SSDefaults &defaults,
                                        const SSConnectionPointKeywords &keywords)
{
    using Helper = SSConnectionPointHelper;
    const QString key = QString::fromLatin1(row.key);
    const QString getter = QString::fromLatin1(row.getter);
    const QString builtIn = QString::fromUtf8(row.builtIn.text);
    return std::visit(
        SSOverloaded{
            [&](Unsigned S::*) { return SSOptionSource::None; },
            [&](String S::*field) {
                String &text = this->*field;
                auto source =
                    row.getter
                        ? SSSettingField::resolve(key, defaults, &keywords, getter, text)
                        : Helper::initializeStringOptionWithKey(key, defaults, builtIn, text);
                if (row.builtIn.whenEmpty && text.value_or(QString()).isEmpty()) {
                    text = builtIn;
                    source = SSOptionSource::DefaultValue;
                }
                if (row.builtIn.lineFeeds && text)
                    text->replace(QStringLiteral("\\n"), QStringLiteral("\n"));
                return source;
            },
            // The one buffer that loading fills has a getter of its own kind and no override.
            [&](Secure S::*field) {
                this->*field = keywords.configurationSetPublicKey();
                return this->*field ? SSOptionSource::Keyword : SSOptionSource::None;
            },
            [&](auto field) {
                return SSSettingField::resolve(key, defaults, &keywords, getter, this->*field);
            }},
        row.field);
}

bool SSLogonSettings::isEqual(const Row &row, const SSLogonSettings &other) const
{
    return std::visit(SSOverloaded{[&](String S::*field) {
                                       return SSUtils::isEqualEx(this->*field, other.*field);
                                   },
                                   [&](Secure S::*field) {
                                       return SSUtils::isEqualEx((this->*field).get(),
                                                                 (other.*field).get());
                                   },
                                   [&](auto field) { return this->*field == other.*field; }},
                      row.field);
}

std::optional<QString> SSLogonSettings::firstDifference(const SSLogonSettings &other,
                                                        bool compareComputerKeys) const
{
    // What opens a gate has been found equal before anything behind it is compared.
    for (const Row *row : Table::Walk<&Row::compare>::rows) {
        if (row->group == Gate::ComputerKeys && !compareComputerKeys)
            continue;
        if (isOpen(row->group) && !isEqual(*row, other))
            return QString::fromLatin1(row->property);
    }
    return std::nullopt;
}

bool SSLogonSettings::compare(const SSLogonSettings *other, bool compareComputerKeys) const
{
    return other == this || (other && !firstDifference(*other, compareComputerKeys));
}

bool SSLogonSettings::needKey() const
{
    return isOpen(Gate::ComputerKeys);
}

bool SSLogonSettings::hasKey() const
{
    return needKey() && m_sessionKey && m_sessionKey->length() > 0;
}

void SSLogonSettings::generateNewSessionKey()
{
    const SSFunctionLog scope("-[SSLogonSettings generateNewSessionKey]");
    if (!m_configurationSetPublicKey || m_configurationSetPublicKey->length() == 0) {
        SSLog(1, SSMessageType::Error, "Public key is invalid");
        return;
    }
    m_sessionKey = SSSecureData::sessionKeyRandomGenerated();
    const auto publicKey = SSRSAKey::keyWithMsKeyData(m_configurationSetPublicKey.get());
    m_cipheredSessionKey = SSSecurityHelper::encodeSecureData(m_sessionKey.get(), publicKey.get());
}

void SSLogonSettings::copySessionKeyFromSettings(const SSLogonSettings *settings)
{
    if (!settings)
        return;
    m_sessionKey = settings->m_sessionKey;
    m_cipheredSessionKey = settings->m_cipheredSessionKey;
}

void SSLogonSettings::clearSessionKey()
{
    m_sessionKey.reset();
    m_cipheredSessionKey.reset();
}

void SSLogonSettings::updateComputerRID(quint32 computerRID)
{
    m_computerRID = computerRID;
}

QVariant SSLogonSettings::value(const Row &row) const
{
    return std::visit(
        SSOverloaded{[this](Secure S::*field) {
                         const Secure &data = this->*field;
                         return data ? QVariant(bytesOf(*data)) : QVariant();
                     },
                     [this](auto field) { return SSSettingField::value(this->*field); }},
        row.field);
}

QVariant SSLogonSettings::publicValue(const QString &property) const
{
    const auto *const row =
        std::find_if(Table::rows.begin(), Table::rows.end(), [&](const Row &candidate) {
            return property == QLatin1String(candidate.property);
        });
    if (row == Table::rows.end() || row->cache == Row::Cache::KeysEnciphered)
        return {};
    return value(*row);
}

void SSLogonSettings::log() const
{
    const auto logger = SSLogger::sharedInstance();
    const quint32 level = logger ? logger->logLevel() : 0;
    if (level == 0)
        return;
    SSLog(1, SSMessageType::Info, "SETTINGS: LOGON EXTENSION");
    SSLog(1, SSMessageType::Info, "    - Log level: %d", level);
    for (const Row &row : Table::rows) {
        if (!row.block)
            continue;
        std::visit(SSOverloaded{[&](Secure S::*) { SSSettingField::log(row.block, value(row)); },
                                [&](auto field) { SSSettingField::log(row.block, this->*field); }},
                   row.field);
    }
}

QList<SSSettingProvenance> SSLogonSettings::provenance() const
{
    QList<SSSettingProvenance> result;
    for (const Row *row : Table::Walk<&Row::load>::rows) {
        const auto source = m_sources.at(static_cast<std::size_t>(row - Table::rows.data()));
        SSSettingProvenance entry;
        entry.property = QString::fromLatin1(row->property);
        entry.value = value(*row);
        entry.source = source.value_or(SSOptionSource::None);
        entry.resolved = source.has_value();
        if (entry.source == SSOptionSource::Defaults)
            entry.sourceName = QString::fromLatin1(row->key);
        else if (entry.source == SSOptionSource::Keyword)
            entry.sourceName = keywordOf(row->getter);
        result.append(entry);
    }
    return result;
}
