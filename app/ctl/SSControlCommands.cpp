#include "app/ctl/SSControlCommand.h"

#include <QCommandLineParser>

bool SSControlInvocation::isSet(const char *option) const
{
    return m_options.isSet(QString::fromLatin1(option));
}

std::optional<QString> SSControlInvocation::value(const char *option) const
{
    const QString name = QString::fromLatin1(option);
    if (!m_options.isSet(name))
        return std::nullopt;
    return m_options.value(name);
}

const std::vector<const SSControlCommand *> &SSControlCommands::all()
{
    static const std::vector<const SSControlCommand *> table{
        &discover(), &settings(), &user(), &enrollStatus(), &url(),      &cache(),
        &compare(),  &offline(),  &key(),  &flag(),         &fileVault()};
    return table;
}

const SSControlCommand *SSControlCommands::find(const QString &name)
{
    for (const SSControlCommand *command : all()) {
        if (name == QLatin1String(command->name))
            return command;
    }
    return nullptr;
}
