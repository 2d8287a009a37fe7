#include "platform/linux/directory/DnsServiceRecords.h"

#include <algorithm>
#include <memory>

#include <arpa/nameser.h>
#include <netdb.h>
#include <netinet/in.h>
#include <resolv.h>

namespace DnsServiceRecords {

std::optional<QList<DnsServiceRecord>> lookUp(const QString &name)
{
    // A state of our own: it is safe on any thread, and sees a resolv.conf that has changed.
    struct State
    {
        State() { usable = res_ninit(&state) == 0; }
        ~State()
        {
            if (usable)
                res_nclose(&state);
        }
        struct __res_state state = {};
        bool usable = false;
    };
    const auto resolver = std::make_unique<State>();
    if (!resolver->usable)
        return std::nullopt;
    resolver->state.retrans = 2;
    resolver->state.retry = 2;

    QByteArray answer(NS_MAXMSG, Qt::Uninitialized);
    const int size = res_nquery(&resolver->state, name.toUtf8().constData(), ns_c_in, ns_t_srv,
                                reinterpret_cast<unsigned char *>(answer.data()),
                                static_cast<int>(answer.size()));
    if (size < 0) {
        const int why = resolver->state.res_h_errno;
        if (why == HOST_NOT_FOUND || why == NO_DATA)
            return QList<DnsServiceRecord>{};
        return std::nullopt;
    }
    answer.truncate(size);
    return parse(answer);
}

QList<DnsServiceRecord> parse(const QByteArray &answer)
{
    QList<DnsServiceRecord> records;
    ns_msg message = {};
    if (ns_initparse(reinterpret_cast<const unsigned char *>(answer.constData()),
                     static_cast<int>(answer.size()), &message) != 0)
        return records;
    const int count = ns_msg_count(message, ns_s_an);
    for (int index = 0; index < count; ++index) {
        ns_rr resource = {};
        if (ns_parserr(&message, ns_s_an, index, &resource) != 0)
            break;
        if (ns_rr_type(resource) != ns_t_srv || ns_rr_rdlen(resource) < 7)
            continue;
        const unsigned char *data = ns_rr_rdata(resource);
        char host[NS_MAXDNAME] = {};
        if (dn_expand(ns_msg_base(message), ns_msg_end(message), data + 6, host, sizeof host) < 0)
            continue;
        const auto number = [data](int at) {
            return static_cast<quint16>((data[at] << 8) | data[at + 1]);
        };
        DnsServiceRecord record{QString::fromUtf8(host), number(4), number(0), number(2)};
        if (!record.host.isEmpty() && record.host != QLatin1String(".") && record.port != 0)
            records.append(record);
    }
    return records;
}

QList<DnsServiceRecord> ordered(QList<DnsServiceRecord> records, const RandomNumber &random)
{
    // Records of weight 0 come first among equals, so that they have a small chance at all.
    std::stable_sort(records.begin(), records.end(), [](const auto &a, const auto &b) {
        return a.priority != b.priority ? a.priority < b.priority : a.weight == 0 && b.weight != 0;
    });
    QList<DnsServiceRecord> result;
    while (!records.isEmpty()) {
        const quint16 priority = records.first().priority;
        qsizetype end = 0;
        quint32 sum = 0;
        for (; end < records.size() && records.at(end).priority == priority; ++end)
            sum += records.at(end).weight;
        const quint32 chosen = random(sum);
        quint32 running = 0;
        for (qsizetype index = 0; index < end; ++index) {
            running += records.at(index).weight;
            if (running >= chosen) {
                result.append(records.takeAt(index));
                break;
            }
        }
    }
    return result;
}

} // namespace DnsServiceRecords
