#include "app/EngineThreads.h"

#include "tests/app/Waiting.h"

#include <QThread>

#include <gtest/gtest.h>

#include <latch>

namespace nullprint::app {
namespace {

using tests::comesTrue;

TEST(EngineThreads, bringOneValueBackToTheMainThread)
{
    EngineThreads threads;
    QThread* workedOn = nullptr;
    QThread* answeredOn = nullptr;
    int answer = 0;
    threads.start<int>(
        [&](const std::stop_token&) {
            workedOn = QThread::currentThread();
            return 7;
        },
        [&](int value) {
            answeredOn = QThread::currentThread();
            answer = value;
        });
    EXPECT_EQ(answer, 0); // Not before the event loop comes by.
    ASSERT_TRUE(comesTrue([&] { return answer == 7; }));
    EXPECT_NE(workedOn, QThread::currentThread());
    EXPECT_EQ(answeredOn, QThread::currentThread());
}

TEST(EngineThreads, workOnSeveralThingsAtOnce)
{
    // Each waits for the others: one after the other they would never end.
    std::latch together(3);
    int ended = 0;
    EngineThreads threads;
    for (int number = 0; number < 3; ++number) {
        threads.start<bool>(
            [&](const std::stop_token&) {
                together.arrive_and_wait();
                return true;
            },
            [&](bool) { ++ended; });
    }
    EXPECT_TRUE(comesTrue([&] { return ended == 3; }));
}

TEST(EngineThreads, areAskedToStopAndWaitedForWhenTheyGo)
{
    bool wasAsked = false;
    bool answered = false;
    std::latch begun(1);
    {
        EngineThreads threads;
        threads.start<bool>(
            [&](const std::stop_token& stop) {
                begun.count_down();
                while (!stop.stop_requested())
                    QThread::msleep(1);
                wasAsked = true;
                return true;
            },
            [&](bool) { answered = true; });
        begun.wait();
    }
    EXPECT_TRUE(wasAsked);
    tests::letPass();
    EXPECT_FALSE(answered);
}

} // namespace
} // namespace nullprint::app
