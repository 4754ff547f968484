// XMLRouter against a small reference model of its rules: seeded random sequences of add,
// remove, send (also from inside receive), broker requests, getNextAgentID and event-loop
// runs, compared step by step. A failure names its seed and the steps that led to it. Every
// sequence runs twice: unobserved, and with an observer whose events are checked against the
// model too, and whose presence must change nothing.
#include <kxxml/messaging/xmlagent.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlrouter.h>
#include <kxxml/xml/xmlmessage.h>

#include <QRandomGenerator>
#include <QtTest>

#include <deque>
#include <map>
#include <memory>
#include <set>
#include <vector>

namespace {

class Sequence;

/// What the router did, as the agents saw it: "receive 3 7" (agent 3 received the packet of
/// serial 7), "removed 3 9" (agent 3 heard that 9 is gone).
QString receipt(int agent, int serial) { return QStringLiteral("receive %1 %2").arg(agent).arg(serial); }
QString removal(int agent, int gone) { return QStringLiteral("removed %1 %2").arg(agent).arg(gone); }

class Agent : public XMLAgent
{
public:
    Agent(Sequence& s, int type, bool listens) : XMLAgent(type), sequence(s) { wantsRemovalNotifications = listens; }
    void receive(XMLPacket* packet) override;
    void agentRemoved(int agentID) override;
    Sequence& sequence;
};

class Broker : public XMLAgentBroker
{
public:
    explicit Broker(Sequence& s) : sequence(s) {}
    int createAgentOfType(int type) override;
    Sequence& sequence;
};

/// Reports each of the router's events to the sequence as text: "accepted 1->2", "refused
/// repetition 1->2", "refused unregistered 77->1", "delivered 1->2", "undeliverable 1->2",
/// "registered 3 type 1", "unregistered 3 type 1", "broker 8 -> 3"; with the packet for
/// packet events.
class Watcher : public XMLRouterObserver
{
public:
    explicit Watcher(Sequence& s) : sequence(s) {}
    void event(quint64 n, const QString& text, const XMLPacket* packet);

    void packetAccepted(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst) override
    {
        event(n, QStringLiteral("accepted %1->%2").arg(src).arg(dst), &p);
    }
    void packetRefused(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst, Refusal reason) override
    {
        const char* why = reason == Refusal::Repetition ? "repetition" : "unregistered";
        event(n, QStringLiteral("refused %1 %2->%3").arg(QLatin1String(why)).arg(src).arg(dst), &p);
    }
    void packetDelivered(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst) override
    {
        event(n, QStringLiteral("delivered %1->%2").arg(src).arg(dst), &p);
    }
    void packetUndeliverable(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst) override
    {
        event(n, QStringLiteral("undeliverable %1->%2").arg(src).arg(dst), &p);
    }
    void agentRegistered(const XMLRouter&, quint64 n, int id, int type) override
    {
        event(n, QStringLiteral("registered %1 type %2").arg(id).arg(type), nullptr);
    }
    void agentUnregistered(const XMLRouter&, quint64 n, int id, int type) override
    {
        event(n, QStringLiteral("unregistered %1 type %2").arg(id).arg(type), nullptr);
    }
    void brokerAsked(const XMLRouter&, quint64 n, int type, int id) override
    {
        event(n, QStringLiteral("broker %1 -> %2").arg(type).arg(id), nullptr);
    }

    Sequence& sequence;
};

/// One packet as the model knows it: equal packets have equal source, destination and word.
struct ModelPacket
{
    int serial;
    int source;
    int destination;
    int word;
    bool sameContent(const ModelPacket& o) const { return source == o.source && destination == o.destination && word == o.word; }
};

/// One random sequence: the router, the model of it, and the agents both know.
class Sequence
{
public:
    Sequence(quint32 seed, bool observed)
        : random(seed), router(std::make_unique<XMLRouter>(nullptr, nullptr, "model"))
    {
        if (observed) {
            watcher = std::make_unique<Watcher>(*this);
            router->addObserver(watcher.get());
        }
    }

