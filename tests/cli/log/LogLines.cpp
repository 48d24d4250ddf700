// `nullprint-log-lines FILE LINE...` says "ready", waits for SIGUSR1 and writes the lines to a log.
// Tests make the system calls fail that this takes.
#include "cli/AppLog.h"

#include <csignal>
#include <iostream>
#include <span>

int main(int argc, char** argv)
{
    const std::span words(argv, static_cast<std::size_t>(argc));
    sigset_t start;
    sigemptyset(&start);
    sigaddset(&start, SIGUSR1);
    sigprocmask(SIG_BLOCK, &start, nullptr);
    std::cout << "ready" << std::endl;
    int received = 0;
    if (words.size() < 2 || sigwait(&start, &received) != 0)
        return 1;
    nullprint::AppLog log(words[1]);
    for (const char* line : words.subspan(2))
        log.log(line);
    return 0;
}
