#include "platform/linux/application/TerminationSignals.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr std::array kSignals{SIGTERM, SIGHUP, SIGINT};
std::atomic<int> g_wake{-1};
std::array<struct sigaction, kSignals.size()> g_previous;

extern "C" void onTerminationSignal(int)
{
    const int error = errno;
    const quint64 one = 1;
    [[maybe_unused]] const ssize_t written = ::write(g_wake.load(), &one, sizeof one);
    errno = error;
}

} // namespace

TerminationSignals::TerminationSignals(std::function<void()> handler)
    : m_handler(std::move(handler))
{
    const int wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    g_wake = wake;
    m_notifier = std::make_unique<QSocketNotifier>(wake, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, [this, wake] {
        quint64 count = 0;
        if (::read(wake, &count, sizeof count) > 0)
            m_handler();
    });
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals.at(i), nullptr, &g_previous.at(i));
        if (g_previous.at(i).sa_handler == SIG_IGN)
            continue;
        struct sigaction action = {};
        action.sa_handler = onTerminationSignal;
        action.sa_flags = SA_RESTART;
        ::sigemptyset(&action.sa_mask);
        ::sigaction(kSignals.at(i), &action, nullptr);
    }
}

TerminationSignals::~TerminationSignals()
{
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        ::sigaction(kSignals.at(i), &g_previous.at(i), nullptr);
    m_notifier.reset();
    ::close(g_wake.exchange(-1));
}
