#include "app/Heartbeat.h"

#include "tests/app/Scratch.h"

#include <QProcess>
#include <QRegularExpression>
#include <QSslCertificate>
#include <QTest>

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>

namespace nullprint::app {
namespace {

using namespace std::chrono_literals;

const QString opens = QStringLiteral("ctPanelOpens");
const QString cleans = QStringLiteral("ctCleans");
const QString last = QStringLiteral("lastHeartbeat");
const QString installID = QStringLiteral("installID");

// Long enough on a busy machine for an answer that comes, short enough to wait for one that must
// not.
constexpr int answerMs = 10000;
constexpr int silenceMs = 300;

struct Asked {
    QByteArray scheme;
    QByteArray method;
    QByteArray path;
    QByteArray query;
    QByteArrayList headers;
};

// The other side, as a process of its own; it ends with the object.
class Server {
public:
    Server()
    {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(QStringLiteral("python3"),
                      {QStringLiteral("-B"), QStringLiteral(NULLPRINT_HEARTBEAT_SERVER)});
        const QByteArrayList words = line().split('\t');
        if (words.size() != 3)
            return;
        securePort = words[0];
        plainPort = words[1];
        tls = QSslConfiguration::defaultConfiguration();
        tls.setCaCertificates(QSslCertificate::fromData(QByteArray(words[2]).replace('|', '\n')));
    }
    ~Server()
    {
        process.kill();
        process.waitForFinished();
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    bool isThere() const { return !securePort.isEmpty(); }
    QByteArray secure(const QByteArray& path) const
    {
        return "https://localhost:" + securePort + path;
    }
    QByteArray plain(const QByteArray& path) const
    {
        return "http://127.0.0.1:" + plainPort + path;
    }

    // What has been asked since the last time.
    std::vector<Asked> asked()
    {
        std::vector<Asked> requests;
        process.waitForReadyRead(50);
        while (process.canReadLine()) {
            const QByteArrayList words = process.readLine().trimmed().split('\t');
            if (words.size() == 5)
                requests.push_back({words[0], words[1], words[2], words[3], words[4].split(',')});
        }
        return requests;
    }
    void release() { process.write("\n"); }

    QSslConfiguration tls;

private:
    QByteArray line()
    {
        while (!process.canReadLine() && process.waitForReadyRead(answerMs))
            ;
        return process.readLine().trimmed();
    }

    QProcess process;
    QByteArray securePort;
    QByteArray plainPort;
};

class HeartbeatTest : public testing::Test {
protected:
    static void SetUpTestSuite() { server = new Server; }
    static void TearDownTestSuite()
    {
        delete server;
        server = nullptr;
    }

    void SetUp() override
    {
        ASSERT_TRUE(server->isThere()) << "the server could not be started";
        server->asked();
        tls = server->tls;
        store.set(opens, 3LL);
        store.set(cleans, 2LL);
    }

    std::unique_ptr<Heartbeat> heartbeat(const QByteArray& endpoint)
    {
        Heartbeat::Settings settings;
        settings.endpoint = Heartbeat::obfuscated(endpoint);
        settings.now = [this] { return now; };
        settings.tls = tls;
        settings.patience = patience;
        return std::make_unique<Heartbeat>(store, settings);
    }

    bool isAcknowledged() const { return store.date(last) == now; }

    // Sends and waits for the acknowledgement.
    bool succeeds(const QByteArray& endpoint)
    {
        const auto one = heartbeat(endpoint);
        one->send();
        return QTest::qWaitFor([&] { return isAcknowledged(); }, answerMs);
    }

    // Sends, waits until the server was asked `requests` times, and then whether anything changes.
    bool changesNothing(const QByteArray& endpoint, std::size_t requests)
    {
        const auto one = heartbeat(endpoint);
        const QVariant before = store.value(last);
        one->send();
        requestsSeen.clear();
        const bool wasAsked = QTest::qWaitFor(
            [&] {
                std::ranges::move(server->asked(), std::back_inserter(requestsSeen));
                return requestsSeen.size() >= requests;
            },
            answerMs);
        QTest::qWait(silenceMs);
        std::ranges::move(server->asked(), std::back_inserter(requestsSeen));
        EXPECT_EQ(requestsSeen.size(), requests) << endpoint.constData();
        return wasAsked && requestsSeen.size() == requests && store.value(last) == before &&
               store.integer(opens) == 3 && store.integer(cleans) == 2;
    }

    static Server* server;

