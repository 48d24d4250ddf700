// The application's log of what it did: one line an event, in one small file and one older one.
#pragma once

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

namespace nullprint {

class AppLog {
public:
    // Nothing is opened or made yet; the folder of `file` is never made.
    explicit AppLog(std::filesystem::path file);
    AppLog(const AppLog&) = delete;
    AppLog& operator=(const AppLog&) = delete;
    // Waits until every message is written.
    ~AppLog();

    // Adds "[yyyy-MM-dd HH:mm:ss] message" and a line feed, soon, on a thread of its own. Returns
    // at once, from any thread; lines stand in the order of the calls. Failures are kept to itself.
    void log(std::string message) noexcept;

    // Where the log of this user is: $XDG_STATE_HOME/nullprint/Nullprint.log.
    static std::filesystem::path usualFile();

private:
    void writeWaiting() noexcept;

    const std::filesystem::path file;
    std::mutex guard; // Of what follows.
    std::condition_variable changed;
    std::deque<std::string> waiting;
    bool isEnding = false;
    std::thread writer;
};

} // namespace nullprint
