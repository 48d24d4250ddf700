#include "app/DefaultsStore.h"

#include "app/PropertyList.h"
#include "tests/app/Scratch.h"

#include <QDir>
#include <QPoint>
#include <QProcess>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace nullprint::app {
namespace {

const QString key = QStringLiteral("key");

QVariantMap everyType()
{
    return {
        {QStringLiteral("array"), QVariantList{1LL, QStringLiteral("two"), QVariantList{}}},
        {QStringLiteral("data"), QByteArray("\0\xFFz", 3)},
        {QStringLiteral("date"), QDateTime(QDate(2026, 3, 2), QTime(8, 5, 59), Qt::UTC)},
        {QStringLiteral("dictionary"), QVariantMap{{QStringLiteral("<&>\"'"), QVariantMap{}}}},
        {QStringLiteral("empty"), QString()},
        {QStringLiteral("false"), false},
        {QStringLiteral("integer"), std::numeric_limits<qint64>::min()},
        {QStringLiteral("large"), std::numeric_limits<quint64>::max()},
        {QStringLiteral("real"), 0.1},
        {QStringLiteral("string"), QStringLiteral("  a <b>&amp;\n“é” 🗂 ]]>")},
        {QStringLiteral("true"), true},
    };
}

QByteArray listOf(const QByteArray& value)
{
    return "<plist><dict><key>key</key>" + value + "</dict></plist>";
}

QVariant readValue(const QByteArray& value)
{
    const auto values = readPropertyList(listOf(value));
    return values ? values->value(key) : QStringLiteral("unreadable");
}

struct StoreFile {
    Scratch scratch;
    QString file = scratch.path(QStringLiteral("nullprint/settings.plist"));
    DefaultsStore store{file};
};

TEST(PropertyList, keepsEveryValueAndItsType)
{
    const auto xml = writePropertyList(everyType());
    ASSERT_TRUE(xml);
    const auto values = readPropertyList(*xml);
    ASSERT_TRUE(values);
    EXPECT_EQ(*values, everyType());
    for (auto entry = values->begin(); entry != values->end(); ++entry)
        EXPECT_EQ(entry->typeId(), everyType().value(entry.key()).typeId())
            << qPrintable(entry.key());
    EXPECT_EQ(writePropertyList(*values), xml);
}

TEST(PropertyList, readsWhatOthersWrite)
{
    EXPECT_EQ(readValue("<true/>"), true);
    EXPECT_EQ(readValue("<false></false>"), false);
    EXPECT_EQ(readValue("<integer>-12</integer>").toLongLong(), -12);
    EXPECT_EQ(readValue("<real>1e3</real>").toDouble(), 1000.0);
    EXPECT_EQ(readValue("<data>\n\t\tAP96\n\t</data>").toByteArray(), QByteArray("\0\xFFz", 3));
    EXPECT_EQ(readValue("<string><![CDATA[a<b]]></string>").toString(), QStringLiteral("a<b"));
    EXPECT_TRUE(readPropertyList("<?xml version=\"1.0\"?>\n<!DOCTYPE plist PUBLIC \"-//x\" \"x\">\n"
                                 "<plist version=\"1.0\"><!-- x --><dict/></plist>\n"));
}

TEST(PropertyList, refusesWhatItIsNot)
{
    const QByteArrayList broken{
        "",
        "bplist00",
        "<plist></plist>",
        "<plist><array/></plist>",
        "<plist><dict/>",
        "<plist><dict/><dict/></plist>",
        "<other><dict/></other>",
        "<plist><dict/></plist>x",
        listOf(""),
        listOf("<integer>x</integer>"),
        listOf("<integer>18446744073709551616</integer>"),
        listOf("<real>x</real>"),
        listOf("<date>yesterday</date>"),
        listOf("<data>!</data>"),
        listOf("<unknown/>"),
        listOf("<string>a<b/></string>"),
        listOf("<string>\x01</string>"),
        listOf("<string>\xFF</string>"),
        "<plist><dict><string>a</string></dict></plist>",
    };
    for (const QByteArray& xml : broken)
        EXPECT_FALSE(readPropertyList(xml)) << xml.constData();
}

TEST(PropertyList, survivesEveryTruncation)
{
    const QByteArray xml = writePropertyList(everyType()).value().trimmed();
    for (qsizetype length = 0; length < xml.size(); ++length)
        EXPECT_FALSE(readPropertyList(xml.first(length))) << length;
}

TEST(PropertyList, hasAnEndHoweverDeepOrSwollenTheFile)
{
    const auto nested = [](int depth) {
        return listOf(QByteArray("<array>").repeated(depth) +
                      QByteArray("</array>").repeated(depth));
    };
    EXPECT_TRUE(readPropertyList(nested(60)));
    EXPECT_FALSE(readPropertyList(nested(100)));
    EXPECT_FALSE(readPropertyList(nested(200000)));
    QByteArray entities = "<!DOCTYPE plist [<!ENTITY a \"aaaaaaaaaaaaaaaa\">";
    for (char name = 'b'; name <= 'j'; ++name) {
        const QByteArray before = "&" + QByteArray(1, static_cast<char>(name - 1)) + ";";
        entities += "<!ENTITY " + QByteArray(1, name) + " \"" + before.repeated(16) + "\">";
    }
    EXPECT_FALSE(readPropertyList(entities + "]>" + listOf("<string>&j;</string>")));
}

TEST(PropertyList, holdsNothingThatCouldNotBeReadAgain)
{
    EXPECT_FALSE(writePropertyList({{key, QStringLiteral("a\x01z")}}));
    EXPECT_FALSE(writePropertyList({{key, QString(QChar(0xD800))}}));
    EXPECT_FALSE(writePropertyList({{key, QVariant::fromValue(QPoint(1, 2))}}));
    QVariant deep;
    for (int depth = 0; depth < 100; ++depth)
        deep = QVariantList{deep};
    EXPECT_FALSE(writePropertyList({{key, deep}}));
}

TEST(DefaultsStore, isEmptyAtFirstAndReadingMakesNoFile)
{
    const StoreFile settings;
    EXPECT_EQ(settings.store.integer(key), 0);
    EXPECT_FALSE(settings.store.boolean(key));
    EXPECT_EQ(settings.store.string(key), QString());
    EXPECT_FALSE(settings.store.date(key));
    EXPECT_TRUE(settings.store.dictionary(key).isEmpty());
    EXPECT_FALSE(settings.store.value(key).isValid());
    EXPECT_FALSE(settings.scratch.has(QStringLiteral("nullprint")));
}

TEST(DefaultsStore, isForItsOwnerAlone)
{
    StoreFile settings;
    const mode_t before = ::umask(0);
    settings.store.set(key, 1LL);
    settings.store.flush();
    ::umask(before);
    struct stat file {};
    struct stat folder {};
    ASSERT_EQ(::stat(QFile::encodeName(settings.file).constData(), &file), 0);
    ASSERT_EQ(
        ::stat(QFile::encodeName(settings.scratch.path(QStringLiteral("nullprint"))).constData(),
               &folder),
        0);
    EXPECT_EQ(file.st_mode & 07777U, 0600U);
    EXPECT_EQ(folder.st_mode & 07777U, 0700U);
}

TEST(DefaultsStore, readsValuesAsThePlatformDoes)
{
    const StoreFile settings;
    const auto give = [&](const QByteArray& value) {
        settings.scratch.put(QStringLiteral("nullprint/settings.plist"), listOf(value));
    };
    give("<string>12</string>");
    EXPECT_EQ(settings.store.integer(key), 12);
    EXPECT_TRUE(settings.store.boolean(key));
    EXPECT_FALSE(settings.store.date(key));
    give("<string>YES</string>");
    EXPECT_EQ(settings.store.integer(key), 0);
    EXPECT_TRUE(settings.store.boolean(key));
    give("<real>2.9</real>");
    EXPECT_EQ(settings.store.integer(key), 2);
    EXPECT_TRUE(settings.store.boolean(key));
    give("<real>1e300</real>");
    EXPECT_EQ(settings.store.integer(key), 0);
    give("<real>nan</real>");
    EXPECT_EQ(settings.store.integer(key), 0);
    give("<true/>");
    EXPECT_EQ(settings.store.integer(key), 1);
    give("<integer>0</integer>");
    EXPECT_FALSE(settings.store.boolean(key));
    EXPECT_EQ(settings.store.string(key), QStringLiteral("0"));
    give("<array/>");
    EXPECT_EQ(settings.store.integer(key), 0);
    EXPECT_FALSE(settings.store.boolean(key));
    EXPECT_TRUE(settings.store.dictionary(key).isEmpty());
    give("<date>2026-03-02T08:05:00Z</date>");
    EXPECT_EQ(settings.store.date(key), QDateTime(QDate(2026, 3, 2), QTime(8, 5), Qt::UTC));
}

TEST(DefaultsStore, changesOneKeyAndKeepsTheRest)
{
    StoreFile settings;
    settings.scratch.put(QStringLiteral("nullprint/settings.plist"),
                         writePropertyList(everyType()).value());
    settings.store.set(key, QStringLiteral("new"));
    settings.store.flush();
    QVariantMap expected = everyType();
    expected[key] = QStringLiteral("new");
    EXPECT_EQ(readPropertyList(settings.scratch.read(QStringLiteral("nullprint/settings.plist"))),
              expected);
    settings.store.set(key, {});
    settings.store.flush();
    EXPECT_EQ(readPropertyList(settings.scratch.read(QStringLiteral("nullprint/settings.plist"))),
              everyType());
}

TEST(DefaultsStore, givesTheOldValueToAChange)
{
    StoreFile settings;
    const auto doubled = [](const QVariant& value) -> QVariant {
        return value.isValid() ? value.toLongLong() * 2 : 21LL;
    };
    settings.store.update(key, doubled);
    EXPECT_EQ(settings.store.integer(key), 21);
    settings.store.update(key, doubled);
    EXPECT_EQ(settings.store.integer(key), 42);
}

TEST(DefaultsStore, seesWhatOthersWrote)
{
    StoreFile settings;
    settings.store.set(key, 1LL);
    DefaultsStore(settings.file).set(key, 2LL);
    EXPECT_EQ(settings.store.integer(key), 2);
}

TEST(DefaultsStore, movesAnUnreadableFileAside)
{
    StoreFile settings;
    const QString name = QStringLiteral("nullprint/settings.plist");
    for (const QByteArray slip : {"<plist><dict>", "nonsense"}) {
        settings.scratch.put(name, slip);
        EXPECT_EQ(settings.store.integer(key), 0);
        EXPECT_EQ(settings.scratch.read(name), slip) << "reading changes nothing";
        settings.store.set(key, 7LL);
        EXPECT_EQ(settings.store.integer(key), 7);
        settings.store.flush();
        EXPECT_EQ(settings.store.integer(key), 7);
    }
    EXPECT_EQ(settings.scratch.read(name + QStringLiteral(".unreadable")), "<plist><dict>");
    EXPECT_EQ(settings.scratch.read(name + QStringLiteral(".unreadable.2")), "nonsense");
}

TEST(DefaultsStore, keepsWhatItHasWhenAValueCannotBeStored)
{
    StoreFile settings;
    settings.store.set(key, 1LL);
    settings.store.set(QStringLiteral("bad"), QStringLiteral("\x01"));
    EXPECT_EQ(settings.store.integer(key), 1);
    EXPECT_FALSE(settings.store.value(QStringLiteral("bad")).isValid());
}

TEST(DefaultsStore, followsALink)
{
    StoreFile settings;
    settings.scratch.put(QStringLiteral("dotfiles/real.plist"), listOf("<integer>1</integer>"));
    makeFolders(settings.scratch.path(QStringLiteral("nullprint")));
    ASSERT_TRUE(QFile::link(QStringLiteral("../dotfiles/real.plist"), settings.file));
    settings.store.set(key, 2LL);
    settings.store.flush();
    EXPECT_TRUE(QFileInfo(settings.file).isSymLink());
    EXPECT_TRUE(settings.scratch.read(QStringLiteral("dotfiles/real.plist"))
                    .contains("<integer>2</integer>"));
}

TEST(DefaultsStore, leavesAloneWhatIsNoFile)
{
    StoreFile settings;
    makeFolders(settings.scratch.path(QStringLiteral("nullprint")));
    const QByteArray path = QFile::encodeName(settings.file);
    ASSERT_EQ(::mkfifo(path.constData(), 0600), 0);
    EXPECT_EQ(settings.store.integer(key), 0);
    settings.store.set(key, 1LL);
    settings.store.flush();
    EXPECT_EQ(settings.store.integer(key), 0);
    struct stat found {};
    ASSERT_EQ(::lstat(path.constData(), &found), 0);
    EXPECT_TRUE(S_ISFIFO(found.st_mode));
}

TEST(DefaultsStore, leavesNothingBesideTheFileAndItsLock)
{
    StoreFile settings;
    settings.store.set(key, 1LL);
    settings.store.set(key, 2LL);
    settings.store.flush();
    const QDir folder(settings.scratch.path(QStringLiteral("nullprint")));
    EXPECT_EQ(
        folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        (QStringList{QStringLiteral("settings.plist"), QStringLiteral("settings.plist.lock")}));
}

TEST(DefaultsStore, isReadByOthers)
{
    StoreFile settings;
    settings.store.updateAll([](QVariantMap& values) { values = everyType(); });
    settings.store.flush();
    QProcess python;
    python.start(QStringLiteral("python3"),
                 {QStringLiteral("-c"),
                  QStringLiteral("import plistlib, sys\n"
                                 "print(plistlib.load(open(sys.argv[1], 'rb')))"),
                  settings.file});
    ASSERT_TRUE(python.waitForFinished());
    EXPECT_EQ(
        python.readAllStandardOutput().toStdString(),
        "{'array': [1, 'two', []], 'data': b'\\x00\\xffz', 'date': datetime.datetime(2026, 3, "
        "2, 8, 5, 59), 'dictionary': {'<&>\"\\'': {}}, 'empty': '', 'false': False, 'integer': "
        "-9223372036854775808, 'large': 18446744073709551615, 'real': 0.1, 'string': '  a "
        "<b>&amp;\\n“é” 🗂 ]]>', 'true': True}\n")
        << python.readAllStandardError().constData();
}

TEST(DefaultsStore, isWrittenWhenItGoes)
{
    const Scratch scratch;
    const auto file = scratch.path(QStringLiteral("settings.plist"));
    {
        DefaultsStore store(file);
        for (qint64 number = 1; number <= 20; ++number)
            store.set(key, number);
        EXPECT_EQ(store.integer(key), 20);
    }
    const auto values = readPropertyList(scratch.read(QStringLiteral("settings.plist")));
    ASSERT_TRUE(values);
    EXPECT_EQ(values->value(key), 20LL);
}

// The value has one type, on its way to the disk and from there.
TEST(DefaultsStore, readsWhatWaitsAsItReadsTheFile)
{
    StoreFile settings;
    settings.store.set(key, 12); // An `int`, which property lists do not have.
    EXPECT_EQ(settings.store.value(key).typeId(), QMetaType::LongLong);
    EXPECT_EQ(settings.store.integer(key), 12);
    settings.store.flush();
    EXPECT_EQ(settings.store.integer(key), 12);
}

TEST(DefaultsStore, keepsOthersOutUntilAChangeIsWritten)
{
    StoreFile settings;
    settings.store.set(key, 1LL);
    // Waits for the lock, which is given back when the first change is on the disk.
    DefaultsStore other(settings.file);
    other.update(key, [&](const QVariant& value) {
        EXPECT_EQ(
            readPropertyList(settings.scratch.read(QStringLiteral("nullprint/settings.plist")))
                .value_or(QVariantMap())
                .value(key),
            1LL);
        return value.toLongLong() + 1;
    });
    EXPECT_EQ(other.integer(key), 2);
}

TEST(DefaultsStore, forgetsWhatCouldNotBeWritten)
{
    StoreFile settings;
    settings.store.set(key, 1LL);
    settings.store.flush();
    {
        const FullDisk full;
        settings.store.set(key, 2LL);
        settings.store.flush();
    }
    EXPECT_EQ(settings.store.integer(key), 1);
    settings.store.set(key, 3LL);
    settings.store.flush();
    EXPECT_EQ(settings.store.integer(key), 3);
}

void increment(const QString& file, int times)
{
    DefaultsStore store(file);
    for (int i = 0; i < times; ++i)
        store.update(key, [](const QVariant& value) { return value.toLongLong() + 1; });
}

TEST(DefaultsStore, losesNothingBetweenTwoProcesses)
{
    const StoreFile settings;
    increment(settings.file, 1);
    QProcess python;
    python.start(QStringLiteral("python3"),
                 {QStringLiteral("-c"),
                  QStringLiteral("import fcntl, os, plistlib, sys\n"
                                 "file = sys.argv[1]\n"
                                 "for _ in range(499):\n"
                                 "    with open(file + '.lock', 'a') as lock:\n"
                                 "        fcntl.flock(lock, fcntl.LOCK_EX)\n"
                                 "        values = plistlib.load(open(file, 'rb'))\n"
                                 "        values['key'] += 1\n"
                                 "        plistlib.dump(values, open(file + '.new', 'wb'))\n"
                                 "        os.rename(file + '.new', file)\n"),
                  settings.file});
    ASSERT_TRUE(python.waitForStarted());
    for (int i = 0; i < 50; ++i)
        increment(settings.file, 10); // Others get their turn in between.
    ASSERT_TRUE(python.waitForFinished(60'000));
    EXPECT_EQ(python.exitCode(), 0) << python.readAllStandardError().constData();
    EXPECT_EQ(settings.store.integer(key), 1000);
}

TEST(DefaultsStore, losesNothingBetweenThreads)
{
    const StoreFile settings;
    std::thread other([&] { increment(settings.file, 50); });
    increment(settings.file, 50);
    other.join();
    EXPECT_EQ(settings.store.integer(key), 100);
}

} // namespace
} // namespace nullprint::app
