#include "cli/AppLog.h"

#include "engine/support/FileURL.h"
#include "engine/support/PendingFile.h"
#include "engine/support/Text.h"
#include "engine/support/UUID.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace nullprint {
namespace {

constexpr std::uintmax_t rotationBytes = 5242880;

// Nothing waits for the log: what the user is doing goes first.
constexpr int utilityNiceness = 10;

std::string timestamp()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::tzset(); // The user may have travelled.
    if (::localtime_r(&now, &local) == nullptr)
        return {};
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local)};
}

void rotate(const std::filesystem::path& file)
{
    std::error_code ignored;
    const std::uintmax_t size = std::filesystem::file_size(file, ignored);
    if (ignored || size <= rotationBytes)
        return;
    std::filesystem::path old = file;
    old += ".old";
    std::filesystem::remove(old, ignored);
    std::filesystem::rename(file, old, ignored);
}

// Takes the name in one step, also from a file that cannot be opened.
void create(const std::filesystem::path& file, ByteSpan line)
{
    const std::string folder = FileURL::fromPath(file).folder();
    const auto fresh = PendingFile::create(folder);
    if (!fresh.ok() || !fresh.value()->write(line).ok())
        return;
    const std::string passing = folder + "/.nullprint-" + randomUUID();
    if (fresh.value()->keep(passing, Permissions(S_IRUSR | S_IWUSR)) != PendingFile::Outcome::kept)
        return;
    if (::rename(passing.c_str(), file.c_str()) != 0)
        ::unlink(passing.c_str());
}

void append(int log, ByteSpan line)
{
    while (!line.empty()) {
        const ssize_t written = ::write(log, line.data(), line.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        line = line.subspan(static_cast<std::size_t>(written));
    }
}

void writeLine(const std::filesystem::path& file, const std::string& message)
{
    std::string line = "[";
    line.append(timestamp()).append("] ").append(message).append("\n");
    rotate(file);
    if (!isUTF8(line))
        return;
    // A pipe that nobody reads is not waited for.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system's own interface.
    const int log = ::open(file.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NONBLOCK);
    if (log < 0) {
        create(file, asBytes(line));
        return;
    }
    append(log, asBytes(line));
    ::close(log);
}

std::string homeFolder()
{
    if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/')
        return home;
    const passwd* user = ::getpwuid(::getuid());
    return user != nullptr && user->pw_dir != nullptr ? user->pw_dir : "/";
}

} // namespace

AppLog::AppLog(std::filesystem::path file)
    : file(std::move(file))
{
}

AppLog::~AppLog()
{
    {
        const std::lock_guard lock(guard);
        isEnding = true;
    }
    changed.notify_one();
    if (writer.joinable())
        writer.join();
}

void AppLog::log(std::string message) noexcept
{
    try {
        {
            const std::lock_guard lock(guard);
            waiting.push_back(std::move(message));
            if (!writer.joinable())
                writer = std::thread([this] { writeWaiting(); });
        }
        changed.notify_one();
    } catch (const std::system_error&) {
        // No thread can be had: the next message tries again, and takes this one along.
    }
}

void AppLog::writeWaiting() noexcept
{
    ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), utilityNiceness);
    std::unique_lock lock(guard);
    while (true) {
        changed.wait(lock, [this] { return isEnding || !waiting.empty(); });
        if (waiting.empty())
            return;
        const std::string message = std::move(waiting.front());
        waiting.pop_front();
        lock.unlock();
        writeLine(file, message);
        lock.lock();
    }
}

std::filesystem::path AppLog::usualFile()
{
    const char* state = std::getenv("XDG_STATE_HOME");
    const std::filesystem::path folder =
        state != nullptr && *state == '/' ? state : homeFolder() + "/.local/state";
    return folder / "nullprint" / "Nullprint.log";
}

} // namespace nullprint