    ~Sequence()
    {
        // Packets dropped with deleteLater report their end to this object: let them go first.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        failure = QStringLiteral("gone"); // nothing is compared any more
        router.reset();
    }

    void step()
    {
        const int choice = int(random.bounded(100));
        if (choice < 20)
            addAgent(QStringLiteral("add"));
        else if (choice < 32)
            removeAgent(QStringLiteral("remove"));
        else if (choice < 62)
            send(QStringLiteral("send"), randomSource());
        else if (choice < 70)
            nextId(QStringLiteral("getNextAgentID"));
        else if (choice < 78)
            supply(QStringLiteral("supply"));
        else if (choice < 82)
            setBroker();
        else
            runLoop();
        checkQueries();
    }

    /// Delivers what is left and checks that nothing more was expected.
    void finish()
    {
        runLoop();
        // The destructor announces the comm-server agent's removal to every listener.
        for (const auto& [key, agent] : registry) {
            if (agent->wantAgentRemovalNotifications())
                expected.push_back(removal(idOf.at(agent), -1));
        }
        trace << QStringLiteral("destroy the router");
        router.reset();
        checkNothingExpected(QStringLiteral("the router's destruction"));
        checkWatched(QStringLiteral("unregistered -1 type 0"), QStringLiteral("the router's destruction"));
    }

    // ---- what agents report ----
    void received(Agent* agent, XMLPacket* packet)
    {
        const auto known = serials.find(packet);
        const int serial = known == serials.end() ? -1 : known->second;
        observe(receipt(agent->getAgentID(), serial));
        if (known != serials.end()) {
            const ModelPacket& sent = packets.at(serial);
            checkWatched(QStringLiteral("delivered %1->%2 #%3").arg(sent.source).arg(sent.destination).arg(serial),
                         QStringLiteral("receive"));
        }
        delete packet; // the agent owns it now
        // Agents act from inside receive: send, add, remove (themselves too), ask the broker.
        for (int n = int(random.bounded(3)); n > 0 && failure.isEmpty(); --n) {
            const int choice = int(random.bounded(10));
            if (choice < 5)
                send(QStringLiteral("send from receive"), random.bounded(4) ? agent->getAgentID() : randomSource());
            else if (choice < 7)
                addAgent(QStringLiteral("add from receive"));
            else if (choice < 8)
                removeAgent(QStringLiteral("remove from receive"));
            else if (choice < 9)
                supply(QStringLiteral("supply from receive"));
            else
                nextId(QStringLiteral("getNextAgentID from receive"));
        }
    }

    void notified(Agent* agent, int gone)
    {
        observe(removal(agent->getAgentID(), gone));
        // An undeliverable packet is deleted before it is announced.
        for (const int serial : undeliverable)
            check(destroyed.count(serial) > 0, QStringLiteral("packet %1 announced before it was deleted").arg(serial));
    }

    int brokerCreates(int type)
    {
        Agent* agent = newAgent(type);
        router->add(agent);
        registerInModel(agent);
        checkWatched(QStringLiteral("registered %1 type %2").arg(agent->getAgentID()).arg(type), QStringLiteral("broker"));
        return agent->getAgentID();
    }

    // ---- what the observer reports ----
    // Packet events as "delivered 2->3 #4", with the packet's serial.
    void watched(quint64 number, const QString& event, const XMLPacket* packet)
    {
        check(number == lastNumber + 1, QStringLiteral("event %1 follows event %2").arg(number).arg(lastNumber));
        lastNumber = number;
        lastWatched = event;
        ++watchedEvents;
        if (packet) {
            const auto known = serials.find(const_cast<XMLPacket*>(packet));
            const int serial = known == serials.end() ? -1 : known->second;
            lastWatched += QStringLiteral(" #%1").arg(serial);
            if (event.startsWith(QLatin1String("undeliverable")))
                watchedUndeliverable.insert(serial);
        }
    }

    QString failure;
    QStringList trace;

private:
    // ---- operations, applied to the router and the model alike ----
    Agent* newAgent(int type)
    {
        agents.push_back(std::make_unique<Agent>(*this, type, random.bounded(4) != 0));
        return agents.back().get();
    }

