// The router on D-Bus: XMLBusExporter and XMLBusClient against a dbus-daemon of the test's
// own. The application publishes on one connection; each remote is another connection of
// this process, a raw one where the test plays a misbehaving remote.
#include "privatebus.h"

#include <kxxml/bus/xmlbusclient.h>
#include <kxxml/bus/xmlbusexporter.h>
#include <kxxml/kxxml.h>

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDomDocument>
#include <QEventLoop>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

const QString Service = QStringLiteral("org.kxxml.Test");

// An agent of the application: keeps what it receives and the removals it hears of.
class Watcher : public XMLAgent
{
public:
    Watcher() : XMLAgent(50) { wantsRemovalNotifications = true; }
    void receive(XMLPacket* packet) override
    {
        sources.append(packet->getSourceAgentID());
        delete packet;
    }
    void agentRemoved(int id) override { removed.append(id); }

    QList<int> sources;
    QList<int> removed;
};

// An application: a router with its comm-server agent and a watcher, published as Service.
struct App
{
    App(KXCommServer* server, const QDBusConnection& connection)
        : router(server, nullptr, "test")
        , exporter(&router)
    {
        router.add(&watcher);
        exporter.publish(Service, connection);
    }
    ~App() { router.remove(&watcher); }

    // A small message from the watcher to @p to; numbered, so that no two are equal.
    XMLPacket* message(int to, int number, int padding = 0)
    {
        XMLPacket* packet = watcher.getXMLPacket(to);
        XMLMessage text(QStringLiteral("message %1 ").arg(number, 4) + QString(padding, u'x'));
        packet->append(text);
        return packet;
    }
    void sendTo(int to, int number, int padding = 0) { router.send(message(to, number, padding)); }

    XMLRouter router;
    Watcher watcher;
    XMLBusExporter exporter;
};

// What a raw connection hears from the application.
class SignalLog : public QObject
{
    Q_OBJECT
public:
    explicit SignalLog(QDBusConnection& bus)
    {
        const QString path = XMLBusExporter::OBJECT_PATH;
        bus.connect(Service, path, XMLBusExporter::INTERFACE, QStringLiteral("Packet"), this, SLOT(packet(uint,QString)));
        bus.connect(Service, path, XMLBusExporter::INTERFACE, QStringLiteral("Dropped"), this, SLOT(dropped(QString)));
    }
    QStringList packets;
    QStringList drops;
public Q_SLOTS:
    void packet(uint, const QString& text) { packets.append(text); }
    void dropped(const QString& reason) { drops.append(reason); }
};

// Calls the router over @p bus and waits in an event loop, the application being in this thread.
QDBusMessage call(const QDBusConnection& bus, const QString& method, const QVariantList& arguments = {},
                  const QString& interface = XMLBusExporter::INTERFACE)
{
    QDBusMessage message = QDBusMessage::createMethodCall(Service, XMLBusExporter::OBJECT_PATH, interface, method);
    message.setArguments(arguments);
    QDBusPendingCallWatcher watcher(bus.asyncCall(message, 10000));
    QEventLoop loop;
    QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, &loop, &QEventLoop::quit);
    if (!watcher.isFinished())
        loop.exec();
    return watcher.reply();
}

int registerRaw(const QDBusConnection& bus)
{
    const QDBusMessage reply = call(bus, QStringLiteral("Register"), {77});
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0).toInt() : 0;
}

QString packetText(int from, int to, const QString& body = QStringLiteral("<msg>hi</msg>"))
{
    return QStringLiteral("<kxxml xmlns=\"http://kxxml.org/xml/\"><header><src agent_id=\"%1\"/><dst agent_id=\"%2\"/>"
                          "</header><body>%3</body></kxxml>").arg(from).arg(to).arg(body);
}

// A list request from @p from to the comm-server agent.
std::unique_ptr<XMLPacket> requestPacket(int from, int code)
{
    auto packet = std::make_unique<XMLPacket>();
    packet->setDestinationAgentID(-1);
    XMLAction action(QStringLiteral("request"), code, from);
    packet->append(action);
    return packet;
}

