#pragma once

#include "platform/linux/process/LinuxChildProcessFactory.h"

#include <QObject>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <optional>

#include <sys/types.h>

/// A test of real child processes, of which none is left when a test function is over.
class ChildProcessTest : public QObject
{
    Q_OBJECT

protected:
    using Code = ChildProcessError::Code;

    /// A limit in milliseconds for what comes at once on an idle machine.
    static constexpr int limitMs = 60000;

    static QString shell() { return QStringLiteral("/bin/sh"); }
    /// The shell with a script.
    static ChildProcessRequest script(const QString &text);
    /// The direct children of this process, zombies included, as "ID STATE".
    static QStringList ownChildren();
    /// What a program prints; the error's text in angle brackets.
    QString outputOf(const ChildProcessRequest &request,
                     const std::optional<QByteArray> &input = std::nullopt);
    /// Why it cannot be started; OutputFailed when it can.
    Code errorOf(const QString &program);
    /// The path of a new file in the test's folder; empty when it cannot be made.
    QString file(const char *name, const QByteArray &contents, mode_t mode) const;

    QStringList m_diagnostics;
    std::unique_ptr<LinuxChildProcessFactory> m_factory;
    QTemporaryDir m_folder;

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
};
