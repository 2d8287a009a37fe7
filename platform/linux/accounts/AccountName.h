#pragma once

#include <QString>

/// An account name of a joined computer, taken apart: `jdoe`, `jdoe@corp.example.test` or
/// `CORP\jdoe`.
struct AccountName
{
    QString shortName; ///< the whole name when it has no domain part
    QString dnsDomain; ///< behind the "@"; empty when there is none
    QString ntDomain;  ///< before the "\"; empty when there is none

    [[nodiscard]] static AccountName parse(const QString &name);
};
