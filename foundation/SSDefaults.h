#pragma once

#include <QString>

#include <memory>
#include <optional>

class UserDefaultsStore;

/// Typed reads of the application's defaults domain. A getter returns false and leaves the variable
/// alone when the key is absent, so that a caller can fall back to another source.
class SSDefaults
{
public:
    /// A new object over the platform's store of the domain, each time.
    [[nodiscard]] static std::shared_ptr<SSDefaults> defaults();

    explicit SSDefaults(std::shared_ptr<UserDefaultsStore> store);

    /// The integer of "LogLevel" when it is 1 or 2, otherwise 0, too large values included.
    [[nodiscard]] quint32 getLogLevel() const;

    bool getBooleanForKey(const QString &key, bool &varBoolean) const;
    /// The value's integer reading, its low 32 bits.
    bool getIntegerForKey(const QString &key, qint32 &varInteger) const;
    /// A value of another type gives its "%@" text.
    bool getStringForKey(const QString &key, std::optional<QString> &varString) const;

private:
    std::shared_ptr<UserDefaultsStore> m_defaults;
};
