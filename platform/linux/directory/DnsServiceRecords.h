#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <optional>

/// One SRV record (RFC 2782).
struct DnsServiceRecord
{
    QString host;
    quint16 port = 0;
    quint16 priority = 0;
    quint16 weight = 0;
    friend bool operator==(const DnsServiceRecord &, const DnsServiceRecord &) = default;
};

namespace DnsServiceRecords {

/// A random number from 0 to the limit, both included.
using RandomNumber = std::function<quint32(quint32 limit)>;

/// The records of `name`, an absolute name, in no order. Empty when there are none; absent when no
/// name server could tell. Blocks for as long as the system's resolver tries.
[[nodiscard]] std::optional<QList<DnsServiceRecord>> lookUp(const QString &name);

/// The records of a DNS answer; those that cannot be read and the root (a service that does not
/// exist) are left out.
[[nodiscard]] QList<DnsServiceRecord> parse(const QByteArray &answer);

/// In the order in which they are to be asked: by priority, within one at random by weight.
[[nodiscard]] QList<DnsServiceRecord> ordered(QList<DnsServiceRecord> records,
                                              const RandomNumber &random);

} // namespace DnsServiceRecords