    void registerInModel(Agent* agent)
    {
        ++lastId;
        check(agent->getAgentID() == lastId, QStringLiteral("add gave id %1, expected %2").arg(agent->getAgentID()).arg(lastId));
        registry[lastId] = agent;
        idOf[agent] = lastId;
    }

    void addAgent(const QString& what)
    {
        // A new agent, or a known one again: a removed one comes back, a registered one gets a
        // second id and keeps its first entry.
        Agent* agent = nullptr;
        if (!agents.empty() && random.bounded(3) == 0)
            agent = agents.at(random.bounded(quint32(agents.size()))).get();
        else
            agent = newAgent(1 + int(random.bounded(3)));
        router->add(agent);
        registerInModel(agent);
        checkWatched(QStringLiteral("registered %1 type %2").arg(agent->getAgentID()).arg(agent->getAgentType()), what);
        trace << QStringLiteral("%1 -> id %2 (type %3%4)").arg(what).arg(agent->getAgentID()).arg(agent->getAgentType())
                     .arg(QLatin1String(agent->wantAgentRemovalNotifications() ? ", listens" : ""));
    }

    void removeAgent(const QString& what)
    {
        if (registry.empty())
            return;
        const auto it = std::next(registry.begin(), qsizetype(random.bounded(quint32(registry.size()))));
        // The router unregisters the agent's current id, which an older entry does not carry.
        Agent* agent = it->second;
        const int id = idOf.at(agent);
        registry.erase(id);
        trace << QStringLiteral("%1 id %2").arg(what).arg(id);
        expectNotifications(id);
        router->remove(agent);
        checkNothingExpected(what);
        checkWatched(QStringLiteral("unregistered %1 type %2").arg(id).arg(agent->getAgentType()), what);
    }

    void send(const QString& what, int source)
    {
        const int destination = randomDestination();
        const int word = int(random.bounded(2));
        auto* packet = new XMLPacket;
        packet->setSourceAgentID(source);
        packet->setDestinationAgentID(destination);
        XMLMessage message(QString::number(word));
        packet->appendV(message);
        const int serial = int(packets.size());
        packets.push_back({serial, source, destination, word});
        serials[packet] = serial;
        QObject::connect(packet, &QObject::destroyed, [this, packet, serial] {
            destroyed.insert(serial);
            serials.erase(packet);
        });

        QString fate;
        QString event;
        if (source != -1 && registry.count(source) == 0) {
            dropped.insert(serial);
            fate = QStringLiteral("dropped: unregistered source");
            event = QStringLiteral("refused unregistered");
        } else if (!queue.empty() && packets.at(queue.back()).sameContent(packets.at(serial))) {
            dropped.insert(serial);
            fate = QStringLiteral("dropped: repeats packet %1").arg(queue.back());
            event = QStringLiteral("refused repetition");
        } else {
            queue.push_back(serial);
            fate = QStringLiteral("queued");
            event = QStringLiteral("accepted");
        }
        trace << QStringLiteral("%1 packet %2: %3 -> %4 word %5, %6").arg(what).arg(serial).arg(source).arg(destination)
                     .arg(word).arg(fate);
        router->send(packet);
        check(destroyed.count(serial) == 0, QStringLiteral("packet %1 deleted at once by send").arg(serial));
        checkWatched(QStringLiteral("%1 %2->%3 #%4").arg(event).arg(source).arg(destination).arg(serial), what);
    }

    void nextId(const QString& what)
    {
        const int id = router->getNextAgentID();
        ++lastId;
        check(id == lastId, QStringLiteral("%1 gave %2, expected %3").arg(what).arg(id).arg(lastId));
        trace << QStringLiteral("%1 -> %2").arg(what).arg(id);
    }

