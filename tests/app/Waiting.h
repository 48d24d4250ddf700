// Tests of what happens in the event loop.
#pragma once

#include <QTest>

namespace nullprint::tests {

// Long enough for a loaded machine under sanitizers; nothing ever takes that long.
inline constexpr int patienceMs = 30'000;

template <typename Condition> [[nodiscard]] bool comesTrue(Condition condition)
{
    return QTest::qWaitFor(condition, patienceMs);
}

// Lets happen what is going to happen.
inline void letPass(int ms = 100)
{
    QTest::qWait(ms);
}

} // namespace nullprint::tests
