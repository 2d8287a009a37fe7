#pragma once

#include "platform/Directory.h"
#include "platform/linux/directory/ActiveDirectoryNode.h"

#include <QString>
#include <QStringList>

#include <memory>

class QTemporaryDir;

/// The controller that with-samba has started, and what tests do to it.
namespace SambaEnvironment {

/// The lines that the nodes made here have logged since the last call.
[[nodiscard]] QStringList takeLog();

/// A node that logs to takeLog().
[[nodiscard]] std::shared_ptr<DirectoryNode>
makeNode(const DirectorySettings &settings,
         std::chrono::milliseconds limit = DirectoryOperationLimit);

/// A bind of the user jdoe with this password, which is put into `folder`; through TLS.
[[nodiscard]] DirectorySettings simpleSettings(const QString &password,
                                               const QTemporaryDir &folder);

/// Below the controller's folder.
[[nodiscard]] QString path(const QString &relative);

/// Runs a program with `input`; its output, or a null string when it failed.
[[nodiscard]] QString run(const QString &program, const QStringList &arguments,
                          const QString &input = QString());

/// Sends the controller's processes a signal.
void signalController(int number);

/// Sets an environment variable and puts the old value back.
class Variable
{
public:
    Variable(const char *name, const QString &value);
    ~Variable();
    Variable(const Variable &) = delete;
    Variable &operator=(const Variable &) = delete;

private:
    const char *m_name;
    QByteArray m_old;
};

/// How many threads and descriptors this process has.
[[nodiscard]] qsizetype threadCount();
[[nodiscard]] qsizetype descriptorCount();

} // namespace SambaEnvironment
