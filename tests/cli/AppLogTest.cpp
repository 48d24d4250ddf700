#include "cli/AppLog.h"

#include "tests/support/Folder.h"

#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <sys/stat.h>

namespace nullprint::tests {
namespace {

constexpr std::uintmax_t threshold = 5242880;

std::string contentOf(const std::filesystem::path& file)
{
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

std::vector<std::string> linesOf(const std::filesystem::path& file)
{
    std::vector<std::string> lines;
    std::istringstream content(contentOf(file));
    for (std::string line; std::getline(content, line);)
        lines.push_back(line);
    return lines;
}

// Without its time stamp, which has to be there.
std::string messageOf(const std::string& line)
{
    static const std::regex form(R"(\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\] (.*))");
    std::smatch match;
    return std::regex_match(line, match, form) ? match[1].str() : "no time stamp: " + line;
}

void logOnce(const std::filesystem::path& file, const std::string& message)
{
    AppLog(file).log(message);
}

struct LogFile {
    Folder folder;
    std::filesystem::path file = folder.url("Nullprint.log").path();
    std::filesystem::path old = folder.url("Nullprint.log.old").path();
};

TEST(AppLog, beginsWithOneLineInAFileOfItsOwn)
{
    const LogFile log;
    logOnce(log.file, "Cleaned 3 file(s).");
    const auto lines = linesOf(log.file);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(messageOf(lines[0]), "Cleaned 3 file(s).");
    EXPECT_TRUE(contentOf(log.file).ends_with(").\n"));
    EXPECT_EQ(log.folder.names(), std::vector<std::string>{"Nullprint.log"});
}

TEST(AppLog, tellsTheLocalTimeOfTheWriting)
{
    const LogFile log;
    const std::time_t before = std::time(nullptr);
    logOnce(log.file, "x");
    const std::time_t after = std::time(nullptr);
    std::tm told{};
    told.tm_isdst = -1;
    const std::string line = contentOf(log.file);
    ASSERT_NE(::strptime(line.c_str(), "[%Y-%m-%d %H:%M:%S]", &told), nullptr) << line;
    const std::time_t written = std::mktime(&told);
    EXPECT_GE(written, before);
    EXPECT_LE(written, after);
}

TEST(AppLog, isUntouchedByAnAppLogThatSaysNothing)
{
    const LogFile log;
    {
        const AppLog silent(log.file);
    }
    EXPECT_TRUE(log.folder.names().empty());
}

TEST(AppLog, atTheThresholdGoesOn)
{
    const LogFile log;
    log.folder.put("Nullprint.log", std::string_view("x\n"));
    std::filesystem::resize_file(log.file, threshold);
    logOnce(log.file, "next");
    EXPECT_EQ(std::filesystem::file_size(log.file),
              threshold + sizeof("[yyyy-MM-dd HH:mm:ss] next"));
    EXPECT_FALSE(std::filesystem::exists(log.old));
}

TEST(AppLog, pastTheThresholdBeginsAnewAndKeepsOneOldGeneration)
{
    const LogFile log;
    log.folder.put("Nullprint.log.old", std::string_view("older"));
    log.folder.put("Nullprint.log", std::string_view("x\n"));
    std::filesystem::resize_file(log.file, threshold + 1);
    logOnce(log.file, "next");
    const auto lines = linesOf(log.file);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(messageOf(lines[0]), "next");
    EXPECT_EQ(std::filesystem::file_size(log.old), threshold + 1);
    EXPECT_EQ(log.folder.names(), (std::vector<std::string>{"Nullprint.log", "Nullprint.log.old"}));
}

TEST(AppLog, rotatesAsSoonAsALineMadeItTooLarge)
{
    const LogFile log;
    log.folder.put("Nullprint.log", std::string_view("x\n"));
    std::filesystem::resize_file(log.file, threshold - 5);
    {
        AppLog both(log.file);
        both.log("crosses");
        both.log("first of the new");
    }
    ASSERT_EQ(linesOf(log.file).size(), 1U);
    EXPECT_EQ(messageOf(linesOf(log.file)[0]), "first of the new");
    EXPECT_TRUE(contentOf(log.old).ends_with("crosses\n"));
}

TEST(AppLog, doesNotMakeItsFolder)
{
    const Folder folder;
    logOnce(folder.url("missing/Nullprint.log").path(), "lost");
    EXPECT_TRUE(folder.names().empty());
}

TEST(AppLog, writesAMessageWithALineFeedAsItStands)
{
    const LogFile log;
    logOnce(log.file, "one\ntwo");
    const auto lines = linesOf(log.file);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(messageOf(lines[0]), "one");
    EXPECT_EQ(lines[1], "two");
}

TEST(AppLog, leavesOutWhatIsNotText)
{
    const LogFile log;
    AppLog(log.file).log("bad \xFF");
    EXPECT_FALSE(std::filesystem::exists(log.file));
    logOnce(log.file, "é");
    AppLog(log.file).log("bad \xFF");
    ASSERT_EQ(linesOf(log.file).size(), 1U);
    EXPECT_EQ(messageOf(linesOf(log.file)[0]), "é");
}

TEST(AppLog, comesToNothingWhereAFolderHasItsName)
{
    const LogFile log;
    std::filesystem::create_directory(log.file);
    logOnce(log.file, "lost");
    EXPECT_TRUE(std::filesystem::is_empty(log.file));
    EXPECT_EQ(log.folder.names(), std::vector<std::string>{"Nullprint.log"});
}

TEST(AppLog, doesNotWaitForAPipe)
{
    const LogFile log;
    ASSERT_EQ(::mkfifo(log.file.c_str(), S_IRUSR | S_IWUSR), 0);
    logOnce(log.file, "takes its place");
    EXPECT_TRUE(std::filesystem::is_regular_file(log.file));
    EXPECT_EQ(linesOf(log.file).size(), 1U);
}

TEST(AppLog, followsTheFileWhenItIsTakenAway)
{
    const LogFile log;
    logOnce(log.file, "one");
    std::filesystem::remove(log.file);
    logOnce(log.file, "two");
    ASSERT_EQ(linesOf(log.file).size(), 1U);
    EXPECT_EQ(messageOf(linesOf(log.file)[0]), "two");
}

// What each thread says stands in its order, whole, and nothing is missing. Under one lock around
// both the counter and the call, the counter is the order of all calls.
TEST(AppLog, keepsTheOrderOfManyThreads)
{
    constexpr int threads = 8;
    constexpr int messages = 250;
    const LogFile log;
    {
        AppLog shared(log.file);
        std::mutex order;
        int next = 0;
        std::vector<std::thread> callers;
        for (int thread = 0; thread < threads; ++thread) {
            callers.emplace_back([&] {
                for (int message = 0; message < messages; ++message) {
                    const std::lock_guard lock(order);
                    shared.log("message " + std::to_string(next++));
                }
            });
        }
        for (std::thread& caller : callers)
            caller.join();
    }
    const auto lines = linesOf(log.file);
    ASSERT_EQ(lines.size(), std::size_t{threads} * messages);
    for (std::size_t i = 0; i < lines.size(); ++i)
        ASSERT_EQ(messageOf(lines[i]), "message " + std::to_string(i));
}

TEST(AppLog, takesCallsFromAllThreadsAtOnce)
{
    const LogFile log;
    {
        AppLog shared(log.file);
        std::vector<std::thread> callers;
        for (int thread = 0; thread < 8; ++thread) {
            callers.emplace_back([&shared, thread] {
                for (int message = 0; message < 100; ++message)
                    shared.log(std::to_string(thread) + " " + std::to_string(message));
            });
        }
        for (std::thread& caller : callers)
            caller.join();
    }
    std::map<std::string, int> next;
    for (const std::string& line : linesOf(log.file)) {
        std::istringstream words(messageOf(line));
        std::string thread;
        int message = -1;
        words >> thread >> message;
        ASSERT_EQ(message, next[thread]++) << line;
    }
    ASSERT_EQ(next.size(), 8U);
    for (const auto& [thread, count] : next)
        EXPECT_EQ(count, 100) << thread;
}

// The disk may be as slow as it likes: a thousand calls are over before the lines are written.
TEST(AppLog, doesNotKeepItsCallerWaiting)
{
    const LogFile log;
    AppLog slow(log.file);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 1000; ++i)
        slow.log("x");
    const auto calls = std::chrono::steady_clock::now() - start;
    EXPECT_LT(calls, std::chrono::seconds(1));
}

class Surroundings {
public:
    Surroundings(std::string name, const char* value)
        : name(std::move(name))
    {
        if (const char* present = std::getenv(this->name.c_str()))
            before = present;
        set(value);
    }
    ~Surroundings() { set(before ? before->c_str() : nullptr); }
    Surroundings(const Surroundings&) = delete;
    Surroundings& operator=(const Surroundings&) = delete;

private:
    void set(const char* value)
    {
        if (value)
            ::setenv(name.c_str(), value, 1);
        else
            ::unsetenv(name.c_str());
    }

    std::string name;
    std::optional<std::string> before;
};

TEST(AppLog, hasItsPlaceAmongTheUsersState)
{
    const Surroundings home("HOME", "/home/jane");
    {
        const Surroundings state("XDG_STATE_HOME", "/state");
        EXPECT_EQ(AppLog::usualFile(), "/state/nullprint/Nullprint.log");
    }
    for (const char* useless : {static_cast<const char*>(nullptr), "", "relative"}) {
        const Surroundings state("XDG_STATE_HOME", useless);
        EXPECT_EQ(AppLog::usualFile(), "/home/jane/.local/state/nullprint/Nullprint.log");
    }
}

} // namespace
} // namespace nullprint::tests
