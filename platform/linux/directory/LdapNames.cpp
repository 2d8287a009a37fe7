#include "platform/linux/directory/LdapNames.h"

#include <QStringList>

#include <ldap.h>

namespace LdapNames {

QByteArray escapedFilterValue(const QString &value)
{
    constexpr char digits[] = "0123456789abcdef";
    const QByteArray text = value.toUtf8();
    QByteArray escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        if (c == '*' || c == '(' || c == ')' || c == '\\' || c == '\0') {
            const auto byte = static_cast<unsigned char>(c);
            escaped.append('\\').append(digits[byte >> 4]).append(digits[byte & 15]);
        } else {
            escaped.append(c);
        }
    }
    return escaped;
}

std::optional<QString> guidText(const QByteArray &objectGuid)
{
    if (objectGuid.size() != 16)
        return std::nullopt;
    constexpr int order[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    QByteArray bytes;
    for (const int index : order)
        bytes.append(objectGuid.at(index));
    QString text = QString::fromLatin1(bytes.toHex()).toUpper();
    for (const int dash : {20, 16, 12, 8})
        text.insert(dash, u'-');
    return text;
}

QString domainOfName(const QByteArray &distinguishedName)
{
    LDAPDN name = nullptr;
    if (ldap_str2dn(distinguishedName.constData(), &name, LDAP_DN_FORMAT_LDAPV3) != LDAP_SUCCESS)
        return {};
    QStringList labels;
    for (int index = 0; name && name[index]; ++index) {
        const LDAPAVA *part = name[index][0];
        const bool isLabel =
            part &&
            QByteArray(part->la_attr.bv_val, static_cast<int>(part->la_attr.bv_len)).toLower() ==
                "dc";
        if (!isLabel)
            labels.clear();
        else
            labels.append(QString::fromUtf8(part->la_value.bv_val,
                                            static_cast<qsizetype>(part->la_value.bv_len)));
    }
    ldap_dnfree(name);
    return labels.join(u'.').toLower();
}

} // namespace LdapNames
