#include "app/platform/Termination.h"

#include "tests/app/Waiting.h"

#include <QSignalSpy>

#include <csignal>
#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

TEST(Termination, comesFromTheEventLoop)
{
    {
        const Termination termination;
        const QSignalSpy requested(&termination, &Termination::requested);
        int expected = 0;
        for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
            ASSERT_EQ(std::raise(signal), 0);
            EXPECT_EQ(requested.count(), expected);
            ++expected;
            ASSERT_TRUE(tests::comesTrue([&] { return requested.count() == expected; }));
        }
    }
    const Termination again;
    const QSignalSpy requested(&again, &Termination::requested);
    ASSERT_EQ(std::raise(SIGTERM), 0);
    EXPECT_TRUE(tests::comesTrue([&] { return requested.count() == 1; }));
}

} // namespace
} // namespace nullprint::app
