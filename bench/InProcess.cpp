// The engine by itself, on the files named on the command line. Of pictures, reading and cleaning
// from memory into nothing, so that neither starting nor writing is in the numbers; of any file,
// the two front doors.
#include "engine/image/ImageSource.h"
#include "engine/reveal/RevealReport.h"
#include "engine/scrub/FileTypes.h"
#include "engine/scrub/ScrubReport.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <span>
#include <string>

namespace nullprint {
namespace {

// What the kernel would copy costs nothing here: what is left is finding out what to copy.
class NullSink final : public ByteSink {
public:
    Result<Done> write(ByteSpan bytes) override
    {
        benchmark::DoNotOptimize(bytes.data());
        return Done{};
    }
    Result<Done> copy(ByteSource&, ByteRange range) override
    {
        benchmark::DoNotOptimize(range.length);
        return Done{};
    }
};

Bytes contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

void clean(benchmark::State& state, const std::string& path)
{
    const Bytes content = contentOf(path);
    for (auto round : state) {
        static_cast<void>(round);
        MemorySource bytes(content);
        const auto source = image::ImageSource::open(bytes);
        NullSink sink;
        if (!source.ok() || !writeCleanImage(source.value(), source.value().type(), sink).ok())
            state.SkipWithError("cannot be cleaned");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(content.size()));
}

void readProperties(benchmark::State& state, const std::string& path)
{
    const Bytes content = contentOf(path);
    for (auto round : state) {
        static_cast<void>(round);
        MemorySource bytes(content);
        const auto source = image::ImageSource::open(bytes);
        if (!source.ok())
            state.SkipWithError("cannot be opened");
        else
            benchmark::DoNotOptimize(source.value().properties(0));
    }
}

void reveal(benchmark::State& state, const FileURL& url)
{
    for (auto round : state) {
        static_cast<void>(round);
        if (revealFile(url).note)
            state.SkipWithError("cannot be inspected");
    }
}

// Removing the copy is not in the time.
void scrub(benchmark::State& state, const FileURL& url)
{
    for (auto round : state) {
        static_cast<void>(round);
        const ScrubReport report = scrubFile(url);
        const auto* cleaned = std::get_if<Cleaned>(&report.status);
        if (cleaned == nullptr) {
            state.SkipWithError("cannot be cleaned");
            break;
        }
        state.PauseTiming();
        std::remove(cleaned->output.path().c_str());
        state.ResumeTiming();
    }
}

void registerAll(const std::string& path)
{
    const FileURL url = FileURL::fromPath(path);
    const std::string name = url.lastPathComponent();
    if (fileTypeOf(url).kind == FileKind::image) {
        benchmark::RegisterBenchmark(("library/clean/" + name).c_str(), clean, path);
        benchmark::RegisterBenchmark(("library/read/" + name).c_str(), readProperties, path);
    }
    benchmark::RegisterBenchmark(("scrubFile/" + name).c_str(), scrub, url);
    benchmark::RegisterBenchmark(("revealFile/" + name).c_str(), reveal, url);
}

} // namespace
} // namespace nullprint

int main(int count, char** arguments)
{
    benchmark::Initialize(&count, arguments);
    for (const char* file : std::span(arguments, static_cast<std::size_t>(count)).subspan(1))
        nullprint::registerAll(file);
    benchmark::RunSpecifiedBenchmarks();
}
