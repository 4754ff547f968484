// kxxml-bench: each figure of docs/PERFORMANCE.md measured beside its baseline in one run.
//
// Benchmarks come in pairs (or families) named "<figure>/<what>"; the summary printed at the
// end divides each figure by its baseline, using the medians when the run has repetitions.
// Memory is counted by the program's own malloc family (memcount.cpp).
//
//   kxxml-bench [benchmark flags] [--kx_summary=FILE.md] [--kx_summary_json=FILE.json]
//               [--kx_scaling=FILE.dat]
#include "memcount.h"

#include <kxxml/kxxml.h>

#include <benchmark/benchmark.h>

#if KXXML_HAS_DBUS
#include "privatebus.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#endif

#include <QBuffer>
#include <QCoreApplication>
#include <QDomDocument>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QElapsedTimer>
#include <QTemporaryFile>
#include <QTextStream>
#include <QTimer>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace {

// ---- Agents and the event loop ----

/// Receives packets and deletes them; can keep the text of the last one.
class Sink : public XMLAgent
{
public:
    Sink() : XMLAgent(1) {}
    void receive(XMLPacket* packet) override
    {
        ++received;
        if (!packet->getMorePages())
            ++completed; // an unpaged reply, or the last page of a paged one
        if (keepText)
            lastText = packet->packetText();
        delete packet;
    }
    int received = 0;
    int completed = 0;
    bool keepText = false;
    QString lastText;
};

/// Runs the event loop until @p sink has received @p count packets in all, then the
/// deferred deletions.
void deliverUntil(const Sink& sink, int count)
{
    while (sink.received < count)
        QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// Runs @p argv (null-terminated) with standard output thrown away, waits for it and returns
/// its peak resident set in KiB; -1 when it cannot run or does not exit with 0.
long spawnForPeakRss(const char* const* argv)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return -1;
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    return usage.ru_maxrss;
}

/// The peak resident set in KiB of @p argv (null-terminated), run as spawnForPeakRss does,
/// but from a fresh copy of this program (--kx_peak_rss): Linux starts a child's peak at
/// the peak of the process it was forked from, and this one has held replies of gigabytes.
long childPeakRssKib(const std::vector<const char*>& argv)
{
    QStringList arguments = {QStringLiteral("--kx_peak_rss")};
    for (const char* argument : argv) {
        if (argument)
            arguments << QString::fromLocal8Bit(argument);
    }
    QProcess helper;
    helper.start(QStringLiteral("/proc/self/exe"), arguments);
    if (!helper.waitForFinished(-1) || helper.exitStatus() != QProcess::NormalExit || helper.exitCode() != 0)
        return -1;
    return helper.readAllStandardOutput().trimmed().toLong();
}

// ---- Data ----

/// A small request: one action with three attributes (name, type, originator) and two
/// properties (page number, index).
XMLPacket* smallPacket(const XMLAgent& from, int to)
{
    XMLPacket* packet = from.getXMLPacket(to);
    XMLAction action(QStringLiteral("open"), 1005, 3);
    action.setPageNumber(12);
    action.setIndex(4);
    packet->appendV(action);
    return packet;
}

/// A dataset with one output database holding @p jobs jobs of realistic size: name, page,
/// key, colours, comments, two sections, a history entry (trimmed from replies), a profile,
/// and a publication for every fourth job.
std::string jobsDataset(int jobs)
{
    std::string json = R"({"format":"kxhost-dataset/1","connection":{"host":"bench","port":7010},)"
                       R"("profiles":[{"name":"Coated","data":"0A0B0C0D"}],)"
                       R"("outputs":[{"name":"North","key":"a:1","id":1,"jobs":[)";
    json.reserve(static_cast<size_t>(jobs) * 420 + 256);
    char record[512];
    for (int i = 0; i < jobs; ++i) {
        std::snprintf(record, sizeof record,
                      R"(%s{"name":"Job %d","page":%d,"key":"%x:1","colours":[1,2,3,4],)"
                      R"("comments":["first proof","colours checked"],)"
                      R"("sections":[{"title":"News","firstPage":1,"pages":8},)"
                      R"({"title":"Sport","firstPage":9,"pages":4}],)"
                      R"("history":[{"title":"v1","firstPage":1,"pages":6}],"profile":"Coated")",
                      i ? "," : "", i, i % 64 + 1, i + 0x100);
        json += record;
        if (i % 4 == 0) {
            std::snprintf(record, sizeof record, R"(,"publication":{"name":"Morning Post","number":%d})", i % 10);
            json += record;
        }
        json += '}';
    }
    json += "]}]}";
    return json;
}

