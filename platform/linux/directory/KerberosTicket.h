#pragma once

#include <QString>

/// What the user's default credential cache holds.
struct KerberosTicket
{
    enum class State { Valid, Expired, Missing };
    State state = State::Missing;
    /// The realm of the cache's owner; empty when there is no cache.
    QString realm;

    /// Reads the cache; asks no server.
    [[nodiscard]] static KerberosTicket ofUser();
    /// The realm that the machine's Kerberos settings name; empty for none.
    [[nodiscard]] static QString defaultRealm();
};
