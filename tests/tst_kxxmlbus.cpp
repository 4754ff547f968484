// The kxxml tool over D-Bus, as processes on a dbus-daemon of the test's own: kxxml serve,
// kxxml request --bus and kxxml monitor.
#include "privatebus.h"
#include "testhelpers.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

#include <signal.h>

#include <memory>

using namespace TestHelpers;

namespace {

const QString Sample = QStringLiteral("org.kxxml.Test");

// The agent the first packet in @p text is addressed to; 0 when there is none.
int destination(const QByteArray& text)
{
    const QRegularExpression dst(QStringLiteral("<dst agent_id=\"(\\d+)\"/>"));
    return dst.match(QString::fromUtf8(text)).captured(1).toInt();
}

} // namespace

class TestKxXmlBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void requests_data();
    void requests();
    void errors_data();
    void errors();
    void monitor();

private:
    std::unique_ptr<QProcess> start(const QStringList& arguments) const;
    std::unique_ptr<QProcess> serve(const QString& name, const QString& dataset = QString()) const;
    Run run(const QStringList& arguments, bool withBus = true) const;

    PrivateBus bus;
    std::unique_ptr<QProcess> sampleServer;
};

std::unique_ptr<QProcess> TestKxXmlBus::start(const QStringList& arguments) const
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(bus.environment());
    process->setWorkingDirectory(QStringLiteral(KXXML_TOOL_DATA));
    process->start(QStringLiteral(KXXML_TOOL), arguments);
    return process;
}

// kxxml serve, once it has said that it is ready; null when it did not.
std::unique_ptr<QProcess> TestKxXmlBus::serve(const QString& name, const QString& dataset) const
{
    QStringList arguments = {QStringLiteral("serve"), QStringLiteral("--bus-name"), name};
    if (!dataset.isEmpty())
        arguments << QStringLiteral("--dataset") << dataset;
    std::unique_ptr<QProcess> process = start(arguments);
    while (!process->canReadLine()) {
        if (!process->waitForReadyRead(20000))
            return nullptr;
    }
    return process->readLine() == name.toUtf8() + '\n' ? std::move(process) : nullptr;
}

Run TestKxXmlBus::run(const QStringList& arguments, bool withBus) const
{
    QProcessEnvironment environment = bus.environment();
    if (!withBus)
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent/bus"));
    return runProgram(QStringLiteral(KXXML_TOOL), arguments, QStringLiteral(KXXML_TOOL_DATA), {}, environment);
}

void TestKxXmlBus::initTestCase()
{
    QString error;
    QVERIFY2(bus.start(QStringLiteral(KXXML_DBUS_DAEMON), error), qPrintable(error));
    bus.becomeSessionBus();
    sampleServer = serve(Sample);
    QVERIFY(sampleServer);
}

// kxxml serve stops on SIGINT (on SIGTERM: the monitor test), quietly, and gives its name up.
void TestKxXmlBus::cleanupTestCase()
{
    if (!sampleServer)
        return;
    ::kill(static_cast<pid_t>(sampleServer->processId()), SIGINT);
    QVERIFY(sampleServer->waitForFinished(20000));
    QCOMPARE(sampleServer->exitStatus(), QProcess::NormalExit);
    QCOMPARE(sampleServer->exitCode(), 0);
    QCOMPARE(sampleServer->readAllStandardError(), QByteArray());
    QVERIFY(sampleServer->readAllStandardOutput().isEmpty()); // the ready line was all
    QVERIFY(!QDBusConnection::sessionBus().interface()->isServiceRegistered(Sample));
}

void TestKxXmlBus::requests_data()
{
    QTest::addColumn<QStringList>("arguments");
    // The request is made in one place for both routers: what differs is how it travels.
    QTest::newRow("outputs") << words("request outputs");
    QTest::newRow("jobs in pages") << words("request jobs --include-publications --page-size 3");
}

// The same bytes as from a router of the tool's own, but for the destination's id: there the
// tool's agent is 1, here the one the application gave it.
void TestKxXmlBus::requests()
{
    QFETCH(QStringList, arguments);
    const Run local = run(arguments);
    const Run remote = run(arguments + QStringList{QStringLiteral("--bus"), Sample});
    QCOMPARE(remote.status, 0);
    QCOMPARE(remote.err, QByteArray());
    const int id = destination(remote.out);
    QVERIFY(id > 0);
    const QByteArray dst = QByteArray("<dst agent_id=\"") + QByteArray::number(id) + "\"/>";
    QCOMPARE(QByteArray(remote.out).replace(dst, "<dst agent_id=\"1\"/>"), local.out);
}

