// The application's tests run without a display, with folders and a session bus of their own: this
// program starts itself once more inside of these.
#include "engine/support/TempFolder.h"

#include <QApplication>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* insideMark = "NULLPRINT_TESTS_INSIDE";

void setFolders(const std::string& root)
{
    ::setenv("HOME", root.c_str(), 1);
    for (const char* name : {"XDG_CONFIG_HOME",
                             "XDG_DATA_HOME",
                             "XDG_STATE_HOME",
                             "XDG_CACHE_HOME",
                             "XDG_RUNTIME_DIR"}) {
        const auto folder = root + "/" + name;
        ::mkdir(folder.c_str(), S_IRWXU);
        ::setenv(name, folder.c_str(), 1);
    }
    for (const char* name : {"XDG_CURRENT_DESKTOP",
                             "DISPLAY",
                             "WAYLAND_DISPLAY",
                             "DBUS_SESSION_BUS_ADDRESS",
                             "http_proxy",
                             "https_proxy"})
        ::unsetenv(name);
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::setenv(insideMark, "1", 1);
}

// The exit status of this program inside.
int runInside(char** argv)
{
    const auto folder = nullprint::TempFolder::create("nullprint-app-tests-").value();
    const pid_t inside = ::fork();
    if (inside == 0) {
        setFolders(folder.path());
        std::vector<char*> words{const_cast<char*>("dbus-run-session"), const_cast<char*>("--")};
        // NOLINTNEXTLINE(cppcoreguidelines-pro-bounds-pointer-arithmetic): a program's words.
        for (char** word = argv; *word != nullptr; ++word)
            words.push_back(*word);
        words.push_back(nullptr);
        ::execvp(words.front(), words.data());
        std::perror("dbus-run-session");
        ::_exit(1);
    }
    int status = 0;
    ::waitpid(inside, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (::getenv(insideMark) == nullptr)
        return runInside(argv);
    testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