QStringList loggerLines;
void keepLoggerLine(QtMsgType, const QMessageLogContext& context, const QString& message)
{
    if (context.category && qstrcmp(context.category, "kxxml.router") == 0)
        loggerLines.append(message);
}

} // namespace

class TestXMLBus : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void twoClientsAndAMonitor();
    void badInput_data();
    void badInput();
    void registration();
    void remoteThatNeverReads_data();
    void remoteThatNeverReads();
    void clientWithinTheLimits();
    void applicationGoesWhileClientWaits_data();
    void applicationGoesWhileClientWaits();
    void publishFailures();
    void introspection();

private:
    QDBusConnection connection(const QString& name) const { return QDBusConnection::connectToBus(bus.address(), name); }

    PrivateBus bus;
    std::unique_ptr<KXCommServer> sample;
    std::unique_ptr<KXCommServer> failing;
};

void TestXMLBus::initTestCase()
{
    QString error;
    QVERIFY2(bus.start(QStringLiteral(KXXML_DBUS_DAEMON), error), qPrintable(error));
    bus.becomeSessionBus();
    sample = KXCommServer::open(KXXML_SAMPLE_DATASET, nullptr);
    failing = KXCommServer::open(KXXML_TOOL_DATA "/failing.json", nullptr);
    QVERIFY(sample && failing);
    QVERIFY(connection(QStringLiteral("app")).isConnected());
}

// Two clients at once, each answered alone, then one sending to the other; a monitoring
// process gets exactly the lines that XMLRouterLogger writes for the same events.
void TestXMLBus::twoClientsAndAMonitor()
{
    App app(sample.get(), connection(QStringLiteral("app")));
    XMLRouterLogger logger;
    app.router.addObserver(&logger);
    loggerLines.clear();
    QLoggingCategory::setFilterRules(QStringLiteral("kxxml.router.debug=true"));
    const QtMessageHandler previous = qInstallMessageHandler(keepLoggerLine);
    XMLBusClient monitor(connection(QStringLiteral("monitor")));
    QVERIFY(monitor.startMonitoring(Service));
    QStringList seen;
    connect(&monitor, &XMLBusClient::trafficReceived, this, [&seen](const QString& line) { seen.append(line); });
    {
        XMLBusClient first(connection(QStringLiteral("first")));
        XMLBusClient second(connection(QStringLiteral("second")));
        QVERIFY(first.registerAgent(Service, 100) && second.registerAgent(Service, 101));

        QList<QPair<int, int>> atFirst; // source, destination
        QList<QPair<int, int>> atSecond;
        connect(&first, &XMLBusClient::packetReceived, this, [&](const XMLPacket& p) {
            atFirst.append({p.getSourceAgentID(), p.getDestinationAgentID()});
        });
        connect(&second, &XMLBusClient::packetReceived, this, [&](const XMLPacket& p) {
            atSecond.append({p.getSourceAgentID(), p.getDestinationAgentID()});
        });
        // Both requests are on their way before either is answered; then one client to the other.
        first.send(*requestPacket(first.agentID(), 1000));
        second.send(*requestPacket(second.agentID(), 1003));
        QTRY_COMPARE(atFirst.size() + atSecond.size(), 2);
        XMLPacket note;
        note.setDestinationAgentID(second.agentID());
        first.send(note);
        QTRY_COMPARE(atSecond.size(), 2);
        QCOMPARE(atFirst, (QList<QPair<int, int>>{{-1, first.agentID()}}));
        QCOMPARE(atSecond, (QList<QPair<int, int>>{{-1, second.agentID()}, {first.agentID(), second.agentID()}}));
    }
    // Two agents added and removed; two requests, their replies and the note each accepted and delivered.
    QTRY_COMPARE(seen.size(), 14);
    qInstallMessageHandler(previous);
    QLoggingCategory::setFilterRules(QString());
    QCOMPARE(seen, loggerLines.mid(loggerLines.size() - 14));
}

