#pragma once

#include <QMap>
#include <QString>

#include <memory>
#include <optional>
#include <variant>

class SSSecureData;

/// The keywords of the chosen connection point, with a getter for each setting. Never changes after
/// creation, so any thread may read it.
///
/// A string getter gives the value or none; a boolean one true exactly for "1"; an integer one the
/// value's leading decimal integer, 0 without one.
class SSConnectionPointKeywords
{
public:
    using Boolean = bool;
    using Integer = qint32;
    using String = std::optional<QString>;

    /// One getter as it is looked up by name.
    struct Getter
    {
        const char *name;
        const char *keyword;
        std::variant<Boolean (SSConnectionPointKeywords::*)() const,
                     Integer (SSConnectionPointKeywords::*)() const,
                     String (SSConnectionPointKeywords::*)() const>
            read;
    };

    [[nodiscard]] static std::shared_ptr<SSConnectionPointKeywords>
    connectionPointWithData(const QMap<QString, QString> &data,
                            const std::optional<QString> &appleMetaNodeLocation);

    SSConnectionPointKeywords(const QMap<QString, QString> &data,
                              const std::optional<QString> &appleMetaNodeLocation);

    /// The connection point's place in the directory, as /Active Directory/CORP/All Domains.
    [[nodiscard]] const std::optional<QString> &appleMetaNodeLocation() const
    {
        return m_appleMetaNodeLocation;
    }
    /// The keywords as the directory holds them, name to value, numbered parts apart.
    [[nodiscard]] const QMap<QString, QString> &data() const { return m_data; }

    [[nodiscard]] QString description() const;

    /// The value of `name`, else the joined values of name:0, name:1, … up to the first gap.
    [[nodiscard]] std::optional<QString> valueForKey(const QString &name) const;

    /// data() with every value of several parts joined under its plain name, as valueForKey reads
    /// it. Parts that no plain name reaches stay as they are.
    [[nodiscard]] QMap<QString, QString> joinedKeywords() const;

    /// The public key of the configuration set; null, with a log line, when it is missing or is no
    /// Base64.
    [[nodiscard]] std::shared_ptr<SSSecureData> configurationSetPublicKey() const;

    /// The getter of that name, null for none.
    [[nodiscard]] static const Getter *getterWithName(const QString &name);

#define SS_KEYWORD(type, getter, keyword)                                                          \
    [[nodiscard]] type getter() const                                                              \
    {                                                                                              \
        return read##type(QStringLiteral(keyword));                                                \
    }
#include "directory/SSConnectionPointKeywords.def"
#undef SS_KEYWORD

private:
    [[nodiscard]] Boolean readBoolean(const QString &keyword) const;
    [[nodiscard]] Integer readInteger(const QString &keyword) const;
    [[nodiscard]] String readString(const QString &keyword) const;

    std::optional<QString> m_appleMetaNodeLocation;
    QMap<QString, QString> m_data;
};
