#include "platform/linux/accounts/AccountName.h"

AccountName AccountName::parse(const QString &name)
{
    const qsizetype backslash = name.indexOf(u'\\');
    if (backslash > 0 && backslash + 1 < name.size())
        return {name.mid(backslash + 1), {}, name.left(backslash)};
    const qsizetype at = name.lastIndexOf(u'@');
    if (at > 0 && at + 1 < name.size())
        return {name.left(at), name.mid(at + 1), {}};
    return {name, {}, {}};
}
