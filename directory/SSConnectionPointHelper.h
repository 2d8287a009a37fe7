#pragma once

#include "directory/SSConnectionService.h"
#include "directory/SSMatchCondition.h"
#include "platform/Directory.h"

#include <QList>
#include <QString>

#include <memory>
#include <optional>

class SSConnectionPointKeywords;
class SSDefaults;

using SSConnectionServices = QList<std::shared_ptr<SSConnectionService>>;

/// What put one connection point before another.
enum class SSConnectionPointPreference {
    Priority, ///< the higher "WinlogonResetPassword.SettingsPriority"
    DnsName,  ///< the smaller DNS name, ignoring case, at equal priority
    Order,    ///< nothing but coming first in the directory's answer
};

/// Where an option got its value from.
enum class SSOptionSource {
    None,         ///< nowhere: the variable holds what an absent keyword reads as
    Defaults,     ///< the key in the defaults domain
    Keyword,      ///< the keyword of the connection point
    DefaultValue, ///< the default text that the caller gave
};

/// Finds the service's connection points in the directory, chooses one, and reads options from the
/// chosen one's keywords and the defaults domain. Main thread; searches block.
class SSConnectionPointHelper
{
public:
    /// The OID that marks the service's connection points among all others.
    [[nodiscard]] static QString serviceOID();

    /// The keywords of the chosen connection point; null, with a log line, when there is none.
    [[nodiscard]] static std::shared_ptr<SSConnectionPointKeywords> getConnectionPointKeywords();

    // The two halves of getConnectionPointKeywords.

    /// All connection points of the service, in the directory's order; none when there is none or
    /// the search failed, which fills the slot. Pass an empty slot.
    [[nodiscard]] static std::optional<SSConnectionServices>
    findConnectionPoints(std::optional<DirectoryError> &error);

    /// The one of `services` that applies; null for an empty list.
    [[nodiscard]] static std::shared_ptr<SSConnectionService>
    chooseConnectionPoint(const SSConnectionServices &services);

    /// Whether `candidate`, which comes later, goes before `best`, and for what.
    struct Comparison
    {
        bool candidateWins;
        SSConnectionPointPreference preference;
    };
    [[nodiscard]] static Comparison compareConnectionPoints(const SSConnectionService &best,
                                                            const SSConnectionService &candidate);

    /// The records that satisfy `condition`, as connection points; none when there is none.
    [[nodiscard]] static std::optional<SSConnectionServices>
    parseResult(const DirectoryRecords &records, const SSValidationCondition &condition);

    [[nodiscard]] static bool validateResult(const DirectoryDetails &details,
                                             const SSValidationCondition &condition);

    // Options: a key that is set in the defaults domain wins; otherwise the getter named by
    // `cpKeywordsSelector` is called, also when it gives nothing. Without such a getter of the
    // option's type, or without keywords, that is logged and the variable left alone. The result
    // says where the value came from.

    static SSOptionSource
    initializeBooleanOptionWithKey(const QString &key, const SSDefaults &defaults,
                                   const SSConnectionPointKeywords *cpKeywords,
                                   const QString &cpKeywordsSelector, bool &varBoolean);
    static SSOptionSource
    initializeIntegerOptionWithKey(const QString &key, const SSDefaults &defaults,
                                   const SSConnectionPointKeywords *cpKeywords,
                                   const QString &cpKeywordsSelector, qint32 &varInteger);
    static SSOptionSource initializeStringOptionWithKey(const QString &key,
                                                        const SSDefaults &defaults,
                                                        const SSConnectionPointKeywords *cpKeywords,
                                                        const QString &cpKeywordsSelector,
                                                        std::optional<QString> &varString);
    static SSOptionSource initializeStringOptionWithKey(const QString &key,
                                                        const SSDefaults &defaults,
                                                        const std::optional<QString> &defaultValue,
                                                        std::optional<QString> &varString);
};
