#pragma once

#include "platform/Diagnostics.h"
#include "platform/UrlSession.h"

#include <QString>

#include <memory>
#include <optional>

/// What bounds every transfer.
struct LinuxUrlSessionLimits
{
    /// Bytes of a body, decompressed: 16 MiB. A longer one ends with UrlError::Code::TooLarge.
    qint64 bodyBytes = 16'777'216;
    /// Milliseconds without progress, the connecting included, until UrlError::Code::TimedOut.
    int stallMilliseconds = 60'000;
    /// A PEM file of the only certificates to trust; absent: the computer's store.
    std::optional<QString> trustedCertificatesFile;
};

class LinuxUrlSessionRegistry;

/// URL sessions on libcurl (HTTP/1.1, TLS 1.2 or later verified against the computer's
/// certificates); the proxies are Qt's, which knows the desktop's settings.
/// A session has a thread only while a transfer of it runs; cookies, cache and credentials never
/// outlive it, ephemeral or not. Sessions may outlive the factory, but start nothing then.
class LinuxUrlSessionFactory final : public UrlSessionFactory
{
public:
    explicit LinuxUrlSessionFactory(DiagnosticSink diagnostics, LinuxUrlSessionLimits limits = {});
    /// Cancels what runs and waits for it, a delegate call that has begun included.
    ~LinuxUrlSessionFactory() override;

    [[nodiscard]] std::shared_ptr<UrlSession>
    sessionWithConfiguration(const UrlSessionConfiguration &configuration,
                             std::weak_ptr<UrlSessionDelegate> delegate) override;

private:
    std::shared_ptr<LinuxUrlSessionRegistry> m_registry;
    DiagnosticSink m_diagnostics;
    LinuxUrlSessionLimits m_limits;
};
