#pragma once

#include <QString>
#include <QVariant>

#include <optional>

/// Read access to the application's defaults domain: managed settings first, then the user's, then
/// the computer's.
class UserDefaultsStore
{
public:
    virtual ~UserDefaultsStore() = default;

    /// The identifier of the domain whose values are read.
    [[nodiscard]] virtual QString domain() const = 0;

    /// The value of `key` as its property-list type: QString, bool, qlonglong (qulonglong above its
    /// range), double, QDateTime, QByteArray, QVariantList or QVariantMap. Absent when no layer of
    /// the domain has the key. Any thread.
    [[nodiscard]] virtual std::optional<QVariant> objectForKey(const QString &key) = 0;
};
