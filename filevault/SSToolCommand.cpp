#include "filevault/SSToolCommand.h"

#include "foundation/SSCommandLine.h"
#include "foundation/SSLogger.h"
#include "foundation/SSStringHelper.h"
#include "security/SSSecure.h"
#include "security/SSSecureData.h"
#include "security/SSUtf16.h"

SSToolPassword::SSToolPassword(const SSSecureData &password)
{
    const auto decoded = SSUtf16::decoded(password.data());
    m_isText = decoded.has_value();
    if (!decoded) {
        SSLog(1, SSMessageType::Error, "The password for a tool is not UTF-16 text.");
        return;
    }
    m_text = QStringView(decoded->data(), static_cast<qsizetype>(decoded->size())).toString();
    m_escaped = SSHelper::stringEscapedToShell(m_text);
}

SSToolPassword::~SSToolPassword()
{
    SSSecure::secureFree(m_text);
    SSSecure::secureFree(m_escaped);
}

SSToolAnswer::SSToolAnswer(const QString &tool, const QStringList &arguments,
                           const SSPasswordMask &passwords)
{
    SSCommandResult result = SSCommandLine::shellExecuteWithCommand(tool, arguments);
    m_output.swap(result.output);
    m_maskedOutput = passwords.masked(m_output);
    m_hasFailed = result.error.has_value();
    if (result.error)
        m_error = result.error->localizedDescription;
}

SSToolAnswer::~SSToolAnswer()
{
    // Not what people get, which is the same text where there was nothing to mask.
    if (m_output && m_maskedOutput != m_output)
        SSSecure::secureFree(*m_output);
}

SSToolAnswer SSToolAnswer::ofScript(QString script, const SSPasswordMask &passwords)
{
    // Wiped whatever comes.
    struct Wiped
    {
        explicit Wiped(QString &wiped) : text(wiped) {}
        ~Wiped() { SSSecure::secureFree(text); }
        Wiped(const Wiped &) = delete;
        Wiped &operator=(const Wiped &) = delete;
        QString &text;
    } const wiped(script);
    return {QStringLiteral("/usr/bin/expect"), {QStringLiteral("-c"), script}, passwords};
}
