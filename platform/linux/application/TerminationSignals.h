#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

/// SIGTERM, SIGHUP and SIGINT as calls on the main thread. One object at a time; its destructor
/// restores what the signals did before. A signal that the process was started to ignore stays
/// ignored.
class TerminationSignals final : public QObject
{
    Q_OBJECT
public:
    /// Signals are caught from now on; `handler` is called from the event loop of this thread, once
    /// for those that came in the meantime.
    explicit TerminationSignals(std::function<void()> handler);
    ~TerminationSignals() override;

private:
    std::function<void()> m_handler;
    std::unique_ptr<QSocketNotifier> m_notifier;
};
