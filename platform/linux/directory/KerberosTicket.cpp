#include "platform/linux/directory/KerberosTicket.h"

#include <krb5.h>

#include <QtGlobal>

namespace {

class Context
{
public:
    Context()
    {
        if (krb5_init_context(&m_context) != 0)
            m_context = nullptr;
    }
    ~Context()
    {
        if (m_context)
            krb5_free_context(m_context);
    }
    Q_DISABLE_COPY_MOVE(Context)
    [[nodiscard]] krb5_context get() const { return m_context; }

private:
    krb5_context m_context = nullptr;
};

QString text(const krb5_data &data)
{
    return QString::fromUtf8(data.data, static_cast<qsizetype>(data.length));
}

bool isTicketGranting(krb5_const_principal server)
{
    return server && server->length == 2 && text(server->data[0]) == QLatin1String("krbtgt");
}

} // namespace

KerberosTicket KerberosTicket::ofUser()
{
    KerberosTicket ticket;
    const Context context;
    krb5_ccache cache = nullptr;
    if (!context.get() || krb5_cc_default(context.get(), &cache) != 0)
        return ticket;
    krb5_principal owner = nullptr;
    if (krb5_cc_get_principal(context.get(), cache, &owner) == 0) {
        ticket.realm = text(owner->realm);
        krb5_timestamp now = 0;
        krb5_cc_cursor cursor = nullptr;
        if (krb5_timeofday(context.get(), &now) == 0 &&
            krb5_cc_start_seq_get(context.get(), cache, &cursor) == 0) {
            krb5_creds credentials = {};
            while (krb5_cc_next_cred(context.get(), cache, &cursor, &credentials) == 0) {
                if (isTicketGranting(credentials.server) && ticket.state != State::Valid) {
                    // Kerberos times are unsigned 32-bit numbers in a signed type.
                    const bool valid =
                        static_cast<quint32>(credentials.times.endtime) > static_cast<quint32>(now);
                    ticket.state = valid ? State::Valid : State::Expired;
                }
                krb5_free_cred_contents(context.get(), &credentials);
            }
            krb5_cc_end_seq_get(context.get(), cache, &cursor);
        }
        krb5_free_principal(context.get(), owner);
    }
    krb5_cc_close(context.get(), cache);
    return ticket;
}

QString KerberosTicket::defaultRealm()
{
    const Context context;
    char *realm = nullptr;
    if (!context.get() || krb5_get_default_realm(context.get(), &realm) != 0)
        return {};
    QString result = QString::fromUtf8(realm);
    krb5_free_default_realm(context.get(), realm);
    return result;
}