void TestKxXmlBus::errors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("withBus");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("message"); // a regular expression for the line after "kxxml: "

    QTest::newRow("name not on the bus") << words("request outputs --bus org.kxxml.Nobody") << true << 2
                                         << "^org\\.kxxml\\.Nobody: not on the session bus$";
    QTest::newRow("owner offers no router") << words("request outputs --bus org.freedesktop.DBus") << true << 2
                                            << "^org\\.freedesktop\\.DBus: offers no kxxml router";
    QTest::newRow("no bus") << words("request outputs --bus org.kxxml.Test") << false << 2 << "^no session bus: ";
    QTest::newRow("dataset and bus") << words("request jobs --bus org.kxxml.Test --dataset small.json") << true << 2
                                     << "^request: --dataset and --bus exclude each other";
    QTest::newRow("trace and bus") << words("request jobs --bus org.kxxml.Test --trace") << true << 2
                                   << "^request: --trace watches the tool's own router";
    QTest::newRow("timeout alone") << words("request jobs --timeout 3") << true << 2 << "^request: --timeout goes with --bus";
    QTest::newRow("timeout zero") << words("request jobs --bus org.kxxml.Test --timeout 0") << true << 2
                                  << "^request: --timeout '0': expected a number of seconds";
    QTest::newRow("serve, name taken") << words("serve --bus-name org.kxxml.Test") << true << 2
                                       << "^the name org\\.kxxml\\.Test is taken on the bus$";
    QTest::newRow("serve, no bus") << words("serve") << false << 2 << "^no session bus: ";
    QTest::newRow("monitor without bus name") << words("monitor") << true << 2 << "^monitor: missing --bus NAME";
    QTest::newRow("monitor, no bus") << words("monitor --bus org.kxxml.Test") << false << 2 << "^no session bus: ";
}

void TestKxXmlBus::errors()
{
    QFETCH(QStringList, arguments);
    QFETCH(bool, withBus);
    QFETCH(int, status);
    QFETCH(QString, message);

    const Run result = run(arguments, withBus);
    QCOMPARE(result.status, status);
    QVERIFY2(result.out.isEmpty(), result.out.left(200).constData());
    QVERIFY2(result.err.startsWith("kxxml: ") && result.err.endsWith('\n') && result.err.count('\n') == 1,
             result.err.constData());
    const QString line = QString::fromUtf8(result.err.mid(7).chopped(1));
    QVERIFY2(QRegularExpression(message).match(line).hasMatch(), qPrintable(line));
}

// An application that answers jobs only: a request for anything else ends when its time is
// up. The monitor prints the application's events as they happen (the lines themselves are
// the logger's: tst_xmlbus), until SIGINT ends it quietly. When the application goes (on
// SIGTERM), a monitor and a request waiting for a reply end at once, saying why.
void TestKxXmlBus::monitor()
{
    const QString name = QStringLiteral("org.kxxml.Watched");
    std::unique_ptr<QProcess> server = serve(name, QStringLiteral("failing.json"));
    QVERIFY(server);
    const Run late = run(words("request outputs --bus org.kxxml.Watched --timeout 1"));
    QCOMPARE(late.status, 1);
    QCOMPARE(late.err, QByteArray("kxxml: org.kxxml.Watched: no reply to the outputs request (nothing within 1 second)\n"));

    std::unique_ptr<QProcess> stopped = start({QStringLiteral("monitor"), QStringLiteral("--bus"), name});
    std::unique_ptr<QProcess> monitor = start({QStringLiteral("monitor"), QStringLiteral("--bus"), name});
    QByteArray stoppedOut;
    QByteArray out;
    // The monitors tell nobody when they are ready: requests until both show one.
    int id = 0;
    for (int attempt = 0; attempt < 50 && !id; ++attempt) {
        const Run request = run({QStringLiteral("request"), QStringLiteral("jobs"), QStringLiteral("--bus"), name});
        QCOMPARE(request.status, 0);
        const int agent = destination(request.out);
        const QByteArray added = " agent-added agent=" + QByteArray::number(agent) + " type=100\n";
        const QByteArray removed = " agent-removed agent=" + QByteArray::number(agent) + " type=100\n";
        QTest::qWait(100);
        stoppedOut += stopped->readAllStandardOutput();
        out += monitor->readAllStandardOutput();
        if (out.contains(added) && out.contains(removed) && stoppedOut.contains(added)
            && stoppedOut.contains(removed))
            id = agent; // seen from start to end
    }
    QVERIFY2(id > 0, out.constData());

    ::kill(static_cast<pid_t>(stopped->processId()), SIGINT);
    QVERIFY(stopped->waitForFinished(20000));
    QCOMPARE(stopped->exitCode(), 0);
    QCOMPARE(stopped->readAllStandardError(), QByteArray());

    std::unique_ptr<QProcess> waiting = start({QStringLiteral("request"), QStringLiteral("publications"),
                                               QStringLiteral("--bus"), name, QStringLiteral("--timeout"), QStringLiteral("60")});
    QTRY_VERIFY_WITH_TIMEOUT((out += monitor->readAllStandardOutput()).contains(" dst=-1 type=1001 "), 20000);
    QElapsedTimer clock;
    clock.start();
    ::kill(static_cast<pid_t>(server->processId()), SIGTERM);
    for (QProcess* client : {monitor.get(), waiting.get()}) {
        QVERIFY(client->waitForFinished(20000));
        QCOMPARE(client->exitCode(), 1);
    }
    QVERIFY(clock.elapsed() < 10000);
    QCOMPARE(monitor->readAllStandardError(), QByteArray("kxxml: org.kxxml.Watched: the application withdrew the router\n"));
    QCOMPARE(waiting->readAllStandardError(), QByteArray("kxxml: org.kxxml.Watched: no reply to the publications request "
                                                         "(the application withdrew the router)\n"));
    QVERIFY(server->waitForFinished(20000));
    QCOMPARE(server->exitCode(), 0);
    QCOMPARE(server->readAllStandardError(), QByteArray());
}

QTEST_GUILESS_MAIN(TestKxXmlBus)
#include "tst_kxxmlbus.moc"
