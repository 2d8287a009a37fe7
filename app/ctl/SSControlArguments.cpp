#include "app/ctl/SSControlArguments.h"

#include "app/ctl/SSControlHelp.h"

#include <QStringDecoder>

#include <set>

namespace {

QCommandLineOption parserOption(const SSControlOption &option)
{
    QCommandLineOption result(QString::fromLatin1(option.name));
    if (option.value)
        result.setValueName(QString::fromLatin1(option.value));
    return result;
}

/// The first operand, whatever command's options stand before it.
QString firstOperand(const QStringList &arguments)
{
    QCommandLineParser parser;
    std::set<std::string_view> names;
    const auto add = [&](std::span<const SSControlOption> options) {
        for (const SSControlOption &option : options) {
            if (names.insert(option.name).second)
                parser.addOption(parserOption(option));
        }
    };
    add(SSControlHelp::globalOptions());
    for (const SSControlCommand *command : SSControlCommands::all())
        add(command->options);
    parser.parse(arguments);
    return parser.positionalArguments().value(0);
}

} // namespace

SSControlArguments::SSControlArguments(std::span<const char *const> arguments)
    : m_isEmpty(arguments.size() < 2)
{
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString text = decoder(QByteArrayView(arguments[i]));
        if (decoder.hasError() && i > 0) {
            m_fault = QStringLiteral("argument %1 is not UTF-8 text").arg(i);
            return;
        }
        m_arguments.append(text);
    }
    if (m_arguments.isEmpty())
        m_arguments.append(SSControlHelp::programName());
    parse();
}

void SSControlArguments::parse()
{
    const QString name = firstOperand(m_arguments);
    m_command = SSControlCommands::find(name);
    for (const SSControlOption &option : SSControlHelp::globalOptions())
        m_options.addOption(parserOption(option));
    if (m_command) {
        for (const SSControlOption &option : m_command->options)
            m_options.addOption(parserOption(option));
    }
    const bool parsed = m_options.parse(m_arguments);
    if (m_options.isSet(QStringLiteral("help")) || m_options.isSet(QStringLiteral("version"))) {
        // With an unknown command there is nothing to explain.
        if (name.isEmpty() || m_command)
            return;
    }
    if (name.isEmpty() && parsed)
        m_fault = QStringLiteral("a command is missing");
    else if (!m_command && !name.isEmpty())
        m_fault = QStringLiteral("there is no command \"%1\"").arg(name);
    else if (!parsed)
        m_fault = m_options.errorText();
    else if (!(m_fault = faultOfOptions()) && !(m_fault = faultOfOperands()) && m_command->fault)
        m_fault = m_command->fault(invocation());
}

SSControlInvocation SSControlArguments::invocation() const
{
    return SSControlInvocation(m_options.positionalArguments().mid(1), m_options);
}

std::optional<QString> SSControlArguments::faultOfOptions() const
{
    const auto faultOf = [this](std::span<const SSControlOption> options) {
        for (const SSControlOption &option : options) {
            const QString name = QString::fromLatin1(option.name);
            const QStringList values = m_options.values(name);
            if (values.size() > 1)
                return std::optional(QStringLiteral("--%1 is given more than once").arg(name));
            if (option.value && !option.mayBeEmpty && values.contains(QString()))
                return std::optional(QStringLiteral("the value of --%1 is empty").arg(name));
        }
        return std::optional<QString>();
    };
    if (auto fault = faultOf(SSControlHelp::globalOptions()))
        return fault;
    return m_command ? faultOf(m_command->options) : std::nullopt;
}

std::optional<QString> SSControlArguments::faultOfOperands() const
{
    const QStringList operands = invocation().operands();
    if (operands.size() < m_command->fewestOperands)
        return QStringLiteral("%1 is missing").arg(QLatin1String(m_command->operands));
    if (operands.size() > m_command->mostOperands) {
        return QStringLiteral("\"%1\" is one argument too many")
            .arg(operands.at(m_command->mostOperands));
    }
    if (operands.contains(QString()))
        return QStringLiteral("%1 is empty").arg(QLatin1String(m_command->operands));
    return std::nullopt;
}
