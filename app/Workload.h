// What is being worked on at a moment, in words.
#pragma once

#include <QString>

#include <atomic>
#include <memory>
#include <vector>

namespace nullprint::app {

enum class WorkKind { checking, cleaning };

// Lives on the main thread; only the numbers of files left are changed by others.
class Workload {
public:
    using FilesLeft = std::shared_ptr<std::atomic<qint64>>;

    FilesLeft begin(WorkKind kind, qint64 files);
    void end(const FilesLeft& work);
    bool isEmpty() const { return works.empty(); }
    // “checking: 2 files left, cleaning: 1 file left”, of everything at once.
    QString text() const;

private:
    struct Work {
        WorkKind kind;
        FilesLeft left;
    };
    std::vector<Work> works;
};

} // namespace nullprint::app
