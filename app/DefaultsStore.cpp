#include "app/DefaultsStore.h"

#include "app/Identity.h"
#include "app/PropertyList.h"
#include "app/platform/SmallFile.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <cerrno>
#include <cmath>
#include <fcntl.h>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace nullprint::app {
namespace {

QString configFile(const QString& name)
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/nullprint/") + name + QStringLiteral(".plist");
}

// What a file says. Nothing when it says something else than settings.
std::optional<QVariantMap> valuesOf(const QString& file)
{
    if (!QFileInfo::exists(file))
        return QVariantMap();
    const auto xml = readSmallFile(file);
    return xml ? readPropertyList(*xml) : std::nullopt;
}

// Out of the way, but not lost: it may be a slip of whoever edited it.
bool moveAside(const QString& file)
{
    const QString unreadable = QFileInfo(file).canonicalFilePath();
    QString place = unreadable + QStringLiteral(".unreadable");
    for (int number = 2; QFileInfo::exists(place) && number < 100; ++number)
        place = unreadable + QStringLiteral(".unreadable.%1").arg(number);
    return QFileInfo(unreadable).isFile() && QFile::rename(unreadable, place);
}

qint64 integerOfReal(double number)
{
    constexpr double past = 9223372036854775808.0; // 2^63
    return number >= -past && number < past ? static_cast<qint64>(number) : 0;
}

bool booleanOfText(const QString& text)
{
    return text.compare(u"true", Qt::CaseInsensitive) == 0 ||
           text.compare(u"yes", Qt::CaseInsensitive) == 0 || text.toLongLong() != 0;
}

} // namespace

// Keeps other processes and threads from changing the settings. The settings' own file cannot be
// the lock: it is a new one after each change.
class DefaultsStore::Lock {
public:
    explicit Lock(const QString& path)
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system's own interface.
        : file(::open(QFile::encodeName(path).constData(),
                      O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK,
                      ownersFile))
    {
        while (file >= 0 && ::flock(file, LOCK_EX) != 0 && errno == EINTR)
            ;
    }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;
    ~Lock()
    {
        if (file >= 0)
            ::close(file);
    }

    // Where the system has no locks (some network file systems) there is no better way than
    // without.
    bool isThere() const { return file >= 0; }

private:
    const int file;
};

DefaultsStore::DefaultsStore(QString file)
    : file(std::move(file))
{
}

DefaultsStore::~DefaultsStore()
{
    {
        const std::lock_guard held(guard);
        isEnding = true;
    }
    changed.notify_one();
    if (writer.joinable())
        writer.join();
}

DefaultsStore DefaultsStore::standard()
{
    return DefaultsStore(configFile(QString::fromLatin1(applicationID)));
}

DefaultsStore DefaultsStore::services()
{
    return DefaultsStore(configFile(QStringLiteral("pbs")));
}

qint64 DefaultsStore::integerOf(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Double:
        return integerOfReal(value.toDouble());
    case QMetaType::Bool:
    case QMetaType::LongLong:
    case QMetaType::QString:
        return value.toLongLong();
    default:
        return 0;
    }
}

std::optional<QVariantMap> DefaultsStore::values() const
{
    {
        const std::lock_guard held(guard);
        if (waiting)
            return readPropertyList(*waiting);
    }
    return valuesOf(file);
}

QVariant DefaultsStore::value(const QString& key) const
{
    const auto all = values();
    return all ? all->value(key) : QVariant();
}

qint64 DefaultsStore::integer(const QString& key) const
{
    return integerOf(value(key));
}

bool DefaultsStore::boolean(const QString& key) const
{
    const QVariant found = value(key);
    if (found.typeId() == QMetaType::QString)
        return booleanOfText(found.toString());
    if (found.typeId() == QMetaType::Double)
        return found.toDouble() != 0;
    return integerOf(found) != 0;
}

QString DefaultsStore::string(const QString& key) const
{
    const QVariant found = value(key);
    switch (found.typeId()) {
    case QMetaType::QString:
    case QMetaType::LongLong:
    case QMetaType::Double:
        return found.toString();
    default:
        return {};
    }
}

std::optional<QDateTime> DefaultsStore::date(const QString& key) const
{
    const QVariant found = value(key);
    if (found.typeId() != QMetaType::QDateTime)
        return std::nullopt;
    return found.toDateTime();
}

QVariantMap DefaultsStore::dictionary(const QString& key) const
{
    const QVariant found = value(key);
    return found.typeId() == QMetaType::QVariantMap ? found.toMap() : QVariantMap();
}

void DefaultsStore::set(const QString& key, const QVariant& value)
{
    update(key, [&](const QVariant&) { return value; });
}

void DefaultsStore::update(const QString& key,
                           const std::function<QVariant(const QVariant&)>& change)
{
    updateAll([&](QVariantMap& values) {
        if (const QVariant value = change(values.value(key)); value.isValid())
            values.insert(key, value);
        else
            values.remove(key);
    });
}

void DefaultsStore::updateAll(const std::function<void(QVariantMap&)>& change)
{
    const std::lock_guard held(guard);
    // What waits to be written was made from the file, and nobody else has changed that since.
    auto ours = std::move(lock);
    if (!waiting) {
        makeFolders(QFileInfo(file).path());
        ours = std::make_unique<Lock>(file + QStringLiteral(".lock"));
    }
    const auto before = waiting ? readPropertyList(*waiting) : valuesOf(file);
    QVariantMap values = before.value_or(QVariantMap());
    change(values);
    // Without a lock file there is no writing there either, or files are used up for the moment.
    if (ours->isThere() && !(before && values == *before)) {
        if (auto xml = writePropertyList(values))
            hand(std::move(*xml));
    }
    if (waiting)
        lock = std::move(ours);
}

// To the thread that writes, which begins with the first change.
void DefaultsStore::hand(QByteArray xml)
{
    waiting = std::move(xml);
    changed.notify_one();
    try {
        if (!writer.joinable())
            writer = std::thread([this] { writeWaiting(); });
    } catch (const std::system_error&) { // No thread can be had.
        write(*waiting);
        waiting.reset();
    }
}

void DefaultsStore::writeWaiting()
{
    std::unique_lock held(guard);
    while (true) {
        changed.wait(held, [this] { return waiting || isEnding; });
        if (!waiting)
            return;
        const QByteArray xml = *waiting;
        held.unlock();
        write(xml);
        held.lock();
        if (waiting != xml)
            continue; // There is something newer.
        waiting.reset();
        lock.reset();
        written.notify_all();
    }
}

void DefaultsStore::write(const QByteArray& xml) const
{
    if (valuesOf(file) || moveAside(file))
        writeSmallFile(file, xml, ownersFile);
}

void DefaultsStore::flush()
{
    std::unique_lock held(guard);
    written.wait(held, [this] { return !waiting; });
}

} // namespace nullprint::app
