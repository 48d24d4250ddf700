#include "engine/scrub/RunTool.h"

#include "tests/support/Folder.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace nullprint::tests {
namespace {

ToolResult shell(const std::string& script)
{
    return runTool("/bin/sh", {"-c", script});
}

TEST(RunTool, tellsTheExitStatus)
{
    EXPECT_EQ(shell("exit 0").status, 0);
    EXPECT_EQ(shell("exit 7").status, 7);
    EXPECT_EQ(shell("kill -9 $$").status, 9);
}

TEST(RunTool, gathersBothOutputsInOrder)
{
    EXPECT_EQ(shell("echo one; echo two >&2; echo three").output, "one\ntwo\nthree\n");
    EXPECT_EQ(shell("true").output, "");
}

TEST(RunTool, passesArgumentsAsTheyAre)
{
    EXPECT_EQ(runTool("/usr/bin/printf", {"<%s>", "a b", "$HOME", "*", "\"'", ""}).output,
              "<a b><$HOME><*><\"'><>");
}

TEST(RunTool, runsInTheFolderThatIsAskedFor)
{
    const Folder folder;
    folder.put("here", "");
    EXPECT_EQ(runTool("/bin/ls", {}, folder.url("").path()).output, "here\n");
}

TEST(RunTool, saysWhyAProgramCannotBeStarted)
{
    const ToolResult missing = runTool("/nowhere/at/all", {});
    EXPECT_EQ(missing.status, -1);
    EXPECT_EQ(missing.output, "No such file or directory");
    const Folder folder;
    const ToolResult plain = runTool(folder.put("plain", "text").path(), {});
    EXPECT_EQ(plain.status, -1);
    EXPECT_EQ(plain.output, "Permission denied");
    EXPECT_EQ(runTool("/bin/ls", {}, "/nowhere/at/all").status, -1);
}

TEST(RunTool, saysSoWhenThereIsNoPipeToBeHad)
{
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const ToolResult result = shell("exit 0");
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(result.status, -1);
    EXPECT_EQ(result.output, "Too many open files");
    EXPECT_EQ(shell("exit 0").status, 0);
}

// Where ended children are ignored, the system does not tell how they ended.
TEST(RunTool, doesNotTakeAnUnknownEndForSuccess)
{
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    const ToolResult result = shell("echo said");
    std::signal(SIGCHLD, before);
    EXPECT_EQ(result.status, -1);
    EXPECT_EQ(result.output, "said\n");
}

TEST(RunTool, isNotBlockedByAProgramWithMuchToSay)
{
    const ToolResult result = shell("yes 0123456789 | head -n 100000; exit 3");
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.output.size(), 1100000U);
}

TEST(RunTool, givesNoOutputThatIsNotUTF8)
{
    EXPECT_EQ(shell("printf 'gr\\374n'").output, "");
    EXPECT_EQ(shell("printf 'gr\\303\\274n'").output, "grün");
}

} // namespace
} // namespace nullprint::tests