std::unique_ptr<KXCommServer> openJobs(int jobs)
{
    std::string error;
    std::unique_ptr<KXCommServer> server = KXCommServer::openData(jobsDataset(jobs), "bench", &error);
    if (!server)
        std::fprintf(stderr, "kxxml-bench: dataset: %s\n", error.c_str());
    return server;
}

/// One job packet, as the comm server builds it for a reply.
std::unique_ptr<KXJOB_CC> jobPacket()
{
    static std::unique_ptr<KXCommServer> server = openJobs(1);
    KXLPCOMMANDS command{};
    BM_MESSAGE_ID message{};
    KXJOB* job = server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, 1);
    auto packet = std::make_unique<KXJOB_CC>();
    packet->setName(job->name);
    KXJOB_CC::trimLists(job);
    packet->setData(reinterpret_cast<unsigned char*>(job));
    return packet;
}

/// A letter of ordinary size: text, a key reference, numbers, lines, an attachment, a
/// reference by name and two lists of four sections.
std::unique_ptr<KXPacketable> letterPacket()
{
    std::string text = "SI 1F\n10 Dear sir, the proofs of the morning edition are attached.\n"
                       "11 100 1\n12 6 1 2 3 5 8 13\n13 3 first line\rsecond line\rthird line\n"
                       "14 8 0A0B0C0D0E0F1011\n1B Coated\n";
    for (int list = 0; list < 2; ++list) {
        text += "SL 4\n";
        for (int s = 0; s < 4; ++s) {
            text += "SI 5\n01 Section " + std::to_string(s) + "\n02 " + std::to_string(1 + 8 * s)
                    + "\n03 8\n04 2 checked\rsigned off\nTI 0\n";
        }
        text += "TL 0\n";
    }
    text += "TI 0\n";
    auto packet = std::make_unique<KXPacketable>(PDT_LETTER);
    if (!packet->fromPacket(text.data(), static_cast<unsigned int>(text.size()), false, true))
        std::fprintf(stderr, "kxxml-bench: letter: %s\n", packet->lastError());
    packet->setName("Letter");
    packet->key = {0x12, 3};
    return packet;
}

std::unique_ptr<KXPacketable> hostPacket(int kind)
{
    return kind == 0 ? std::unique_ptr<KXPacketable>(jobPacket()) : letterPacket();
}

/// A reply of @p count job packetables from the comm server (-1) to agent 2.
std::unique_ptr<XMLPacket> replyPacket(int count)
{
    auto packet = std::make_unique<XMLPacket>();
    packet->setSourceAgentID(-1);
    packet->setDestinationAgentID(2);
    std::unique_ptr<KXJOB_CC> job = jobPacket();
    for (int i = 0; i < count; ++i) {
        job->setName(("Job " + std::to_string(i)).c_str());
        packet->append(*job, false);
    }
    return packet;
}

QString qtSaved(const QDomNode& node)
{
    QString text;
    QTextStream stream(&text);
    node.save(stream, 1);
    stream.flush();
    return text;
}

// ---- Routing a small packet ----

struct Routing
{
    Routing() : router(nullptr, nullptr, "bench")
    {
        router.add(&from);
        router.add(&to);
    }
    ~Routing()
    {
        router.remove(&to);
        router.remove(&from);
    }
    XMLRouter router;
    Sink from;
    Sink to;
};

void BM_RouteSmall(benchmark::State& state)
{
    Routing r;
    for (auto _ : state) {
        r.router.send(smallPacket(r.from, r.to.getAgentID()));
        deliverUntil(r.to, r.to.received + 1);
    }
}
BENCHMARK(BM_RouteSmall)->Name("route/routed");

/// Watches and does nothing: what reporting the events costs the router.
class QuietObserver : public XMLRouterObserver
{
};

// The same routing with an observer attached: a quiet one, or the logger with its
// categories off (their default).
void BM_RouteObserved(benchmark::State& state, bool logger)
{
    Routing r;
    QuietObserver quiet;
    XMLRouterLogger log;
    r.router.addObserver(logger ? static_cast<XMLRouterObserver*>(&log) : &quiet);
    for (auto _ : state) {
        r.router.send(smallPacket(r.from, r.to.getAgentID()));
        deliverUntil(r.to, r.to.received + 1);
    }
}
BENCHMARK_CAPTURE(BM_RouteObserved, quiet, false)->Name("route/routed_observer_quiet");
BENCHMARK_CAPTURE(BM_RouteObserved, logger_off, true)->Name("route/routed_observer_off");

void BM_BuildDeleteSmall(benchmark::State& state)
{
    Routing r;
    for (auto _ : state) {
        XMLPacket* packet = smallPacket(r.from, r.to.getAgentID());
        benchmark::DoNotOptimize(packet);
        delete packet;
    }
}
BENCHMARK(BM_BuildDeleteSmall)->Name("route/build_delete");

