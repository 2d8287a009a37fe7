#pragma once

#include "platform/Diagnostics.h"
#include "platform/MachineIdentity.h"

#include <QStringList>

#include <mutex>

/// The machine id of systemd and D-Bus, in the form that it has for this application alone: the
/// plain one is not to be shown to others. Read anew at each call; each reason why there is none is
/// logged once.
class LinuxMachineIdentity final : public MachineIdentity
{
public:
    /// `rootPrefix` is put before "/etc" and "/var".
    LinuxMachineIdentity(QString rootPrefix, DiagnosticSink diagnostics);

    [[nodiscard]] std::optional<QString> platformUuid() override;

private:
    void tell(const QString &fault);

    QString m_rootPrefix;
    DiagnosticSink m_diagnostics;
    std::mutex m_lock;
    QStringList m_told;
};
