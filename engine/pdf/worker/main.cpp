// The worker: a PDF on standard input, an answer on standard output. It is started by the program
// for each document and ends with it, one way or the other.
#include "engine/pdf/worker/MarkWatch.h"
#include "engine/pdf/worker/Work.h"
#include "engine/support/FileSource.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <malloc.h>
#include <new>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace nullprint::pdf {
namespace {

class StandardOutput final : public ByteSink {
public:
    Result<Done> write(ByteSpan bytes) override
    {
        if (gathered.size() + bytes.size() < limits::windowBytes) {
            append(gathered, bytes);
            return Done{};
        }
        NP_TRY(flush());
        return writeAll(bytes);
    }
    // Whether a mark of metadata has been among what is written.
    bool sawMark() const { return marks.seen(); }

    Result<Done> copy(ByteSource&, ByteRange) override { return Error{"nothing is copied here"}; }

    Result<Done> flush()
    {
        NP_TRY(writeAll(gathered));
        gathered.clear();
        return Done{};
    }

private:
    Result<Done> writeAll(ByteSpan left)
    {
        // Here the bytes are at hand: reading a large copy again takes as long as writing it.
        marks.look(left);
        while (!left.empty()) {
            const ssize_t written = ::write(STDOUT_FILENO, left.data(), left.size());
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0)
                return Error{"the answer could not be written"};
            left = left.subspan(static_cast<std::size_t>(written));
        }
        return Done{};
    }

    Bytes gathered;
    MarkWatch marks;
};

// Lowers a limit. One that is lower already stays.
void limit(__rlimit_resource_t resource, std::uint64_t value)
{
    rlimit now{};
    if (::getrlimit(resource, &now) != 0)
        return;
    const rlim_t lower = std::min({now.rlim_cur, now.rlim_max, rlim_t{value}});
    now = {lower, lower};
    ::setrlimit(resource, &now);
}

// The library takes an object for which there was no memory for a damaged one, and would go on.
[[noreturn]] void giveUp()
{
    ::_exit(static_cast<int>(Outcome::unopenable));
}

// A crafted file must not cost more than an honest one of its size could.
void limitUse(std::uint64_t sizeBytes)
{
    const std::uint64_t size = std::min<std::uint64_t>(sizeBytes, 1UL << 40);
    limit(RLIMIT_CPU, limits::documentSeconds + size / limits::documentBytesPerSecond);
    limit(RLIMIT_FSIZE, limits::documentOutputBytes + size * limits::documentOutputFactor);
#ifndef NP_SANITIZED
    limit(RLIMIT_AS, limits::documentMemoryBytes + size * limits::documentMemoryFactor);
#endif
    std::signal(SIGXFSZ, SIG_IGN); // Writing then fails with an error.
    std::set_new_handler(giveUp);
}

// One picture after the other is in memory. What one has had, the next one gets, without the system
// taking it back and clearing it in between.
void keepMemory()
{
    constexpr int most = 32 << 20; // What mallopt allows.
    ::mallopt(M_MMAP_THRESHOLD, most);
    ::mallopt(M_TRIM_THRESHOLD, 2 * most);
}

// If it crashes, no copy of the document is to lie about.
void leaveNoTraces()
{
    limit(RLIMIT_CORE, 0);
    ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
}

Outcome run(std::string_view task, FileSource& source)
{
    // Never destroyed: taking a large document apart takes as long as reading it.
    static Work& work = *new Work(source);
    StandardOutput output;
    Outcome outcome = Outcome::unopenable;
    if (task == "clean") {
        outcome = work.writeClean(output);
    } else if (task == "describe") {
        DocumentFacts facts;
        outcome = work.describe(facts);
        if (outcome == Outcome::done && !writeFacts(facts, output).ok())
            return Outcome::unwritable;
    }
    // The library takes what could not be read for damage, and makes the best of it.
    if (source.hasFailed())
        return Outcome::unopenable;
    if (outcome == Outcome::done && !output.flush().ok())
        return Outcome::unwritable;
    const bool isCopy = outcome == Outcome::done && task == "clean";
    return isCopy && output.sawMark() ? Outcome::marked : outcome;
}

} // namespace
} // namespace nullprint::pdf

int main(int argc, char** argv)
{
    using namespace nullprint;
    pdf::leaveNoTraces();
    pdf::keepMemory();
    const std::span words(argv, static_cast<std::size_t>(argc));
    const auto source = FileSource::of(STDIN_FILENO);
    if (words.size() != 2 || !source.ok())
        return static_cast<int>(pdf::Outcome::unopenable);
    pdf::limitUse(source.value()->size());
    return static_cast<int>(pdf::run(words[1], *source.value()));
}
