// The user's settings and counters: an XML property list that several processes may change.
#pragma once

#include <QDateTime>
#include <QString>
#include <QVariant>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace nullprint::app {

// Remembers nothing but what is on its way to the disk: each call reads the file, so that a change
// made by others takes effect. Calls may come from any thread and do not wait for the disk: changes
// are written by a thread of the store's own, which keeps other processes from changing the file
// until it is done. A value that cannot be stored is lost without a word.
//
// Values are bool, qint64, double, QString, QDateTime, QByteArray, QVariantList and QVariantMap.
// What is not touched keeps its value and its type.
class DefaultsStore {
public:
    explicit DefaultsStore(QString file);
    DefaultsStore(const DefaultsStore&) = delete;
    DefaultsStore& operator=(const DefaultsStore&) = delete;
    // Waits until every change is written.
    ~DefaultsStore();
    // The application's own, and "pbs", which says what services there are in context menus.
    static DefaultsStore standard();
    static DefaultsStore services();

    // Where a value is absent or of a kind that does not fit: 0, false, an empty one, or nothing.
    // Numbers, booleans and texts of numbers stand for each other; nothing else does.
    qint64 integer(const QString& key) const;
    bool boolean(const QString& key) const;
    QString string(const QString& key) const;
    std::optional<QDateTime> date(const QString& key) const;
    QVariantMap dictionary(const QString& key) const;
    // Whether there is nothing, or something that can be read. What cannot holds none of the above.
    bool isReadable() const { return values().has_value(); }
    // As it is; invalid when absent.
    QVariant value(const QString& key) const;

    // An invalid value removes the key.
    void set(const QString& key, const QVariant& value);
    // Sets the key to what `change` makes of its value, which is invalid when absent. Nobody else
    // changes the file in between. `change` must not use the same store.
    void update(const QString& key, const std::function<QVariant(const QVariant&)>& change);
    // The same for all keys at once.
    void updateAll(const std::function<void(QVariantMap&)>& change);
    // Waits until every change so far is on the disk.
    void flush();

    // A value as `integer` reads it.
    static qint64 integerOf(const QVariant& value);

private:
    class Lock;

    std::optional<QVariantMap> values() const;
    void hand(QByteArray xml);
    void writeWaiting();
    void write(const QByteArray& xml) const;

    const QString file;
    mutable std::mutex guard; // Of what follows.
    std::condition_variable changed;
    std::condition_variable written;
    bool isEnding = false;
    std::optional<QByteArray> waiting; // The whole file, as it is going to be.
    std::unique_ptr<Lock> lock;        // Held while something waits.
    std::thread writer;
};

} // namespace nullprint::app
