// The entry point: an option as the first argument makes this a command-line tool, anything else
// the menu-bar application.
#include "cli/Options.h"
#include "engine/support/Companion.h"

#include <csignal>
#include <cstdio>
#include <dlfcn.h>
#include <span>
#include <unistd.h>

namespace {

// The application is a module, so that the command line starts without a windowing system and runs
// where none is installed. It is never closed: its libraries do not take to that.
void* applicationModule()
{
    constexpr const char* name = "nullprint-app.so";
    for (const std::string& path : nullprint::companionPlaces(name)) {
        if (::access(path.c_str(), R_OK) == 0)
            return ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    }
    return ::dlopen(name, RTLD_NOW | RTLD_LOCAL); // It fails, and says why.
}

int runApplication(int argc, char** argv)
{
    void* module = applicationModule();
    void* entry = module == nullptr ? nullptr : ::dlsym(module, "nullprintApplication");
    if (entry == nullptr) {
        std::fprintf(stderr,
                     "Nullprint: this installation has no menu-bar application (%s); see "
                     "“nullprint --help” for the command line.\n",
                     ::dlerror());
        return 1;
    }
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): how a module's functions come.
    return reinterpret_cast<int (*)(int, char**)>(entry)(argc, argv);
}

} // namespace

int main(int argc, char** argv)
{
    // Whoever started this may have it ignored, and then no process tells how it ended.
    std::signal(SIGCHLD, SIG_DFL);
    // A copy that is larger than a file may be is one that cannot be written, and not the end.
    std::signal(SIGXFSZ, SIG_IGN);
    const std::span arguments(argv, static_cast<std::size_t>(argc));
    if (arguments.size() > 1) {
        const std::vector<std::string> files(arguments.begin() + 2, arguments.end());
        if (const auto status = nullprint::runOption(arguments[1], files))
            return *status;
    }
    return runApplication(argc, argv);
}
