#include "tests/support/FakeChildProcesses.h"

namespace {

class FakeChildProcess final : public ChildProcess
{
public:
    FakeChildProcess(FakeChildProcesses &all, qsizetype index) : m_all(all), m_index(index) {}

    [[nodiscard]] ChildProcessResult launch(bool hasInput) override
    {
        if (hasInput)
            run().input = QByteArray("");
        else
            ask();
        if (m_answer.launchError)
            return Failure{*m_answer.launchError};
        return std::monostate();
    }

    [[nodiscard]] ChildProcessResult writeInput(std::span<const std::byte> bytes) override
    {
        run().input = QByteArray(reinterpret_cast<const char *>(bytes.data()),
                                 static_cast<qsizetype>(bytes.size()));
        ask();
        if (m_answer.inputError)
            return Failure{*m_answer.inputError};
        return std::monostate();
    }

    [[nodiscard]] bool isRunning() override { return m_running; }
    void waitUntilExit() override { m_running = false; }

    [[nodiscard]] Result<ChildProcessOutput, ChildProcessError> readOutput() override
    {
        if (m_answer.outputError)
            return Failure{*m_answer.outputError};
        const auto *bytes = reinterpret_cast<const std::byte *>(m_answer.output.constData());
        return ChildProcessOutput(bytes, bytes + m_answer.output.size());
    }

    void terminate() override { ++run().terminations; }
    void interrupt() override { ++run().interruptions; }

private:
    [[nodiscard]] FakeChildProcesses::Run &run() { return m_all.runs[m_index]; }
    void ask()
    {
        m_running = true;
        if (m_all.answer) {
            // A copy: the answer may run further programs.
            const FakeChildProcesses::Run asked = run();
            m_answer = m_all.answer(asked);
        }
    }

    FakeChildProcesses &m_all;
    qsizetype m_index;
    FakeChildProcesses::Answer m_answer;
    bool m_running = false;
};

} // namespace

namespace {

/// A copy that stays when the caller wipes what it gave.
QString kept(const QString &text)
{
    return QString(text.constData(), text.size());
}

} // namespace

std::unique_ptr<ChildProcess> FakeChildProcesses::makeProcess(const ChildProcessRequest &request)
{
    if (!canMake)
        return nullptr;
    Run run{kept(request.executable), std::nullopt, std::nullopt, std::nullopt, 0, 0};
    if (request.arguments) {
        run.arguments = QStringList();
        for (const QString &argument : *request.arguments)
            run.arguments->append(kept(argument));
    }
    if (request.environment) {
        run.environment = QMap<QString, QString>();
        for (auto it = request.environment->constBegin(); it != request.environment->constEnd();
             ++it)
            run.environment->insert(kept(it.key()), kept(it.value()));
    }
    runs.append(run);
    return std::make_unique<FakeChildProcess>(*this, runs.size() - 1);
}
