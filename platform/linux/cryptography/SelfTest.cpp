#include "platform/linux/cryptography/SelfTest.h"

#include <utility>

SelfTest::SelfTest(DiagnosticSink diagnostics, Check check)
    : m_diagnostics(std::move(diagnostics)), m_check(check)
{
}

bool SelfTest::passed()
{
    std::call_once(m_checked, [this] {
        const char *failed = m_check();
        m_passed = !failed;
        if (failed && m_diagnostics) {
            m_diagnostics(1, DiagnosticType::Error,
                          QStringLiteral("The self-test of the cryptography failed: %1")
                              .arg(QLatin1String(failed)));
        }
    });
    return m_passed;
}
