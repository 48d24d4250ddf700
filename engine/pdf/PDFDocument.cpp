#include "engine/pdf/PDFDocument.h"

#include "engine/support/Companion.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nullprint::pdf {
namespace {

// A descriptor that closes with its owner.
class Descriptor {
public:
    explicit Descriptor(int file)
        : file(file)
    {
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (file >= 0)
            ::close(file);
    }

    int number() const { return file; }

private:
    int file;
};

// Another number for the same file, which is none of the three that every process begins with.
int duplicateOf(int file)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system's own interface.
    return ::fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

// Empty when it is in none of its places.
std::string workerPath()
{
    for (std::string& path : companionPlaces("nullprint-pdf")) {
        if (::access(path.c_str(), X_OK) == 0)
            return std::move(path);
    }
    return {};
}

// What a new process begins with: the document, where the result goes, and nobody to complain to.
class Beginning {
public:
    Beginning(int input, int output)
    {
        ::posix_spawn_file_actions_init(&files);
        ::posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
#ifndef NP_SANITIZED // A sanitizer's findings are to be seen.
        ::posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
#endif
        ::posix_spawnattr_init(&attributes);
        sigset_t signals;
        ::sigemptyset(&signals);
        ::posix_spawnattr_setsigmask(&attributes, &signals);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    }
    Beginning(const Beginning&) = delete;
    Beginning& operator=(const Beginning&) = delete;
    ~Beginning()
    {
        ::posix_spawn_file_actions_destroy(&files);
        ::posix_spawnattr_destroy(&attributes);
    }

    posix_spawn_file_actions_t files{};
    posix_spawnattr_t attributes{};
};

// Nothing when the process cannot be started.
std::optional<pid_t> start(std::string path, std::string task, int input, int output)
{
    const Beginning beginning(input, output);
    std::array<char*, 3> words{path.data(), task.data(), nullptr};
    pid_t process = 0;
    const int failure = ::posix_spawn(&process,
                                      path.c_str(),
                                      &beginning.files,
                                      &beginning.attributes,
                                      words.data(),
                                      environ);
    return failure == 0 ? std::optional(process) : std::nullopt;
}

Outcome outcomeOf(int status)
{
    if (WIFEXITED(status)) {
        for (const Outcome outcome :
             {Outcome::done, Outcome::marked, Outcome::locked, Outcome::unwritable}) {
            if (WEXITSTATUS(status) == static_cast<int>(outcome))
                return outcome;
        }
    }
    return Outcome::unopenable;
}

Outcome runWorker(const std::string& task, int inputFile, int outputFile)
{
    const Descriptor input(duplicateOf(inputFile));
    const Descriptor output(duplicateOf(outputFile));
    const std::string path = workerPath();
    if (path.empty() || input.number() < 0 || output.number() < 0)
        return Outcome::unopenable;
    const auto process = start(path, task, input.number(), output.number());
    if (!process)
        return Outcome::unopenable;
    int status = 0;
    pid_t ended = 0;
    do {
        ended = ::waitpid(*process, &status, 0);
    } while (ended < 0 && errno == EINTR);
    return ended == *process ? outcomeOf(status) : Outcome::unopenable;
}

} // namespace

bool canOpenDocuments()
{
    return !workerPath().empty();
}

std::optional<DocumentFacts> factsOf(const FileSource& source)
{
    const Descriptor answer(::memfd_create("nullprint", MFD_CLOEXEC));
    if (answer.number() < 0 ||
        runWorker("describe", source.descriptor(), answer.number()) != Outcome::done)
        return std::nullopt;
    const auto told = FileSource::of(duplicateOf(answer.number()));
    if (!told.ok())
        return std::nullopt;
    auto facts = readFacts(*told.value());
    return facts.ok() ? std::optional(std::move(facts).value()) : std::nullopt;
}

Outcome writeCleanDocument(const FileSource& source, const PendingFile& destination)
{
    return runWorker("clean", source.descriptor(), destination.descriptor());
}

} // namespace nullprint::pdf