void BM_QueuedCall(benchmark::State& state)
{
    QObject target;
    int calls = 0;
    for (auto _ : state) {
        QMetaObject::invokeMethod(&target, [&calls] { ++calls; }, Qt::QueuedConnection);
        const int expected = calls + 1;
        while (calls < expected)
            QCoreApplication::processEvents();
    }
}
BENCHMARK(BM_QueuedCall)->Name("route/queued_call");

// ---- A request over D-Bus ----
//
// An application (a router with its comm-server agent, published by XMLBusExporter) and a
// client (XMLBusClient) in this process, on two connections to a bus daemon of the bench's
// own: every message goes through the daemon, as between processes. The baseline is the
// cheapest round trip there is to the same application, org.freedesktop.DBus.Peer.Ping.
// Both wait in the event loop, as the application and the tool do.

#if KXXML_HAS_DBUS
/// The bench's own bus daemon, started at first use; null when there is none.
const PrivateBus* benchBus(std::string& why)
{
    static std::unique_ptr<PrivateBus> bus;
    static std::string failure;
    static bool tried = false;
    if (!tried) {
        tried = true;
#ifdef KXXML_DBUS_DAEMON
        auto started = std::make_unique<PrivateBus>();
        QString error;
        if (started->start(QStringLiteral(KXXML_DBUS_DAEMON), error))
            bus = std::move(started);
        else
            failure = error.toStdString() + ": the bus figures are skipped";
#else
        failure = "dbus-daemon was not found when kxxml-bench was built (Debian: dbus): the bus figures are skipped";
#endif
    }
    why = failure;
    return bus.get();
}

/// The application and its client, once the client is registered.
struct BusSession
{
    explicit BusSession(const PrivateBus& bus)
        : server(openJobs(1))
        , router(server.get(), nullptr, "bench")
        , exporter(&router)
        , application(QDBusConnection::connectToBus(bus.address(), QStringLiteral("bench-application")))
        , clientConnection(QDBusConnection::connectToBus(bus.address(), QStringLiteral("bench-client")))
        , client(clientConnection)
    {
        ready = exporter.publish(QStringLiteral("org.kxxml.Bench"), application)
            && client.registerAgent(QStringLiteral("org.kxxml.Bench"), 100);
    }

    std::unique_ptr<KXCommServer> server;
    XMLRouter router;
    XMLBusExporter exporter;
    QDBusConnection application;
    QDBusConnection clientConnection;
    XMLBusClient client;
    bool ready = false;
};

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Each iteration times a ping and then a small request's round trip (the outputs of a
/// dataset with one output database: one packetable in the reply), one right after the
/// other, so that both meet the same load on a shared machine; the figure compares the
/// medians of the two (counters ping_ns and request_ns), in wall time.
void BM_BusRoundTrips(benchmark::State& state)
{
    std::string why;
    const PrivateBus* bus = benchBus(why);
    if (!bus) {
        state.SkipWithError(why.c_str());
        return;
    }
    BusSession session(*bus);
    if (!session.ready) {
        state.SkipWithError("cannot publish the application or register with it");
        return;
    }
    int replies = 0;
    QObject::connect(&session.client, &XMLBusClient::packetReceived, [&replies] { ++replies; });
    XMLPacket request;
    request.setSourceAgentID(session.client.agentID());
    request.setDestinationAgentID(-1);
    XMLAction action(QStringLiteral("outputs"), 1000, session.client.agentID());
    request.append(action);
    const QDBusMessage ping = QDBusMessage::createMethodCall(session.application.baseService(), QStringLiteral("/"),
                                                             QStringLiteral("org.freedesktop.DBus.Peer"),
                                                             QStringLiteral("Ping"));
    std::vector<double> pings;
    std::vector<double> requests;
    QElapsedTimer clock;
    for (auto _ : state) {
        clock.start();
        QDBusPendingCallWatcher watcher(session.clientConnection.asyncCall(ping));
        bool answered = false;
        QObject::connect(&watcher, &QDBusPendingCallWatcher::finished, [&answered] { answered = true; });
        while (!answered)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        pings.push_back(static_cast<double>(clock.nsecsElapsed()));

        clock.start();
        const int expected = replies + 1;
        session.client.send(request);
        while (replies < expected)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        requests.push_back(static_cast<double>(clock.nsecsElapsed()));
    }
    state.counters["ping_ns"] = median(pings);
    state.counters["request_ns"] = median(requests);
}
BENCHMARK(BM_BusRoundTrips)->Name("bus/round_trips")->UseRealTime();
#endif

// ---- The duplicate check ----

enum class Difference { Destination, FirstPacketable, LastPacketable, None };

