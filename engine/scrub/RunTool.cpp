#include "engine/scrub/RunTool.h"

#include "engine/support/Text.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace nullprint {
namespace {

ToolResult notStarted(int code)
{
    return {-1, std::generic_category().message(code)};
}

// Where the program finds its outputs and its folder.
class SpawnActions {
public:
    SpawnActions() { ::posix_spawn_file_actions_init(&actions); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions); }

    void sendOutputTo(int file)
    {
        ::posix_spawn_file_actions_adddup2(&actions, file, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, file, STDERR_FILENO);
    }
    void runIn(const std::string& folder)
    {
        ::posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    }
    const posix_spawn_file_actions_t* get() const { return &actions; }

private:
    posix_spawn_file_actions_t actions{};
};

std::string readToEnd(int file)
{
    std::string text;
    std::array<char, 16UL * 1024> buffer{};
    while (true) {
        const ssize_t got = ::read(file, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return text;
        text.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

std::int32_t waitFor(pid_t program)
{
    int state = 0;
    while (::waitpid(program, &state, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return WIFEXITED(state) ? WEXITSTATUS(state) : WTERMSIG(state);
}

// What `posix_spawn` wants: writable pointers, which it leaves alone, and an end.
std::vector<char*> pointersTo(std::vector<std::string>& words)
{
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

ToolResult runTool(const std::string& path,
                   const std::vector<std::string>& arguments,
                   const std::optional<std::string>& folder)
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return notStarted(errno);
    const auto [output, input] = ends;
    std::vector<std::string> words{path};
    words.insert(words.end(), arguments.begin(), arguments.end());
    SpawnActions actions;
    actions.sendOutputTo(input);
    if (folder)
        actions.runIn(*folder);
    pid_t program = 0;
    const int code = ::posix_spawn(&program,
                                   path.c_str(),
                                   actions.get(),
                                   nullptr,
                                   pointersTo(words).data(),
                                   environ);
    ::close(input);
    if (code != 0) {
        ::close(output);
        return notStarted(code);
    }
    // First read, then wait: a program with much to say waits for its reader.
    std::string text = readToEnd(output);
    ::close(output);
    const std::int32_t status = waitFor(program);
    return {status, isUTF8(text) ? std::move(text) : std::string()};
}

} // namespace nullprint
