#include "app/Workload.h"

#include <gtest/gtest.h>

namespace nullprint::app {
namespace {

TEST(Workload, saysHowMuchOfWhatIsLeft)
{
    Workload workload;
    EXPECT_TRUE(workload.isEmpty());
    EXPECT_EQ(workload.text(), QString());
    const auto cleaning = workload.begin(WorkKind::cleaning, 3);
    EXPECT_FALSE(workload.isEmpty());
    EXPECT_EQ(workload.text(), QStringLiteral("cleaning: 3 files left"));
    *cleaning -= 2;
    const auto checking = workload.begin(WorkKind::checking, 5);
    const auto alsoChecking = workload.begin(WorkKind::checking, 2);
    EXPECT_EQ(workload.text(), QStringLiteral("checking: 7 files left, cleaning: 1 file left"));
    workload.end(checking);
    EXPECT_EQ(workload.text(), QStringLiteral("checking: 2 files left, cleaning: 1 file left"));
    workload.end(cleaning);
    *alsoChecking = 0; // Nobody has been told yet.
    EXPECT_EQ(workload.text(), QStringLiteral("checking: 0 files left"));
    workload.end(alsoChecking);
    EXPECT_TRUE(workload.isEmpty());
}

} // namespace
} // namespace nullprint::app