void TestXMLBus::badInput_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("message"); // a regular expression

    QTest::newRow("malformed") << packetText(0, 1).chopped(3) << XMLBusExporter::ERROR_BAD_XML
                               << "^line 1, column \\d+: ";
    QTest::newRow("over the size limit") << packetText(0, 1, QStringLiteral("<msg>%1</msg>").arg(QString(5000, u'x')))
                                         << XMLBusExporter::ERROR_TOO_LARGE
                                         << "^the packet is (at least )?5\\d\\d\\d bytes, more than the limit of 4096$";
    QTest::newRow("not a packet") << QStringLiteral("<packetable/>") << XMLBusExporter::ERROR_NOT_A_PACKET
                                  << "^line 1, column \\d+: expected a packet";
    QTest::newRow("another namespace") << QString(packetText(0, 1)).replace(QStringLiteral("kxxml.org"),
                                                                            QStringLiteral("example.org"))
                                       << XMLBusExporter::ERROR_NOT_A_PACKET << "expected a packet";
    QTest::newRow("no destination") << QString(packetText(0, 1)).remove(QStringLiteral("<dst agent_id=\"1\"/>"))
                                    << XMLBusExporter::ERROR_NOT_A_PACKET << "needs <header> with <src> and <dst>";
}

// Refused with an error that says what is wrong; nothing reaches the router, and the
// application and the sender carry on. Whatever source a packet claims (here the comm-server
// agent), it enters the router as the sender's own agent.
void TestXMLBus::badInput()
{
    QFETCH(QString, text);
    QFETCH(QString, error);
    QFETCH(QString, message);
    App app(sample.get(), connection(QStringLiteral("app")));
    app.exporter.setMaxPacketBytes(4096);
    const QDBusConnection remote = connection(QStringLiteral("remote"));
    const int id = registerRaw(remote);

    const QDBusMessage reply = call(remote, QStringLiteral("Send"), {text});
    QCOMPARE(reply.errorName(), error);
    QVERIFY2(QRegularExpression(message).match(reply.errorMessage()).hasMatch(), qPrintable(reply.errorMessage()));

    QCOMPARE(call(remote, QStringLiteral("Send"), {packetText(-1, 1)}).type(), QDBusMessage::ReplyMessage);
    QTRY_COMPARE(app.watcher.sources, QList<int>{id});
}

// A remote registers once, as an agent of the type it gives, and unregisters only when
// registered (sending unregistered: remoteThatNeverReads). Its agent goes when it unregisters,
// and when it leaves the bus without a word, as a killed process does.
void TestXMLBus::registration()
{
    App app(sample.get(), connection(QStringLiteral("app")));
    QSignalSpy unregistered(&app.exporter, &XMLBusExporter::remoteUnregistered);
    int id = 0;
    int again = 0;
    {
        const QDBusConnection remote = connection(QStringLiteral("leaving"));
        QCOMPARE(call(remote, QStringLiteral("Unregister")).errorName(), XMLBusExporter::ERROR_NOT_REGISTERED);
        id = registerRaw(remote);
        QCOMPARE(call(remote, QStringLiteral("Register"), {77}).errorName(), XMLBusExporter::ERROR_ALREADY_REGISTERED);
        QCOMPARE(app.router.getAgentType(id), 77);

        QCOMPARE(call(remote, QStringLiteral("Unregister")).type(), QDBusMessage::ReplyMessage);
        QCOMPARE(app.watcher.removed, QList<int>{id});
        again = registerRaw(remote);
        QVERIFY(again > id); // a new agent, never the old id again
    }
    QDBusConnection::disconnectFromBus(QStringLiteral("leaving")); // the last reference: the connection closes
    QTRY_COMPARE(app.watcher.removed, (QList<int>{id, again}));
    QCOMPARE(unregistered.size(), 2);
    QCOMPARE(unregistered.at(0).at(1).toInt(), id);
    QCOMPARE(unregistered.at(1).at(2).toString(), QStringLiteral("left the bus"));
}

