// Work off the main thread: one item for each operation of the user, one value back.
#pragma once

#include <QObject>
#include <QThreadPool>

#include <functional>
#include <memory>
#include <stop_token>

namespace nullprint::app {

// Lives on the main thread. When it goes, no further file is begun, and the file that is being
// worked on is finished, so that nothing half written can stay. Results are dropped then, unless
// `finish` was called before.
class EngineThreads : public QObject {
    Q_OBJECT

public:
    EngineThreads();
    ~EngineThreads() override;

    // Ends all work in the same way, and hands over what has been done until then.
    void finish();

    // Calls `work` on another thread and then, on the main one, `done` with what it returned.
    template <typename Value>
    void start(std::function<Value(const std::stop_token&)> work, std::function<void(Value)> done)
    {
        pool.start([this, work = std::move(work), done = std::move(done)] {
            auto value = std::make_shared<Value>(work(stop.get_token()));
            QMetaObject::invokeMethod(
                this,
                [value, done] { done(std::move(*value)); },
                Qt::QueuedConnection);
        });
    }

private:
    QThreadPool pool;
    std::stop_source stop;
};

} // namespace nullprint::app
