#include "app/platform/Termination.h"

#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace nullprint::app {
namespace {

constexpr std::array endingSignals{SIGTERM, SIGINT, SIGHUP};

// A signal handler can do little more than write a byte. It finds the pipe only here.
volatile std::sig_atomic_t pipeEntry = -1;

void tellPipe(int)
{
    const int lastError = errno;
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(pipeEntry, &byte, sizeof byte);
    errno = lastError;
}

void setHandlers(void (*handler)(int))
{
    for (const int each : endingSignals) {
        struct sigaction action = {};
        action.sa_handler = handler;
        action.sa_flags = SA_RESTART;
        ::sigaction(each, &action, nullptr);
    }
}

} // namespace

Termination::Termination()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return; // The signals end the process as they always do.
    pipeEntry = ends[1];
    auto* notifier = new QSocketNotifier(ends[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this, exit = ends[0]] {
        char byte = 0;
        if (::read(exit, &byte, sizeof byte) > 0)
            emit requested();
    });
    setHandlers(tellPipe);
}

Termination::~Termination()
{
    setHandlers(SIG_DFL);
    if (pipeEntry < 0)
        return;
    ::close(pipeEntry);
    pipeEntry = -1;
    auto* notifier = findChild<QSocketNotifier*>();
    const auto exit = static_cast<int>(notifier->socket());
    delete notifier;
    ::close(exit);
}

} // namespace nullprint::app