void TestXMLBus::remoteThatNeverReads_data()
{
    QTest::addColumn<int>("maxPackets");
    QTest::addColumn<int>("maxBytesInPackets"); // the byte limit, in packets of the size sent
    QTest::addColumn<int>("sent");
    QTest::addColumn<int>("forwarded"); // before the remote is dropped; all of them when it stays

    QTest::newRow("up to the packet limit") << 4 << 100 << 4 << 4;
    QTest::newRow("over the packet limit") << 4 << 100 << 9 << 4;
    QTest::newRow("over the byte limit") << 100 << 2 << 5 << 2;
    QTest::newRow("one packet over the byte limit") << 100 << 0 << 3 << 1;
}

// A remote that acknowledges nothing gets at most the limits' worth; then it is dropped and
// told why, its agent removed, and the application holds nothing more for it.
void TestXMLBus::remoteThatNeverReads()
{
    QFETCH(int, maxPackets);
    QFETCH(int, maxBytesInPackets);
    QFETCH(int, sent);
    QFETCH(int, forwarded);
    App app(sample.get(), connection(QStringLiteral("app")));
    QDBusConnection remote = connection(QStringLiteral("remote"));
    SignalLog log(remote);
    const int id = registerRaw(remote);

    const std::unique_ptr<XMLPacket> probe(app.message(id, 1, 200)); // as large as each one sent
    app.exporter.setMaxPendingPackets(maxPackets);
    app.exporter.setMaxPendingBytes(maxBytesInPackets * probe->packetText().size());
    for (int i = 1; i <= sent; ++i)
        app.sendTo(id, i, 200);

    const bool dropped = forwarded < sent;
    QTRY_COMPARE(log.packets.size() + log.drops.size(), forwarded + (dropped ? 1 : 0));
    QCOMPARE(log.packets.size(), forwarded);
    QCOMPARE(app.watcher.removed, dropped ? QList<int>{id} : QList<int>());
    if (dropped) {
        QVERIFY2(log.drops.constFirst().contains(QStringLiteral("unacknowledged")), qPrintable(log.drops.constFirst()));
        QCOMPARE(call(remote, QStringLiteral("Send"), {packetText(0, 1)}).errorName(),
                 XMLBusExporter::ERROR_NOT_REGISTERED);
    }
}

// XMLBusClient acknowledges often enough for whatever limits the application has. It sends
// without waiting for a reply; a refusal comes back all the same, and the client stays.
void TestXMLBus::clientWithinTheLimits()
{
    App app(sample.get(), connection(QStringLiteral("app")));
    app.exporter.setMaxPendingPackets(3);
    XMLBusClient client(connection(QStringLiteral("client")));
    QSignalSpy disconnected(&client, &XMLBusClient::disconnected);
    QSignalSpy failed(&client, &XMLBusClient::sendFailed);
    QVERIFY(client.registerAgent(Service, 100));
    int received = 0;
    connect(&client, &XMLBusClient::packetReceived, this, [&received] { ++received; });
    for (int i = 1; i <= 40; ++i) {
        app.sendTo(client.agentID(), i);
        QTRY_COMPARE(received, i);
    }
    app.exporter.setMaxPacketBytes(64);
    QVERIFY(client.send(*requestPacket(client.agentID(), 1000)));
    QVERIFY(failed.wait(10000));
    QCOMPARE(failed.at(0).at(0).value<QDBusError>().name(), XMLBusExporter::ERROR_TOO_LARGE);
    QVERIFY(disconnected.isEmpty());
    QVERIFY(app.router.contains(client.agentID()));
}

void TestXMLBus::applicationGoesWhileClientWaits_data()
{
    QTest::addColumn<bool>("routerFirst"); // else the exporter is deleted: it withdraws, as kxxml serve does
    QTest::addColumn<QString>("reason");
    QTest::newRow("exporter deleted") << false << "the application withdrew the router";
    QTest::newRow("router deleted first") << true << "the application's router is gone";
}