    Scratch scratch;
    DefaultsStore store{scratch.path(QStringLiteral("settings.plist"))};
    QDateTime now{QDate(2026, 3, 2), QTime(9, 5, 59), Qt::UTC};
    std::chrono::milliseconds patience{15s};
    QSslConfiguration tls;
    std::vector<Asked> requestsSeen;
};

Server* HeartbeatTest::server = nullptr;

TEST_F(HeartbeatTest, tellsSixThingsAndNothingElse)
{
    store.set(installID, QStringLiteral("A-1"));
    ASSERT_TRUE(succeeds(server->secure("/200")));
    const auto requests = server->asked();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].scheme, "https");
    EXPECT_EQ(requests[0].method, "GET");
    EXPECT_EQ(requests[0].path, "/200");
    const QRegularExpression form(
        QStringLiteral("^id=A-1&v=2\\.0&os=([0-9]+\\.[0-9]+)&opens=3&fixes=2&app=np$"));
    EXPECT_TRUE(form.match(QString::fromLatin1(requests[0].query)).hasMatch())
        << requests[0].query.constData();
    EXPECT_EQ(
        requests[0].headers,
        (QByteArrayList{"accept-encoding", "accept-language", "connection", "host", "user-agent"}));
    EXPECT_EQ(store.value(opens), 0LL);
    EXPECT_EQ(store.value(cleans), 0LL);
}

TEST_F(HeartbeatTest, takesThePlaceOfTheEndpointsOwnQuery)
{
    ASSERT_TRUE(succeeds(server->secure("/200?site=1&id=other#part")));
    const auto requests = server->asked();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_TRUE(requests[0].query.startsWith("id=")) << requests[0].query.constData();
    EXPECT_FALSE(requests[0].query.contains("site"));
    EXPECT_FALSE(requests[0].query.contains("other"));
}

TEST_F(HeartbeatTest, encodesValues)
{
    store.set(installID, QStringLiteral("a b&c=d+e%41#“é”/?"));
    ASSERT_TRUE(succeeds(server->secure("/200")));
    const auto requests = server->asked();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_TRUE(requests[0].query.startsWith(
        "id=a%20b%26c%3Dd%2Be%2541%23%E2%80%9C%C3%A9%E2%80%9D%2F%3F&v="))
        << requests[0].query.constData();
}

TEST_F(HeartbeatTest, makesAnIdentifierAndKeepsIt)
{
    const QRegularExpression uuid(
        QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$"));
    ASSERT_TRUE(succeeds(server->secure("/200")));
    const QString first = store.string(installID);
    EXPECT_TRUE(uuid.match(first).hasMatch()) << qPrintable(first);
    EXPECT_TRUE(server->asked().at(0).query.startsWith("id=" + first.toLatin1() + "&"));
    now = now.addDays(1);
    ASSERT_TRUE(succeeds(server->secure("/200")));
    EXPECT_EQ(store.string(installID), first);
    for (const QVariant& lost : {QVariant(), QVariant(QString())}) {
        const QString before = store.string(installID);
        store.set(installID, lost);
        now = now.addDays(1);
        ASSERT_TRUE(succeeds(server->secure("/200")));
        EXPECT_TRUE(uuid.match(store.string(installID)).hasMatch());
        EXPECT_NE(store.string(installID), before);
    }
}

TEST_F(HeartbeatTest, keepsTheIdentifierOfAFailedAttempt)
{
    EXPECT_TRUE(changesNothing(server->secure("/500"), 1));
    const QString id = store.string(installID);
    EXPECT_FALSE(id.isEmpty());
    ASSERT_TRUE(succeeds(server->secure("/200")));
    EXPECT_EQ(store.string(installID), id);
}

TEST_F(HeartbeatTest, waitsTwentyHours)
{
    const QDateTime present = now;
    store.set(last, present.addSecs(-19LL * 3600));
    EXPECT_TRUE(changesNothing(server->secure("/200"), 0));
    EXPECT_FALSE(store.value(installID).isValid());
    store.set(last, present.addSecs(-71999));
    EXPECT_TRUE(changesNothing(server->secure("/200"), 0));
    store.set(last, present.addSecs(-72000));
    EXPECT_TRUE(succeeds(server->secure("/200")));
}

TEST_F(HeartbeatTest, sendsAtTheFirstCallPastTheTwentyHours)
{
    const auto one = heartbeat(server->secure("/200"));
    const QDateTime start = now;
    store.set(last, start.addSecs(-19LL * 3600));
    one->send();
    QTest::qWait(silenceMs);
    EXPECT_TRUE(server->asked().empty());
    now = start.addSecs(6LL * 3600);
    one->send();
    EXPECT_TRUE(QTest::qWaitFor([&] { return isAcknowledged(); }, answerMs));
    EXPECT_EQ(server->asked().size(), 1U);
}

TEST_F(HeartbeatTest, waitsForADateInTheFuture)
{
    const QDateTime future = now.addDays(30);
    store.set(last, future);
    EXPECT_TRUE(changesNothing(server->secure("/200"), 0));
    now = future.addSecs(71999);
    EXPECT_TRUE(changesNothing(server->secure("/200"), 0));
    now = future.addSecs(72000);
    EXPECT_TRUE(succeeds(server->secure("/200")));
}

TEST_F(HeartbeatTest, takesWhatIsNoDateForNone)
{
    store.set(last, QStringLiteral("2026-03-02T09:05:58Z"));
    EXPECT_TRUE(succeeds(server->secure("/200")));
}

TEST_F(HeartbeatTest, staysSilentWhenTheUserSaidNo)
{
    const QString no = QStringLiteral("disableAnalytics");
    store.set(no, true);
    EXPECT_TRUE(changesNothing(server->secure("/200"), 0));
    EXPECT_FALSE(store.value(installID).isValid());
    heartbeat(server->secure("/200"))->bump(opens);
    EXPECT_EQ(store.integer(opens), 4);
    store.set(no, false);
    EXPECT_TRUE(succeeds(server->secure("/200")));
    EXPECT_EQ(store.value(no), false);
}

TEST_F(HeartbeatTest, staysSilentWithoutAnEndpoint)
{
    for (const QByteArray endpoint : {"",
                                      "\xFF\xFE",
                                      "not an address",
                                      "https://",
                                      "ftp://localhost/",
                                      "file:///etc/hostname",
                                      "http://example.org/200"}) {
        EXPECT_TRUE(changesNothing(endpoint, 0)) << endpoint.constData();
        EXPECT_FALSE(store.value(installID).isValid()) << endpoint.constData();
    }
}

TEST_F(HeartbeatTest, takesEveryFinalStatusFrom200To399)
{
    for (const QByteArray path : {"/200", "/204", "/300", "/302", "/304", "/399"}) {
        now = now.addDays(1);
        EXPECT_TRUE(succeeds(server->secure(path))) << path.constData();
    }
}

TEST_F(HeartbeatTest, takesNoOtherStatus)
{
    for (const QByteArray path : {"/400", "/404", "/500"})
        EXPECT_TRUE(changesNothing(server->secure(path), 1)) << path.constData();
}

TEST_F(HeartbeatTest, goesWhereItIsSent)
{
    ASSERT_TRUE(succeeds(server->secure("/relative")));
    const auto requests = server->asked();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].path, "/200");
    EXPECT_EQ(requests[1].query, "moved=1");
    EXPECT_EQ(requests[1].method, "GET");
}

