#include "cli/Output.h"

#include "engine/support/Text.h"

#include <cerrno>
#include <poll.h>
#include <string>
#include <unistd.h>

namespace nullprint {
namespace {

// Who gave us the output may have it return at once; then its reader is waited for.
bool canWriteAgain()
{
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    return ::poll(&output, 1, -1) > 0 || errno == EINTR;
}

// What cannot be written is lost, as it is for every program whose reader has gone.
void writeAll(std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0 && errno == EAGAIN && canWriteAgain())
            continue;
        if (written <= 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace

void printLine(std::string_view text)
{
    static const bool isTerminal = ::isatty(STDOUT_FILENO) == 1;
    std::string line = isTerminal ? safeForTerminal(text) : std::string(text);
    writeAll(line += '\n');
}

} // namespace nullprint
