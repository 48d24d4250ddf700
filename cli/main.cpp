// The entry point: an option as the first argument makes this a command-line tool, anything else
// the menu-bar application.
#include "cli/Options.h"

#include <csignal>
#include <cstdio>
#include <span>

int main(int argc, char** argv)
{
    // Whoever started this may have it ignored, and then no process tells how it ended.
    std::signal(SIGCHLD, SIG_DFL);
    const std::span arguments(argv, static_cast<std::size_t>(argc));
    if (arguments.size() > 1) {
        const std::vector<std::string> files(arguments.begin() + 2, arguments.end());
        if (const auto status = nullprint::runOption(arguments[1], files))
            return *status;
    }
    std::fputs("Nullprint: this installation has no menu-bar application; see “nullprint --help” "
               "for the command line.\n",
               stderr);
    return 1;
}
