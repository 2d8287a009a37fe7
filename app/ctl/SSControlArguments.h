#pragma once

#include "app/ctl/SSControlCommand.h"

#include <QCommandLineParser>

#include <memory>
#include <span>

/// A command line taken apart.
class SSControlArguments
{
public:
    /// `arguments` as main() gets them, the program's name first.
    explicit SSControlArguments(std::span<const char *const> arguments);

    /// What is wrong with the command line; none when it can be run. A line that asks for help or
    /// the version is never wrong.
    [[nodiscard]] const std::optional<QString> &fault() const { return m_fault; }
    /// Null for none and for an unknown one.
    [[nodiscard]] const SSControlCommand *command() const { return m_command; }
    [[nodiscard]] bool isEmpty() const { return m_isEmpty; }
    [[nodiscard]] bool isSet(const char *option) const { return invocation().isSet(option); }
    [[nodiscard]] std::optional<QString> value(const char *option) const
    {
        return invocation().value(option);
    }
    /// The command's operands and options; lives as long as this object.
    [[nodiscard]] SSControlInvocation invocation() const;

private:
    void parse();
    [[nodiscard]] std::optional<QString> faultOfOptions() const;
    [[nodiscard]] std::optional<QString> faultOfOperands() const;

    bool m_isEmpty;
    QStringList m_arguments;
    const SSControlCommand *m_command = nullptr;
    QCommandLineParser m_options;
    std::optional<QString> m_fault;
};
