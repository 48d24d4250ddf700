#include "app/Workload.h"

#include <QStringList>

#include <algorithm>
#include <array>

namespace nullprint::app {
namespace {

struct KindWord {
    WorkKind kind;
    const char* word;
};

constexpr std::array kindWords{
    KindWord{WorkKind::checking, "checking"},
    KindWord{WorkKind::cleaning, "cleaning"},
};

} // namespace

Workload::FilesLeft Workload::begin(WorkKind kind, qint64 files)
{
    works.push_back({kind, std::make_shared<std::atomic<qint64>>(files)});
    return works.back().left;
}

void Workload::end(const FilesLeft& work)
{
    std::erase_if(works, [&](const Work& each) { return each.left == work; });
}

QString Workload::text() const
{
    QStringList parts;
    for (const auto& [kind, word] : kindWords) {
        bool isDone = true;
        qint64 left = 0;
        for (const Work& work : works) {
            if (work.kind != kind)
                continue;
            isDone = false;
            left += *work.left;
        }
        if (!isDone)
            parts += QStringLiteral("%1: %2 file%3 left")
                         .arg(QLatin1StringView(word))
                         .arg(left)
                         .arg(left == 1 ? QString() : QStringLiteral("s"));
    }
    return parts.join(QStringLiteral(", "));
}

} // namespace nullprint::app