    void supply(const QString& what)
    {
        const int type = 1 + int(random.bounded(4));
        int expectedId = 0;
        for (const auto& [key, agent] : registry) {
            if (agent->getAgentType() == type) {
                expectedId = idOf.at(agent);
                break;
            }
        }
        const bool creates = expectedId == 0 && hasBroker;
        const int eventsBefore = watchedEvents;
        const int id = router->supplyAgentOfType(type);
        if (creates)
            expectedId = lastId; // the broker registered it in the model as it was added
        trace << QStringLiteral("%1 type %2 -> %3%4").arg(what).arg(type).arg(id).arg(QLatin1String(creates ? " (created)" : ""));
        check(id == expectedId, QStringLiteral("%1 type %2 gave %3, expected %4").arg(what).arg(type).arg(id).arg(expectedId));
        if (creates)
            checkWatched(QStringLiteral("broker %1 -> %2").arg(type).arg(id), what);
        else if (watcher)
            check(watchedEvents == eventsBefore, QStringLiteral("%1: the observer saw an event").arg(what));
    }

    void setBroker()
    {
        hasBroker = random.bounded(3) != 0;
        router->setAgentBroker(hasBroker ? new Broker(*this) : nullptr);
        trace << (hasBroker ? QStringLiteral("set a broker") : QStringLiteral("set no broker"));
    }

    void runLoop()
    {
        trace << QStringLiteral("run the event loop (%1 queued)").arg(queue.size());
        running = true;
        QCoreApplication::processEvents();
        running = false;
        advance();
        checkNothingExpected(QStringLiteral("the run"));
        check(queue.empty(), QStringLiteral("the run left %1 packets undelivered").arg(queue.size()));
        for (const int serial : undeliverable)
            check(destroyed.count(serial) > 0, QStringLiteral("undeliverable packet %1 was not deleted").arg(serial));
        if (watcher)
            check(watchedUndeliverable == undeliverable, QStringLiteral("the observer saw other undeliverable packets"));
        undeliverable.clear();
        watchedUndeliverable.clear();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        for (const int serial : dropped)
            check(destroyed.count(serial) > 0, QStringLiteral("dropped packet %1 was never deleted").arg(serial));
        dropped.clear();
    }

    // ---- the model's delivery loop, advanced as the router reports ----
    void advance()
    {
        while (expected.empty() && !queue.empty()) {
            const ModelPacket p = packets.at(queue.front());
            queue.pop_front();
            const auto it = registry.find(p.destination);
            if (it != registry.end()) {
                expected.push_back(receipt(idOf.at(it->second), p.serial));
            } else if (p.destination == -1) {
                check(false, QStringLiteral("the model never sends to the comm-server agent"));
            } else {
                undeliverable.insert(p.serial);
                expectNotifications(p.destination);
            }
        }
    }

    void expectNotifications(int gone)
    {
        for (const auto& [key, agent] : registry) {
            if (agent->wantAgentRemovalNotifications() && idOf.at(agent) != gone)
                expected.push_back(removal(idOf.at(agent), gone));
        }
    }

    void observe(const QString& event)
    {
        if (!failure.isEmpty())
            return;
        if (running)
            advance();
        if (expected.empty()) {
            check(false, QStringLiteral("unexpected: ") + event);
            return;
        }
        const QString want = expected.front();
        expected.pop_front();
        trace << QStringLiteral("  ") + event;
        check(want == event, QStringLiteral("expected %1, got %2").arg(want, event));
    }

    void checkNothingExpected(const QString& after)
    {
        if (!expected.empty())
            check(false, QStringLiteral("after %1, still expected: %2").arg(after, expected.front()));
    }

    void checkQueries()
    {
        for (int id = -2; id <= lastId + 1; ++id) {
            const bool known = registry.count(id) > 0 || id == -1;
            check(router->contains(id) == known, QStringLiteral("contains(%1) is wrong").arg(id));
            // By the agents' own ids, not by the registry's keys.
            int type = id == -1 ? 0 : 5;
            for (const auto& [key, agent] : registry) {
                if (idOf.at(agent) == id) {
                    type = agent->getAgentType();
                    break;
                }
            }
            check(router->getAgentType(id) == type, QStringLiteral("getAgentType(%1) is wrong").arg(id));
        }
        for (int type = 0; type <= 4; ++type) {
            std::list<int> ids;
            if (type == 0)
                ids.push_back(-1);
            for (const auto& [key, agent] : registry) {
                if (agent->getAgentType() == type)
                    ids.push_back(idOf.at(agent));
            }
            check(router->findAgentsOfType(type) == ids, QStringLiteral("findAgentsOfType(%1) is wrong").arg(type));
            check(router->findAgentOfType(type) == (ids.empty() ? 0 : ids.front()),
                  QStringLiteral("findAgentOfType(%1) is wrong").arg(type));
        }
    }

