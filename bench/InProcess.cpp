// The picture library by itself: reading and cleaning the files named on the command line, from
// memory into nothing, so that neither starting nor writing is in the numbers.
#include "engine/image/ImageSource.h"

#include <benchmark/benchmark.h>
#include <fstream>
#include <iterator>
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

} // namespace
} // namespace nullprint

int main(int count, char** arguments)
{
    benchmark::Initialize(&count, arguments);
    for (int index = 1; index < count; ++index) {
        const std::string path = arguments[index];
        const std::string name = path.substr(path.rfind('/') + 1);
        benchmark::RegisterBenchmark(("clean/" + name).c_str(), nullprint::clean, path);
        benchmark::RegisterBenchmark(("read/" + name).c_str(), nullprint::readProperties, path);
    }
    benchmark::RunSpecifiedBenchmarks();
}
