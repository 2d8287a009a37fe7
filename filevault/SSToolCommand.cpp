#include "filevault/SSToolCommand.h"

#include "foundation/SSCommandLine.h"
#include "foundation/SSStringHelper.h"
#include "security/SSSecure.h"
#include "security/SSSecureData.h"

SSToolPassword::SSToolPassword(const SSSecureData &password)
    : m_text(static_cast<qsizetype>(password.length() / 2), Qt::Uninitialized)
{
    const auto bytes = password.data();
    QChar *characters = m_text.data();
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        *characters++ = QChar(static_cast<char16_t>(std::to_integer<unsigned>(bytes[i]) |
                                                    std::to_integer<unsigned>(bytes[i + 1]) << 8U));
    }
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