TEST_F(HeartbeatTest, goesOnTwentyTimesAndNoMore)
{
    EXPECT_TRUE(succeeds(server->secure("/count/20")));
    EXPECT_EQ(server->asked().size(), 21U);
    now = now.addDays(1);
    store.set(opens, 3LL);
    store.set(cleans, 2LL);
    EXPECT_TRUE(changesNothing(server->secure("/loop"), 21));
}

TEST_F(HeartbeatTest, neverLeavesTheSecureConnection)
{
    EXPECT_TRUE(changesNothing(server->secure("/plain"), 1));
    EXPECT_EQ(requestsSeen.at(0).scheme, "https");
    EXPECT_TRUE(changesNothing(server->secure("/file"), 1));
}

TEST_F(HeartbeatTest, trustsNoUnknownCertificate)
{
    tls = QSslConfiguration::defaultConfiguration();
    EXPECT_TRUE(changesNothing(server->secure("/200"), 0));
}

TEST_F(HeartbeatTest, doesNotTakeHalfAnAnswer)
{
    EXPECT_TRUE(changesNothing(server->secure("/cut"), 1));
}

TEST_F(HeartbeatTest, givesUpOnSilence)
{
    patience = 200ms;
    EXPECT_TRUE(changesNothing(server->secure("/silent"), 1));
    EXPECT_EQ(Heartbeat::Settings().patience, 15s);
}

TEST_F(HeartbeatTest, waitsAsLongAsSomethingComes)
{
    patience = 1500ms;
    EXPECT_TRUE(succeeds(server->secure("/trickle")));
}

TEST_F(HeartbeatTest, dropsALongBody)
{
    EXPECT_TRUE(succeeds(server->secure("/long")));
}

TEST_F(HeartbeatTest, acceptsNobodyAtTheOtherEnd)
{
    EXPECT_TRUE(changesNothing("https://127.0.0.1:1/", 0));
}

