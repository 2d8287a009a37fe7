#pragma once

#include "platform/ChildProcess.h"

#include <QByteArray>
#include <QList>
#include <QStringList>

#include <functional>
#include <optional>

/// Programs that a test plays: each run is recorded and answered.
class FakeChildProcesses final : public ChildProcessFactory
{
public:
    struct Run
    {
        QString executable;
        std::optional<QStringList> arguments;
        std::optional<QMap<QString, QString>> environment;
        std::optional<QByteArray> input; ///< absent: not redirected
        int terminations = 0;
        int interruptions = 0;
    };
    struct Answer
    {
        QByteArray output;
        std::optional<ChildProcessError> launchError;
        std::optional<ChildProcessError> inputError;
        std::optional<ChildProcessError> outputError;
    };

    [[nodiscard]] std::unique_ptr<ChildProcess>
    makeProcess(const ChildProcessRequest &request) override;

    /// Asked while the program "runs"; without one every program prints nothing.
    std::function<Answer(const Run &)> answer;
    QList<Run> runs;
    bool canMake = true;
};