void BM_DuplicateCheck(benchmark::State& state, Difference difference)
{
    const int count = static_cast<int>(state.range(0));
    const std::unique_ptr<XMLPacket> last = replyPacket(count);
    XMLPacket next;
    next = *last;
    std::list<QDomNode> packetables;
    next.getNodesOfType(XMLObject::XMLOBJECT_PACKETABLE, packetables);
    switch (difference) {
    case Difference::Destination: next.setDestinationAgentID(3); break;
    case Difference::FirstPacketable: packetables.front().toElement().setAttribute(QStringLiteral("name"), QStringLiteral("Other")); break;
    case Difference::LastPacketable: packetables.back().toElement().setAttribute(QStringLiteral("name"), QStringLiteral("Other")); break;
    case Difference::None: break;
    }
    const bool expected = difference == Difference::None;
    // The answer must be the text comparison's.
    if ((last->packetText() == next.packetText()) != expected || (*last == next) != expected) {
        state.SkipWithError("the duplicate check disagrees with the text comparison");
        return;
    }
    const XMLPacket& queued = *last;
    for (auto _ : state) {
        const bool same = queued == next;
        benchmark::DoNotOptimize(same);
    }
}
BENCHMARK_CAPTURE(BM_DuplicateCheck, differs_dst, Difference::Destination)->Name("dupcheck/differs_dst")->Arg(1)->Arg(100)->Arg(2000);
BENCHMARK_CAPTURE(BM_DuplicateCheck, differs_first, Difference::FirstPacketable)->Name("dupcheck/differs_first")->Arg(1)->Arg(100)->Arg(2000);
BENCHMARK_CAPTURE(BM_DuplicateCheck, differs_last, Difference::LastPacketable)->Name("dupcheck/differs_last")->Arg(1)->Arg(100)->Arg(2000);
BENCHMARK_CAPTURE(BM_DuplicateCheck, equal, Difference::None)->Name("dupcheck/equal")->Arg(1)->Arg(100)->Arg(2000);

// The baseline: Qt's own writer on the same packet's document, as toString(1) writes it.
void BM_QtPacketText(benchmark::State& state)
{
    const std::unique_ptr<XMLPacket> packet = replyPacket(static_cast<int>(state.range(0)));
    std::list<QDomNode> packetables;
    packet->getNodesOfType(XMLObject::XMLOBJECT_PACKETABLE, packetables);
    const QDomDocument document = packetables.front().ownerDocument();
    for (auto _ : state) {
        const QString text = document.toString(1);
        benchmark::DoNotOptimize(text.size());
    }
}
BENCHMARK(BM_QtPacketText)->Name("dupcheck/qt_text")->Arg(1)->Arg(100)->Arg(2000);

// ---- Conversions ----

void BM_SetData(benchmark::State& state)
{
    const std::unique_ptr<KXPacketable> packet = hostPacket(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        XMLPacketable packetable;
        packetable.setData(*packet);
        benchmark::DoNotOptimize(packetable.getNodeConst());
    }
}
BENCHMARK(BM_SetData)->Name("convert/set_data")->Arg(0)->Arg(1);

void BM_SetContent(benchmark::State& state)
{
    const std::unique_ptr<KXPacketable> packet = hostPacket(static_cast<int>(state.range(0)));
    XMLPacketable packetable;
    packetable.setData(*packet);
    const QString text = packetable.toString();
    for (auto _ : state) {
        QDomDocument document;
        document.setContent(text);
        benchmark::DoNotOptimize(document);
    }
}
BENCHMARK(BM_SetContent)->Name("convert/set_content")->Arg(0)->Arg(1);

void BM_ToPacket(benchmark::State& state)
{
    const std::unique_ptr<KXPacketable> packet = hostPacket(static_cast<int>(state.range(0)));
    XMLPacketable packetable;
    packetable.setData(*packet);
    for (auto _ : state) {
        const QString text = XMLPacketable::toPacket(packetable.getNodeConst());
        benchmark::DoNotOptimize(text.size());
    }
}
BENCHMARK(BM_ToPacket)->Name("convert/to_packet")->Arg(0)->Arg(1);

void BM_Save(benchmark::State& state)
{
    const std::unique_ptr<KXPacketable> packet = hostPacket(static_cast<int>(state.range(0)));
    XMLPacketable packetable;
    packetable.setData(*packet);
    for (auto _ : state) {
        const QString text = qtSaved(packetable.getNodeConst());
        benchmark::DoNotOptimize(text.size());
    }
}
BENCHMARK(BM_Save)->Name("convert/save")->Arg(0)->Arg(1);

// ---- The jobs reply ----

struct JobsRequest
{
    explicit JobsRequest(int jobs)
        : server(openJobs(jobs))
        , router(server.get(), nullptr, "bench")
    {
        router.add(&client);
    }
    ~JobsRequest() { router.remove(&client); }

