#include "app/EngineThreads.h"

#include <QCoreApplication>

#include <algorithm>

namespace nullprint::app {
namespace {

// A short check does not wait behind a long clean, however few processors there are.
constexpr int fewestThreads = 4;

} // namespace

EngineThreads::EngineThreads()
{
    pool.setMaxThreadCount(std::max(fewestThreads, pool.maxThreadCount()));
}

EngineThreads::~EngineThreads()
{
    stop.request_stop();
    pool.waitForDone();
}

void EngineThreads::finish()
{
    stop.request_stop();
    pool.waitForDone();
    QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
}

} // namespace nullprint::app
