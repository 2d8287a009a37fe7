#include "app/ctl/SSControlHelp.h"

#include <algorithm>
#include <utility>

namespace {

constexpr qsizetype pageWidth = 80;

/// The text in lines that fit beside `indent` blanks, which stand before every line but the first.
QString wrapped(const QString &text, qsizetype indent)
{
    QString result;
    qsizetype column = indent;
    const QStringList words = text.split(QLatin1Char(' '));
    for (const QString &word : words) {
        if (column > indent && column + 1 + word.size() > pageWidth) {
            result += QLatin1Char('\n') + QString(indent, QLatin1Char(' '));
            column = indent;
        } else if (column > indent) {
            result += QLatin1Char(' ');
            ++column;
        }
        result += word;
        column += word.size();
    }
    return result;
}

/// Paragraphs in lines of the page's width. Empty and indented lines stay as they are.
QString flowed(const QString &text)
{
    QStringList result;
    QString paragraph;
    const auto endParagraph = [&] {
        if (!paragraph.isEmpty())
            result.append(wrapped(std::exchange(paragraph, {}), 0));
    };
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.isEmpty() || line.startsWith(QLatin1Char(' '))) {
            endParagraph();
            result.append(line);
        } else {
            paragraph += paragraph.isEmpty() ? line : QLatin1Char(' ') + line;
        }
    }
    endParagraph();
    return result.join(QLatin1Char('\n'));
}

QString optionTable(std::span<const SSControlOption> options)
{
    QStringList names;
    qsizetype width = 0;
    for (const SSControlOption &option : options) {
        QString name = QStringLiteral("--") + QLatin1String(option.name);
        if (option.value)
            name += QLatin1Char(' ') + QLatin1String(option.value);
        width = std::max(width, name.size());
        names.append(name);
    }
    QString result;
    for (std::size_t i = 0; i < options.size(); ++i) {
        result += QStringLiteral("    ") +
                  names.at(static_cast<qsizetype>(i)).leftJustified(width + 2) +
                  wrapped(QString::fromUtf8(options[i].help), width + 6) + QLatin1Char('\n');
    }
    return result;
}

QString indented(const char *lines)
{
    QString result;
    const QStringList all = QString::fromUtf8(lines).split(QLatin1Char('\n'));
    for (const QString &line : all)
        result += line.isEmpty() ? QStringLiteral("\n") : QStringLiteral("    %1\n").arg(line);
    return result;
}

} // namespace

QString SSControlHelp::programName()
{
    return QStringLiteral("zevrikselfservicectl");
}

std::span<const SSControlOption> SSControlHelp::globalOptions()
{
    static constexpr SSControlOption options[] = {
        {"json", nullptr, "Print the answer as one JSON object, absent values as null."},
        {"ldif", "FILE", "Read the directory from this LDIF file instead of the live one."},
        {"defaults", "FILE",
         "Read the defaults domain from this property list (XML or binary) "
         "instead of the computer's and the user's."},
        {"help", nullptr, "Explain the command, or without one the program."},
        {"version", nullptr, "Print the version."},
    };
    return options;
}

QString SSControlHelp::general()
{
    QString text = flowed(QStringLiteral(
        "Shows what the self-service agent sees: which configuration it finds in the directory, "
        "what it makes of it, and what the web interface tells it about a user. It asks the same "
        "questions in the same way as the agent. Only \"flag set\" and \"flag reset\" change "
        "anything."));
    text += QStringLiteral("\n\nUsage: %1 COMMAND [OPTIONS]\n\nCommands:\n").arg(programName());
    qsizetype width = 0;
    for (const SSControlCommand *command : SSControlCommands::all())
        width = std::max(width, QLatin1String(command->name).size());
    for (const SSControlCommand *command : SSControlCommands::all()) {
        text += QStringLiteral("    ") +
                QString::fromLatin1(command->name).leftJustified(width + 2) +
                QString::fromUtf8(command->summary) + QLatin1Char('\n');
    }
    text += QStringLiteral("\nOptions of every command:\n") + optionTable(globalOptions());
    text += QStringLiteral("\nExamples:\n") +
            indented("Does this computer find its configuration?\n"
                     "    zevrikselfservicectl discover\n"
                     "Why is the reminder's text not the one I published?\n"
                     "    zevrikselfservicectl settings\n"
                     "Why is jdoe not reminded?\n"
                     "    zevrikselfservicectl user jdoe\n"
                     "    zevrikselfservicectl enroll-status --user jdoe\n"
                     "What would a change do? Try it on an export of the directory.\n"
                     "    zevrikselfservicectl settings --ldif export.ldif --json");
    text += QStringLiteral("\nExit status: 0 for an answer, 1 for a failure, 2 for wrong usage.\n"
                           "\"%1 COMMAND --help\" explains a command.\n")
                .arg(programName());
    return text;
}

QString SSControlHelp::ofCommand(const SSControlCommand &command)
{
    QString usage = QStringLiteral("Usage: %1 %2").arg(programName(), QLatin1String(command.name));
    if (*command.operands != '\0')
        usage += QLatin1Char(' ') + QLatin1String(command.operands);
    QString text = QString::fromUtf8(command.summary) + QStringLiteral("\n\n") + usage +
                   QStringLiteral(" [OPTIONS]\n\n") +
                   flowed(QString::fromUtf8(command.description)) + QLatin1Char('\n');
    if (!command.options.empty())
        text += QStringLiteral("\nOptions:\n") + optionTable(command.options);
    text += QStringLiteral("\nOptions of every command:\n") + optionTable(globalOptions());
    text += QStringLiteral("\nExamples:\n") + indented(command.examples);
    return text;
}
