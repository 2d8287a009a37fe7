#pragma once

#include "platform/Application.h"

#include <QCoreApplication>

/// The application object of a command-line tool: Qt's, without a desktop, a bus or a loop of its
/// own.
class CommandLineApplication final : public Application
{
public:
    CommandLineApplication(int &argc, char **argv) : m_application(argc, argv) {}

    void disableRelaunchOnLogin() override {}
    void setDelegate(std::weak_ptr<ApplicationLifecycleDelegate>) override {}
    void setTerminationSignalHandler(std::function<void()>) override {}
    void setResident(bool) override {}
    void run() override { QCoreApplication::exec(); }
    void terminate() override { QCoreApplication::quit(); }

private:
    QCoreApplication m_application;
};