    /// Asks for every job, in pages of @p pageSize when it is not 0, and waits for the reply
    /// (every page of it) to arrive and be deleted.
    void run(int pageSize = 0)
    {
        XMLPacket* request = client.getXMLPacket(router.getXMLCommServerID());
        XMLAction action(QStringLiteral("jobs"), 1003, client.getAgentID());
        action.setExcludePublications(false);
        if (pageSize > 0)
            action.setPageSize(pageSize);
        request->appendV(action);
        router.send(request);
        const int completed = client.completed + 1;
        while (client.completed < completed)
            QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    std::unique_ptr<KXCommServer> server;
    XMLRouter router;
    Sink client;
};

// The jobs reply, or with @p pageSize the paged listing: time and heap peak per job.
void BM_JobsReply(benchmark::State& state, int pageSize)
{
    const int jobs = static_cast<int>(state.range(0));
    JobsRequest request(jobs);
    long long peak = 0;
    for (auto _ : state) {
        const memcount::Scope scope;
        request.run(pageSize);
        peak = std::max(peak, scope.peakGrowth());
    }
    state.counters["jobs"] = jobs;
    state.counters["peak_bytes_per_job"] = static_cast<double>(peak) / jobs;
    state.SetItemsProcessed(state.iterations() * jobs);
}
BENCHMARK_CAPTURE(BM_JobsReply, single, 0)->Name("jobs_reply/time")->Arg(1000)->Arg(10000)->Arg(50000)->Unit(benchmark::kMillisecond);

// Peak heap growth while the reply is built and delivered, beside the same reply's text
// parsed into a QDomDocument (the document alone, and the peak while parsing).
void BM_JobsReplyMemory(benchmark::State& state)
{
    const int jobs = static_cast<int>(state.range(0));
    JobsRequest request(jobs);
    request.client.keepText = true;
    request.run();
    request.client.keepText = false;
    const QString text = request.client.lastText;
    request.client.lastText.clear();

    long long replyPeak = 0;
    long long parsePeak = 0;
    long long documentBytes = 0;
    for (auto _ : state) {
        {
            const memcount::Scope scope;
            request.run();
            replyPeak = scope.peakGrowth();
        }
        {
            const memcount::Scope scope;
            QDomDocument document;
            document.setContent(text);
            documentBytes = scope.growth();
            parsePeak = scope.peakGrowth();
        }
    }
    state.counters["reply_peak_bytes"] = static_cast<double>(replyPeak);
    state.counters["parsed_document_bytes"] = static_cast<double>(documentBytes);
    state.counters["parse_peak_bytes"] = static_cast<double>(parsePeak);
    state.counters["text_bytes"] = static_cast<double>(text.size()) * 2;
    state.counters["elements"] = static_cast<double>(text.count(QLatin1Char('<')) - text.count(QLatin1String("</")));
}
BENCHMARK(BM_JobsReplyMemory)->Name("jobs_reply/memory")->Arg(10000)->Iterations(1)->Unit(benchmark::kMillisecond);

// ---- Paged listings ----

BENCHMARK_CAPTURE(BM_JobsReply, paged, 1000)->Name("paged/time")->Arg(1000)->Arg(50000)->Unit(benchmark::kMillisecond);

// The longest time the event loop stands still while 50,000 jobs are listed, in pages of
// state.range(0) (0: the single reply), seen by a probe timer that fires on every turn.
void BM_ListingStall(benchmark::State& state)
{
    JobsRequest request(50000);
    qint64 longest = 0;
    for (auto _ : state) {
        QElapsedTimer clock;
        qint64 last = 0;
        QTimer probe;
        QObject::connect(&probe, &QTimer::timeout, [&] {
            const qint64 now = clock.nsecsElapsed();
            longest = std::max(longest, now - last);
            last = now;
        });
        clock.start();
        probe.start(0);
        request.run(static_cast<int>(state.range(0)));
        longest = std::max(longest, clock.nsecsElapsed() - last);
    }
    state.counters["longest_stall_ns"] = static_cast<double>(longest);
}
BENCHMARK(BM_ListingStall)->Name("paged/stall")->Arg(500)->Arg(0)->Iterations(1)->Unit(benchmark::kMillisecond);

// Peak resident set of the whole tool process, `kxxml request jobs`, on a dataset file of
// state.range(0) jobs, in pages of 1,000 or as the single reply.
void BM_ToolPeakRss(benchmark::State& state, bool paged)
{
    const int jobs = static_cast<int>(state.range(0));
    QTemporaryFile dataset;
    const std::string json = jobsDataset(jobs);
    if (!dataset.open() || dataset.write(json.data(), static_cast<qint64>(json.size())) != qint64(json.size())) {
        state.SkipWithError("cannot write the dataset");
        return;
    }
    dataset.close();
    const QByteArray path = dataset.fileName().toLocal8Bit();
    std::vector<const char*> argv = {KXXML_TOOL, "request", "jobs", "--include-publications", "--dataset",
                                     path.constData()};
    if (paged) {
        argv.push_back("--page-size");
        argv.push_back("1000");
    }
    argv.push_back(nullptr);
    long peakKib = 0;
    for (auto _ : state) {
        const long kib = childPeakRssKib(argv);
        if (kib < 0) {
            state.SkipWithError("the tool failed");
            return;
        }
        peakKib = std::max(peakKib, kib);
    }
    state.counters["peak_rss_bytes"] = static_cast<double>(peakKib) * 1024;
}
BENCHMARK_CAPTURE(BM_ToolPeakRss, paged, true)->Name("paged/tool_rss")->Arg(1000)->Arg(10000)->Arg(50000)->Iterations(1);
BENCHMARK_CAPTURE(BM_ToolPeakRss, single, false)->Name("paged/tool_rss_single")->Arg(1000)->Arg(10000)->Arg(50000)->Iterations(1);

// ---- The summary ----

/// Collects each benchmark's result (its median when repeated) beside the console output.
/// Figures use CPU time: the machines this runs on are shared, and waiting for a core is
/// not the library's time. Everything measured runs on the calling thread, but for the round
/// trips over D-Bus, which wait for the bus daemon and QtDBus's thread: they are timed by the
/// benchmark itself, in wall time, and reported as counters.
class Collector : public benchmark::ConsoleReporter
{
public:
    struct Result
    {
        double ns = 0;
        std::map<std::string, double> counters;
    };

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred)
                continue;
            const bool aggregate = run.run_type == Run::RT_Aggregate;
            if (aggregate && run.aggregate_name != "median")
                continue;
            const std::string name = run.benchmark_name();
            const std::string key = aggregate ? name.substr(0, name.rfind('_')) : name;
            if (!aggregate && results.count(key) && medians.count(key))
                continue;
            Result& r = results[key];
            r.ns = run.GetAdjustedCPUTime() * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
            for (const auto& [counter, value] : run.counters)
                r.counters[counter] = value.value;
            if (aggregate)
                medians.insert(key);
        }
        ConsoleReporter::ReportRuns(runs);
    }

    const Result* find(const std::string& name) const
    {
        auto it = results.find(name);
        return it == results.end() ? nullptr : &it->second;
    }