// The client hears at once and is no longer registered, and the router keeps no agent for it
// (the name is given up: tst_kxxmlbus).
void TestXMLBus::applicationGoesWhileClientWaits()
{
    QFETCH(bool, routerFirst);
    QFETCH(QString, reason);
    auto router = std::make_unique<XMLRouter>(failing.get(), nullptr, "test");
    auto exporter = std::make_unique<XMLBusExporter>(router.get());
    QVERIFY(exporter->publish(Service, connection(QStringLiteral("app"))));
    XMLBusClient client(connection(QStringLiteral("client")));
    QSignalSpy disconnected(&client, &XMLBusClient::disconnected);
    QVERIFY(client.registerAgent(Service, 100));
    const int id = client.agentID();
    client.send(*requestPacket(id, 1000)); // never answered: the query fails

    if (routerFirst)
        router.reset();
    else
        exporter.reset();
    QVERIFY(routerFirst || !router->contains(id));
    QVERIFY(disconnected.wait(10000));
    QCOMPARE(disconnected.at(0).at(0).toString(), reason);
    QVERIFY(!client.isRegistered());
}

void TestXMLBus::publishFailures()
{
    App app(sample.get(), connection(QStringLiteral("app")));
    XMLRouter other(sample.get(), nullptr, "other");
    XMLBusExporter second(&other);
    QVERIFY(!second.publish(Service, connection(QStringLiteral("client")))); // taken (its message: tst_kxxmlbus)
    QVERIFY(!second.publish(QStringLiteral("not a name"), connection(QStringLiteral("client"))));
    QVERIFY(second.errorString().startsWith(QStringLiteral("not a name: ")));
    QVERIFY(!second.publish(Service + QStringLiteral("2"), QDBusConnection(QStringLiteral("never connected"))));
    QVERIFY(second.errorString().startsWith(QStringLiteral("not connected to the bus")));
    QVERIFY(!app.exporter.publish(Service + QStringLiteral("2")));
    QVERIFY(second.publish(Service + QStringLiteral("2"), connection(QStringLiteral("client"))));
}

// The introspection data is what the object answers to: every method takes the arguments it
// lists, and every member is documented by a comment naming it.
void TestXMLBus::introspection()
{
    App app(sample.get(), connection(QStringLiteral("app")));
    const QDBusConnection remote = connection(QStringLiteral("remote"));
    registerRaw(remote);
    const QString xml = call(remote, QStringLiteral("Introspect"), {}, QStringLiteral("org.freedesktop.DBus.Introspectable"))
                            .arguments().value(0).toString();
    QDomDocument document;
    QString error;
    QVERIFY2(document.setContent(xml, &error), qPrintable(error));
    QDomElement interface = document.documentElement().firstChildElement(QStringLiteral("interface"));
    while (!interface.isNull() && interface.attribute(QStringLiteral("name")) != XMLBusExporter::INTERFACE)
        interface = interface.nextSiblingElement(QStringLiteral("interface"));
    QVERIFY(!interface.isNull());

    int methods = 0;
    for (QDomElement m = interface.firstChildElement(); !m.isNull(); m = m.nextSiblingElement()) {
        const QString name = m.attribute(QStringLiteral("name"));
        QVERIFY2(QRegularExpression(QStringLiteral("<!-- %1[(:]").arg(name)).match(xml).hasMatch(), qPrintable(name));
        if (m.tagName() != u"method")
            continue;
        ++methods;
        QVariantList arguments;
        for (QDomElement a = m.firstChildElement(QStringLiteral("arg")); !a.isNull();
             a = a.nextSiblingElement(QStringLiteral("arg"))) {
            if (a.attribute(QStringLiteral("direction")) == u"out")
                continue;
            const QString type = a.attribute(QStringLiteral("type"));
            arguments.append(type == u"i" ? QVariant(1) : type == u"u" ? QVariant(1u)
                             : type == u"b" ? QVariant(true) : QVariant(packetText(0, 1)));
        }
        const QDBusMessage answer = call(remote, name, arguments);
        QVERIFY2(!answer.errorName().startsWith(QStringLiteral("org.freedesktop.DBus.Error.")),
                 qPrintable(name + QStringLiteral(": ") + answer.errorMessage()));
    }
    QCOMPARE(methods, 5); // Register, Unregister, Send, Acknowledge, Monitor
}

QTEST_GUILESS_MAIN(TestXMLBus)
#include "tst_xmlbus.moc"