    int randomSource()
    {
        const int pick = int(random.bounded(10));
        if (pick == 0)
            return -1; // the comm-server agent may send
        if (pick == 1 || registry.empty())
            return int(random.bounded(quint32(lastId + 3))); // often unregistered
        return std::next(registry.begin(), qsizetype(random.bounded(quint32(registry.size()))))->first;
    }

    int randomDestination()
    {
        if (random.bounded(5) == 0 || registry.empty())
            return int(random.bounded(quint32(lastId + 3))); // 0, removed or never given ids too
        return std::next(registry.begin(), qsizetype(random.bounded(quint32(registry.size()))))->first;
    }

    // The observer's last event, when there is one.
    void checkWatched(const QString& event, const QString& after)
    {
        if (watcher && lastWatched != event)
            check(false, QStringLiteral("after %1, the observer saw '%2', expected '%3'").arg(after, lastWatched, event));
    }

    void check(bool holds, const QString& what)
    {
        if (!holds && failure.isEmpty())
            failure = what;
    }

    QRandomGenerator random;
    // Model state.
    int lastId = 0;
    std::map<int, Agent*> registry; // by key, without the comm-server agent
    std::deque<int> queue;          // serials
    bool hasBroker = false;
    // Bookkeeping.
    std::vector<ModelPacket> packets;
    std::map<XMLPacket*, int> serials;
    std::set<int> destroyed, dropped, undeliverable;
    std::map<Agent*, int> idOf;     // each agent's current id
    std::deque<QString> expected;   // what the agents are to see next
    bool running = false;
    // The observer's view.
    quint64 lastNumber = 0;
    QString lastWatched;
    int watchedEvents = 0;
    std::set<int> watchedUndeliverable;
    std::vector<std::unique_ptr<Agent>> agents; // declared before the router: outlive it
    std::unique_ptr<Watcher> watcher;           // likewise
    std::unique_ptr<XMLRouter> router;

    friend class Agent;
};

void Agent::receive(XMLPacket* packet) { sequence.received(this, packet); }
void Agent::agentRemoved(int gone) { sequence.notified(this, gone); }
int Broker::createAgentOfType(int type) { return sequence.brokerCreates(type); }

void Watcher::event(quint64 n, const QString& text, const XMLPacket* packet) { sequence.watched(n, text, packet); }

} // namespace

class TestRouterModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void randomSequences_data();
    void randomSequences();
};

void TestRouterModel::randomSequences_data()
{
    QTest::addColumn<bool>("observed");
    QTest::newRow("unobserved") << false;
    QTest::newRow("observed") << true;
}

void TestRouterModel::randomSequences()
{
    QFETCH(bool, observed);
    constexpr int kSequences = 2000;
    constexpr int kSteps = 60;
    int events = 0;
    for (quint32 seed = 1; seed <= kSequences; ++seed) {
        QString failure;
        QStringList trace;
        {
            Sequence sequence(seed, observed);
            for (int step = 0; step < kSteps && sequence.failure.isEmpty(); ++step)
                sequence.step();
            if (sequence.failure.isEmpty())
                sequence.finish();
            failure = sequence.failure;
            trace = sequence.trace;
        }
        events += int(trace.size());
        if (!failure.isEmpty())
            QFAIL(qPrintable(QStringLiteral("seed %1: %2\nsteps:\n%3").arg(seed).arg(failure, trace.mid(std::max<qsizetype>(0, trace.size() - 40)).join(QLatin1Char('\n')))));
    }
    qInfo("%d sequences of %d steps, %d operations and events checked", kSequences, kSteps, events);
}

QTEST_GUILESS_MAIN(TestRouterModel)
#include "tst_routermodel.moc"