private:
    std::map<std::string, Result> results;
    std::set<std::string> medians;
};

struct Figure
{
    std::string figure;
    std::string measured;  ///< how the figure's value is written
    std::string baseline;
    double ratio = -1;     ///< negative: not measured in this run
    double goal = 0;
    std::string goalText;
    double value = 0; ///< the measured value, where the goal is a limit on it rather than a ratio
    double limit = 0;
};

std::string format(const char* pattern, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

std::string timeText(double ns)
{
    if (ns >= 1e6)
        return format("%.1f ms", ns / 1e6);
    if (ns >= 1e3)
        return format("%.2f µs", ns / 1e3);
    return format("%.0f ns", ns);
}

std::string bytesText(double bytes)
{
    if (bytes >= 1 << 20)
        return format("%.1f MiB", bytes / (1 << 20));
    if (bytes >= 1 << 10)
        return format("%.1f KiB", bytes / (1 << 10));
    return format("%.0f B", bytes);
}

// Paged listings: each beside the single reply of the same run.
void addPagedFigures(const Collector& c, std::vector<Figure>& out)
{
    const auto* small = c.find("paged/time/1000");
    const auto* large = c.find("paged/time/50000");
    if (small && large) {
        out.push_back({"Paged jobs listing (pages of 1,000), time per job, 50,000 vs 1,000 jobs",
                       timeText(large->ns / 50000), timeText(small->ns / 1000),
                       (large->ns / 50000) / (small->ns / 1000), 1.1, "≤ 1.1×"});
    }
    for (const char* jobs : {"1000", "10000", "50000"}) {
        const auto* paged = c.find(std::string("paged/tool_rss/") + jobs + "/iterations:1");
        const auto* single = c.find(std::string("paged/tool_rss_single/") + jobs + "/iterations:1");
        if (!paged || !single)
            continue;
        const double p = paged->counters.at("peak_rss_bytes");
        const double s = single->counters.at("peak_rss_bytes");
        const bool largest = std::string(jobs) == "50000";
        out.push_back({std::string("Peak RSS of `kxxml request jobs --page-size 1000`, ") + jobs
                           + " jobs, vs the single reply",
                       bytesText(p), bytesText(s), p / s, 0, largest ? "≤ 64 MiB" : "(flat with the size)", p,
                       largest ? 64.0 * (1 << 20) : 0});
    }
    const auto* pagedStall = c.find("paged/stall/500/iterations:1");
    const auto* singleStall = c.find("paged/stall/0/iterations:1");
    if (pagedStall && singleStall) {
        const double p = pagedStall->counters.at("longest_stall_ns");
        const double s = singleStall->counters.at("longest_stall_ns");
        out.push_back({"Longest event-loop stall, 50,000 jobs in pages of 500, vs the single reply", timeText(p),
                       timeText(s), p / s, 0, "≤ 50 ms", p, 50e6});
    }
}

std::vector<Figure> figures(const Collector& c)
{
    std::vector<Figure> out;
    auto pair = [&](const std::string& figure, const std::string& name, const std::string& base, double goal,
                    const std::string& goalText) {
        const Collector::Result* m = c.find(name);
        const Collector::Result* b = c.find(base);
        if (!m || !b)
            return;
        out.push_back({figure, timeText(m->ns), timeText(b->ns), m->ns / b->ns, goal, goalText});
    };

    pair("Route a small packet agent to agent (build, send, deliver, delete)", "route/routed",
         "route/build_delete", 1.25, "≤ 1.25×");
    if (const auto* routed = c.find("route/routed")) {
        const auto* built = c.find("route/build_delete");
        const auto* queued = c.find("route/queued_call");
        if (built && queued) {
            const double overhead = routed->ns - built->ns;
            out.push_back({"Routing overhead per packet vs a queued method call", timeText(overhead),
                           timeText(queued->ns), overhead / queued->ns, 3.0, "≤ 3×"});
        }
    }
    pair("Route a small packet with the logger attached, its categories off, vs no observer",
         "route/routed_observer_off", "route/routed", 1.05, "≤ 1.05×");
    pair("Route a small packet with a do-nothing observer attached, vs no observer", "route/routed_observer_quiet",
         "route/routed", 0, "(no goal)");
    for (const char* size : {"1", "100", "2000"}) {
        // Against one text of the packet written by Qt (QDomDocument::toString(1)).
        const std::string base = std::string("dupcheck/qt_text/") + size;
        const std::string of = std::string(", ") + size + (size[1] ? " packetables" : " packetable");
        pair("Duplicate check, destination differs" + of, std::string("dupcheck/differs_dst/") + size, base, 0.05,
             "≤ 0.05×");
        pair("Duplicate check, first packetable differs" + of, std::string("dupcheck/differs_first/") + size, base,
             1.0, "≤ 1.0×");
        pair("Duplicate check, last packetable differs" + of, std::string("dupcheck/differs_last/") + size, base,
             1.0, "≤ 1.0×");
        pair("Duplicate check, equal packets" + of, std::string("dupcheck/equal/") + size, base, 1.0, "≤ 1.0×");
    }
    for (const char* kind : {"0", "1"}) {
        const std::string k = kind[0] == '0' ? "job" : "letter";
        pair("Host packet to packetable XML (setData), " + k, std::string("convert/set_data/") + kind,
             std::string("convert/set_content/") + kind, 1.5, "≤ 1.5×");
        pair("Packetable XML to text form (toPacket), " + k, std::string("convert/to_packet/") + kind,
             std::string("convert/save/") + kind, 1.0, "≤ 1.0×");
    }
    const auto* small = c.find("jobs_reply/time/1000");
    const auto* large = c.find("jobs_reply/time/50000");
    if (small && large) {
        out.push_back({"Jobs reply time per job, 50,000 vs 1,000 jobs", timeText(large->ns / 50000),
                       timeText(small->ns / 1000), (large->ns / 50000) / (small->ns / 1000), 1.3, "≤ 1.3×"});
    }
    if (const auto* memory = c.find("jobs_reply/memory/10000/iterations:1")) {
        const double reply = memory->counters.at("reply_peak_bytes");
        const double document = memory->counters.at("parsed_document_bytes");
        const double parse = memory->counters.at("parse_peak_bytes");
        out.push_back({"Jobs reply peak memory, 10,000 jobs, vs the parsed reply document", bytesText(reply),
                       bytesText(document), reply / document, 1.5, "≤ 1.5×"});
        out.push_back({"Jobs reply peak memory, 10,000 jobs, vs the peak while parsing the reply", bytesText(reply),
                       bytesText(parse), reply / parse, 1.5, "≤ 1.5×"});
    }
    addPagedFigures(c, out);
    if (const auto* bus = c.find("bus/round_trips/real_time")) {
        const double request = bus->counters.at("request_ns");
        const double ping = bus->counters.at("ping_ns");
        out.push_back({"Small request over D-Bus, round trip (median, wall time), vs a D-Bus ping of the same process",
                       timeText(request), timeText(ping), request / ping, 1.5, "≤ 1.5×"});
    }
    return out;
}

bool met(const Figure& f)
{
    return f.limit > 0 ? f.value <= f.limit : f.ratio <= f.goal;
}

std::string verdict(const Figure& f)
{
    if (f.goal <= 0 && f.limit <= 0)
        return "-";
    return met(f) ? "met" : "missed";
}

void writeSummary(const Collector& c, const std::string& markdownPath, const std::string& jsonPath,
                  const std::string& scalingPath)
{
    const std::vector<Figure> all = figures(c);
    std::string md = std::string("Qt ") + qVersion() + " at run time\n\n| Figure | Measured | Baseline | Ratio | Goal | |\n|---|---:|---:|---:|---|---|\n";
    std::printf("\n%-75s %12s %12s %8s  %s\n", "figure", "measured", "baseline", "ratio", "goal");
    QJsonArray json;
    for (const Figure& f : all) {
        std::printf("%-75s %12s %12s %8.3f  %s %s\n", f.figure.c_str(), f.measured.c_str(), f.baseline.c_str(),
                    f.ratio, f.goalText.c_str(), verdict(f).c_str());
        md += "| " + f.figure + " | " + f.measured + " | " + f.baseline + " | " + format("%.3f×", f.ratio) + " | "
              + f.goalText + " | " + verdict(f) + " |\n";
        QJsonObject o;
        o[QStringLiteral("figure")] = QString::fromStdString(f.figure);
        o[QStringLiteral("measured")] = QString::fromStdString(f.measured);
        o[QStringLiteral("baseline")] = QString::fromStdString(f.baseline);
        o[QStringLiteral("ratio")] = f.ratio;
        if (f.goal > 0)
            o[QStringLiteral("goal")] = f.goal;
        if (f.limit > 0)
            o[QStringLiteral("limit")] = f.limit;
        if (f.goal > 0 || f.limit > 0)
            o[QStringLiteral("met")] = met(f);
        json.append(o);
    }

    // The jobs reply by size: time and peak memory per job.
    std::string scaling = "# jobs  us_per_job  peak_kib_per_job\n";
    md += "\n| Jobs | Time per job | Peak memory per job |\n|---:|---:|---:|\n";
    for (int jobs : {1000, 10000, 50000}) {
        const auto* r = c.find("jobs_reply/time/" + std::to_string(jobs));
        if (!r)
            continue;
        const double perJob = r->ns / jobs;
        const double bytes = r->counters.count("peak_bytes_per_job") ? r->counters.at("peak_bytes_per_job") : 0;
        md += "| " + std::to_string(jobs) + " | " + timeText(perJob) + " | " + bytesText(bytes) + " |\n";
        scaling += std::to_string(jobs) + " " + format("%.3f", perJob / 1e3) + " " + format("%.3f", bytes / 1024) + "\n";
    }
    if (const auto* memory = c.find("jobs_reply/memory/10000/iterations:1")) {
        const double elements = memory->counters.at("elements");
        md += "\nThe 10,000-job reply has " + format("%.0f", elements) + " elements; its text is "
              + bytesText(memory->counters.at("text_bytes")) + " as a QString, the parsed document "
              + bytesText(memory->counters.at("parsed_document_bytes")) + " ("
              + bytesText(memory->counters.at("parsed_document_bytes") / elements) + " per element).\n";
    }

    auto write = [](const std::string& path, const std::string& text) {
        if (path.empty())
            return;
        QFile file(QString::fromStdString(path));
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(text.data(), static_cast<qint64>(text.size()));
        else
            std::fprintf(stderr, "kxxml-bench: cannot write %s\n", path.c_str());
    };
    write(markdownPath, md);
    write(jsonPath, QJsonDocument(json).toJson().toStdString());
    write(scalingPath, scaling);
}

std::string option(int& argc, char** argv, const char* name)
{
    const size_t length = std::strlen(name);
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], name, length) == 0 && argv[i][length] == '=') {
            std::string value = argv[i] + length + 1;
            for (int j = i; j < argc - 1; ++j)
                argv[j] = argv[j + 1];
            --argc;
            return value;
        }
    }
    return {};
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 2 && std::strcmp(argv[1], "--kx_peak_rss") == 0) {
        const long kib = spawnForPeakRss(argv + 2);
        std::printf("%ld\n", kib);
        return kib < 0 ? 1 : 0;
    }
    const std::string markdown = option(argc, argv, "--kx_summary");
    const std::string json = option(argc, argv, "--kx_summary_json");
    const std::string scaling = option(argc, argv, "--kx_scaling");
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    benchmark::Shutdown();
    writeSummary(collector, markdown, json, scaling);
    return 0;
}