TEST_F(HeartbeatTest, bringsNoCookiesBack)
{
    const auto one = heartbeat(server->secure("/200"));
    for (int day = 0; day < 2; ++day) {
        now = now.addDays(1);
        one->send();
        ASSERT_TRUE(QTest::qWaitFor([&] { return isAcknowledged(); }, answerMs));
    }
    const auto requests = server->asked();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_FALSE(requests[1].headers.contains("cookie"));
}

TEST_F(HeartbeatTest, leavesWhatCameMeanwhileForTheNext)
{
    const auto one = heartbeat(server->secure("/hold"));
    one->send();
    ASSERT_TRUE(QTest::qWaitFor([] { return !server->asked().empty(); }, answerMs));
    one->bump(opens);
    one->bump(opens);
    one->bump(cleans);
    EXPECT_EQ(store.integer(opens), 5);
    server->release();
    ASSERT_TRUE(QTest::qWaitFor([&] { return isAcknowledged(); }, answerMs));
    EXPECT_EQ(store.integer(opens), 2);
    EXPECT_EQ(store.integer(cleans), 1);
}

TEST_F(HeartbeatTest, neverCountsBelowNothing)
{
    const auto one = heartbeat(server->secure("/hold"));
    one->send();
    ASSERT_TRUE(QTest::qWaitFor([] { return !server->asked().empty(); }, answerMs));
    store.set(opens, 1LL);
    store.set(cleans, {});
    server->release();
    ASSERT_TRUE(QTest::qWaitFor([&] { return isAcknowledged(); }, answerMs));
    EXPECT_EQ(store.value(opens), 0LL);
    EXPECT_EQ(store.value(cleans), 0LL);
}

TEST_F(HeartbeatTest, subtractsWhatEachOfTwoSent)
{
    store.set(opens, 7LL);
    const auto one = heartbeat(server->secure("/hold"));
    one->send();
    one->send();
    ASSERT_TRUE(QTest::qWaitFor([] { return !server->asked().empty(); }, answerMs));
    store.set(opens, 15LL);
    server->release();
    server->release();
    EXPECT_TRUE(QTest::qWaitFor([&] { return store.integer(opens) == 1; }, answerMs));
}

TEST_F(HeartbeatTest, canEndWithARequestUnderWay)
{
    heartbeat(server->secure("/silent"))->send();
    QTest::qWait(silenceMs);
    auto one = heartbeat(server->secure("/silent"));
    one->send();
    ASSERT_TRUE(QTest::qWaitFor([] { return !server->asked().empty(); }, answerMs));
    one.reset();
    QTest::qWait(silenceMs);
    EXPECT_FALSE(store.date(last));
}

TEST(Heartbeat, countsFromNothing)
{
    const Scratch scratch;
    DefaultsStore store(scratch.path(QStringLiteral("settings.plist")));
    Heartbeat heartbeat(store, Heartbeat::Settings());
    heartbeat.bump(opens);
    heartbeat.bump(opens);
    EXPECT_EQ(store.value(opens), 2LL);
    store.set(cleans, QStringLiteral("nonsense"));
    heartbeat.bump(cleans);
    EXPECT_EQ(store.value(cleans), 1LL);
    store.set(cleans, std::numeric_limits<qint64>::max());
    heartbeat.bump(cleans);
    EXPECT_EQ(store.integer(cleans), std::numeric_limits<qint64>::max());
}

TEST(Heartbeat, hidesItsEndpoint)
{
    const QByteArray address = "https://example.org/";
    EXPECT_NE(Heartbeat::obfuscated(address), address);
    EXPECT_FALSE(Heartbeat::obfuscated(address).contains("example"));
    EXPECT_EQ(Heartbeat::obfuscated(Heartbeat::obfuscated(address)), address);
    EXPECT_EQ(Heartbeat::obfuscated(Heartbeat::shipped().endpoint),
              QByteArray(NULLPRINT_HEARTBEAT_ENDPOINT));
}

TEST(Heartbeat, tellsTwoNumbersOfAVersion)
{
    EXPECT_EQ(majorMinor(QStringLiteral("12")), QStringLiteral("12.0"));
    EXPECT_EQ(majorMinor(QStringLiteral("14.5")), QStringLiteral("14.5"));
    EXPECT_EQ(majorMinor(QStringLiteral("14.5.1")), QStringLiteral("14.5"));
    EXPECT_EQ(majorMinor(QStringLiteral("22.04")), QStringLiteral("22.04"));
    EXPECT_EQ(majorMinor(QStringLiteral("6.1.0-13-amd64")), QStringLiteral("6.1"));
    EXPECT_EQ(majorMinor(QStringLiteral("unknown")), QString());
    EXPECT_EQ(majorMinor(QString()), QString());
}

} // namespace
} // namespace nullprint::app
