// Runs commands in turns and tells the median time of each and the most memory it took.
//
//   nullprint-stopwatch ROUNDS LIST command... ::: command... [::: command...]
//
// LIST names a file with one path a line: what the commands write, files or folders, removed before
// each run.
// Starting costs the same for every command, and little: posix_spawn, standard output to /dev/null.
// Prints one line a command: seconds (median), seconds (least), peak KiB.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <span>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Command {
    std::vector<char*> arguments; // Ends in a null pointer.
    std::vector<double> seconds;
    long peakKiB = 0;
};

std::vector<Command> commandsOf(std::span<char*> words)
{
    std::vector<Command> commands(1);
    for (char* word : words) {
        if (std::string_view(word) == ":::") {
            commands.emplace_back();
        } else {
            commands.back().arguments.push_back(word);
        }
    }
    for (Command& command : commands)
        command.arguments.push_back(nullptr);
    return commands;
}

void removeAll(const char* list)
{
    std::ifstream paths(list);
    std::error_code ignored; // Before the first run there is nothing to remove.
    for (std::string path; std::getline(paths, path);)
        std::filesystem::remove_all(path, ignored);
}

// Whether the command ran and ended well.
bool runOnce(Command& command, const posix_spawn_file_actions_t& actions)
{
    const auto begin = std::chrono::steady_clock::now();
    pid_t child = 0;
    const auto& arguments = command.arguments;
    if (posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
        return false;
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child)
        return false;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    command.seconds.push_back(elapsed.count());
    command.peakKiB = std::max(command.peakKiB, usage.ru_maxrss);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

double median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 4)
        return 2;
    const std::span words(arguments, static_cast<std::size_t>(count));
    const long rounds = std::strtol(words[1], nullptr, 10);
    const char* outputs = words[2];
    std::vector<Command> commands = commandsOf(words.subspan(3));
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    for (long round = 0; round <= rounds; ++round) {
        for (Command& command : commands) {
            removeAll(outputs);
            if (!runOnce(command, actions))
                return 1;
        }
        if (round == 0) // The first one warms the caches.
            for (Command& command : commands)
                command.seconds.clear();
    }
    removeAll(outputs);
    for (const Command& command : commands)
        std::printf("%.6f %.6f %ld\n",
                    median(command.seconds),
                    *std::ranges::min_element(command.seconds),
                    command.peakKiB);
    return 0;
}
