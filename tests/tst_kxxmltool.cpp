// The kxxml tool run as a process: every subcommand on the built-in sample and on the
// datasets and inputs under data/tool/, every error path with its message and exit status,
// and stable output.
#include "hosttesthelpers.h"
#include "testhelpers.h"

#include <QDomDocument>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using namespace TestHelpers;

namespace {

// Runs the tool in the test data folder, so that messages name the files as given.
Run runTool(const QStringList& arguments, const QByteArray& input = QByteArray())
{
    return runProgram(QStringLiteral(KXXML_TOOL), arguments, QStringLiteral(KXXML_TOOL_DATA), input);
}

QDomElement child(const QDomElement& e, const char* name)
{
    return e.firstChildElement(QString::fromLatin1(name));
}

// The `name` attributes of the packetables in a reply's body, in order.
QStringList replyNames(const QDomElement& packet)
{
    QStringList names;
    for (QDomElement p = child(child(packet, "body"), "packetable"); !p.isNull();
         p = p.nextSiblingElement(QStringLiteral("packetable")))
        names << p.attribute(QStringLiteral("name"));
    return names;
}

// The host's own canonical text of a text form: equal results mean equal packets.
QByteArray canonical(const QByteArray& text, unsigned int type)
{
    const std::unique_ptr<KXPacketable> packet = hosttest::packetOf(type, text);
    return packet ? hosttest::textOf(*packet) : QByteArrayLiteral("(rejected)");
}

} // namespace

class TestKxXmlTool : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errors_data();
    void errors();
    void hugeInputIsRefused();
    void requests_data();
    void requests();
    void pagedRequest();
    void toXml_data();
    void toXml();
    void roundTrip_data();
    void roundTrip();
    void xmlBlanksAreNormalised();
    void archive_data();
    void archive();
    void archiveReferences();
    void demo_data();
    void demo();
    void trace_data();
    void trace();
    void help_data();
    void help();
    void sameBytesTwice_data();
    void sameBytesTwice();
};

void TestKxXmlTool::errors_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("message"); // a regular expression for the line after "kxxml: "

    const QByteArray none;
    // Bad usage.
    QTest::newRow("no command") << QStringList() << none << 2 << "missing command";
    QTest::newRow("unknown command") << words("frobnicate") << none << 2 << "unknown command 'frobnicate'";
    QTest::newRow("request without kind") << words("request") << none << 2 << "^request: missing the kind";
    QTest::newRow("unknown kind") << words("request pages") << none << 2 << "^request: unknown kind of request 'pages'";
    QTest::newRow("two kinds") << words("request jobs books") << none << 2 << "^request: unexpected argument 'books'";
    QTest::newRow("unknown option") << words("request jobs --bogus") << none << 2 << "^request: unknown option 'bogus'";
    QTest::newRow("missing value") << words("request jobs --db") << none << 2 << "^request: missing value after '--db'";
    QTest::newRow("bad key") << words("request jobs --db a:g") << none << 2 << "^request: --db 'a:g': expected KEY:HKEY";
    QTest::newRow("both publication flags") << words("request jobs --include-publications --exclude-publications")
                                            << none << 2 << "exclude each other";
    QTest::newRow("bad type") << words("to-xml --type 1x letter.txt") << none << 2 << "^to-xml: --type '1x'";
    QTest::newRow("two inputs") << words("to-text a.xml b.xml") << none << 2 << "^to-text: unexpected argument 'b.xml'";
    QTest::newRow("archive without key or name") << words("archive") << none << 2 << "^archive: give either --key or --name";
    QTest::newRow("archive half key") << words("archive --key 0:3") << none << 2 << "^archive: --key '0:3'";
    QTest::newRow("demo argument") << words("demo now") << none << 2 << "^demo: unexpected argument 'now'";

    // Bad datasets: the file and the JSON path of the problem.
    QTest::newRow("dataset path") << words("request jobs --dataset bad-page.json") << none << 2
                                  << "^bad-page\\.json: outputs\\[0\\]\\.jobs\\[2\\]\\.page: expected an integer$";
    QTest::newRow("dataset missing") << words("demo --dataset missing.json") << none << 2 << "^missing\\.json: cannot open";
    QTest::newRow("dataset directory") << words("archive --dataset . --name x") << none << 2 << "^\\.: is a directory";
    QTest::newRow("dataset not json") << words("request jobs --dataset letter.txt") << none << 2 << "^letter\\.txt: ";

    // Bad text forms: the host's reason and line.
    QTest::newRow("text bad tag") << words("to-xml bad-tag.txt") << none << 2 << "^bad-tag\\.txt: line 3: tag 99 ";
    QTest::newRow("text no class") << words("to-xml no-class.txt") << none << 2 << "no packet class for data type 55";
    QTest::newRow("text no SI line") << words("to-xml") << QByteArray("10 Dear sir\n") << 2 << "^stdin: no SI line";
    QTest::newRow("text missing file") << words("to-xml nothing.txt") << none << 2 << "^nothing\\.txt: cannot open";
    QTest::newRow("text directory") << words("to-xml .") << none << 2 << "^\\.: is a directory";

    // Bad XML: line and column; depth and document types refused before the DOM.
    QTest::newRow("xml malformed") << words("to-text malformed.xml") << none << 2
                                   << "^malformed\\.xml: line 6, column \\d+: ";
    QTest::newRow("xml too deep") << words("to-text deep.xml") << none << 2
                                  << "^deep\\.xml: line 1, column \\d+: elements nested deeper than 259 levels$";
    QTest::newRow("xml entity bomb") << words("to-text bomb.xml") << none << 2
                                     << "^bomb\\.xml: line 7, column \\d+: document type declarations are not accepted$";
    QTest::newRow("xml external entity") << words("to-text --check external-entity.xml") << none << 2
                                         << "document type declarations are not accepted";
    QTest::newRow("xml undeclared entity") << words("to-text undeclared-entity.xml") << none << 2
                                           << "^undeclared-entity\\.xml: line 2, column \\d+: ";
    QTest::newRow("xml not a packetable") << words("to-text not-packetable.xml") << none << 2
                                          << "line 1, column \\d+: expected a 'packetable' element, found 'kxxml'";
    QTest::newRow("xml no item") << words("to-text empty-packetable.xml") << none << 2 << "holds no item";
    QTest::newRow("xml rejected by host") << words("to-text --check rejected.xml") << none << 2
                                          << "^rejected\\.xml: the host rejects the text form: line \\d+: tag 0?3";
    QTest::newRow("xml empty") << words("to-text") << none << 2 << "^stdin: line 1, column 0: ";
    QTest::newRow("xml binary") << words("to-text -") << QByteArray("\x00\x01\x02<\xff>", 6) << 2 << "^stdin: line 1";

    // Archive entries that are not there.
    QTest::newRow("archive no key") << words("archive --key 99:9") << none << 2 << "no archive entry with key 99:9$";
    QTest::newRow("archive no name") << words("archive --dataset small.json --name Letter") << none << 2
                                     << "^small\\.json: no archive entry named 'Letter'$";

    // No reply: status 1.
    QTest::newRow("no reply outputs") << words("request outputs --dataset failing.json") << none << 1
                                      << "^failing\\.json: no reply to the outputs request$";
    QTest::newRow("no books in database") << words("request books --db b:2") << none << 1 << "no reply";
    QTest::newRow("no books, paged") << words("request books --db b:2 --page-size 2") << none << 1 << "no reply";
    QTest::newRow("page size zero") << words("request jobs --page-size 0") << none << 2
                                    << "^request: --page-size '0': expected a positive integer";
}

void TestKxXmlTool::errors()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(int, status);
    QFETCH(QString, message);

    const Run run = runTool(arguments, input);
    QCOMPARE(run.status, status);
    QVERIFY2(run.out.isEmpty(), run.out.left(200).constData());
    QVERIFY2(run.err.startsWith("kxxml: ") && run.err.endsWith('\n') && run.err.count('\n') == 1, run.err.constData());
    const QString line = QString::fromUtf8(run.err.mid(7).chopped(1));
    QVERIFY2(QRegularExpression(message).match(line).hasMatch(), qPrintable(line));
}

void TestKxXmlTool::hugeInputIsRefused()
{
    const Run run = runTool(words("to-xml"), QByteArray(64 * 1024 * 1024 + 1, 'x'));
    QCOMPARE(run.status, 2);
    QVERIFY(run.out.isEmpty());
    QCOMPARE(run.err, QByteArray("kxxml: stdin: larger than 64 MiB\n"));
}

void TestKxXmlTool::requests_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("names");

    QTest::newRow("outputs") << words("request outputs") << words("North South");
    QTest::newRow("books") << words("request books") << words("Atlas Almanac");
    // One job per publication, named after it, in ascending publication number.
    QTest::newRow("publications") << words("request publications")
                                  << QStringList{QStringLiteral("Evening Star"), QStringLiteral("Morning Post")};
    // Jobs of publications are left out unless asked for; queue 5 is never listed.
    QTest::newRow("jobs") << words("request jobs") << words("Flyer Poster");
    QTest::newRow("jobs excluding") << words("request jobs --exclude-publications") << words("Flyer Poster");
    QTest::newRow("jobs including") << words("request jobs --include-publications")
                                    << QStringList{QStringLiteral("Front"), QStringLiteral("Sport"),
                                                   QStringLiteral("Weather"), QStringLiteral("Flyer"),
                                                   QStringLiteral("Evening Cover"), QStringLiteral("Evening Inside"),
                                                   QStringLiteral("Poster")};
    QTest::newRow("jobs of two databases in key order") << words("request jobs --db a:2 --db a:1")
                                                        << words("Poster Flyer");
    QTest::newRow("dataset file") << words("request jobs --dataset small.json --include-publications")
                                  << words("Cover Inside Leaflet");
}

void TestKxXmlTool::requests()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, names);

    const Run run = runTool(arguments);
    QCOMPARE(run.status, 0);
    QVERIFY(run.err.isEmpty());
    const QDomElement packet = parseElement(run.out);
    QCOMPARE(packet.tagName(), QStringLiteral("kxxml"));
    QCOMPARE(child(child(packet, "header"), "src").attribute(QStringLiteral("agent_id")), QStringLiteral("-1"));
    QCOMPARE(child(child(packet, "header"), "dst").attribute(QStringLiteral("agent_id")), QStringLiteral("1"));
    QCOMPARE(replyNames(packet), names);
}

// Every page is printed as the packet it is, one after the other. (The pages themselves:
// tst_hostcalls.)
void TestKxXmlTool::pagedRequest()
{
    const Run run = runTool(words("request jobs --include-publications --page-size 3"));
    QCOMPARE(run.status, 0);
    QVERIFY(run.err.isEmpty());
    const QStringList pages = QString::fromUtf8(run.out).split(QStringLiteral("<kxxml "), Qt::SkipEmptyParts);
    QCOMPARE(pages.size(), 3);
    QStringList names;
    for (const QString& page : pages)
        names += replyNames(parseElement(QStringLiteral("<kxxml ").append(page).toUtf8()));
    QCOMPARE(names, replyNames(parseElement(runTool(words("request jobs --include-publications")).out)));
}

void TestKxXmlTool::toXml_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("datatype");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("firstValue");

    QTest::newRow("named and keyed") << words("to-xml --name Letter --key 12:3 letter.txt") << QByteArray() << "1f"
                                     << "Letter" << "12:3" << "Dear sir";
    QTest::newRow("job") << words("to-xml --key ABC:1 job.txt") << QByteArray() << "15" << "" << "abc:1" << "Front";
    QTest::newRow("stdin") << words("to-xml -") << QByteArray("SI 5\n01 News\n02 1\nTI 0\n") << "5" << "" << "0:0"
                           << "News";
    QTest::newRow("type given, lower-case class") << words("to-xml --type 1F") << QByteArray("SI 1f\n10 hello\nTI 0\n")
                                            << "1f" << "" << "0:0" << "hello";
}

void TestKxXmlTool::toXml()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QString, datatype);
    QFETCH(QString, name);
    QFETCH(QString, key);
    QFETCH(QString, firstValue);

    const Run run = runTool(arguments, input);
    QCOMPARE(run.status, 0);
    QVERIFY(run.err.isEmpty());
    const QDomElement root = parseElement(run.out);
    QCOMPARE(root.tagName(), QStringLiteral("packetable"));
    QCOMPARE(root.attribute(QStringLiteral("datatype")), datatype);
    QCOMPARE(root.attribute(QStringLiteral("name")), name);
    QCOMPARE(root.attribute(QStringLiteral("key")) + u':' + root.attribute(QStringLiteral("hkey")), key);
    const QDomElement item = child(root, "item");
    QCOMPARE(item.attribute(QStringLiteral("datatype")).toUInt(nullptr, 16), datatype.toUInt(nullptr, 16));
    QCOMPARE(item.firstChildElement().attribute(QStringLiteral("value")), firstValue);
}

void TestKxXmlTool::roundTrip_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<unsigned int>("type");
    QTest::newRow("letter with list") << "letter.txt" << 0x1fu;
    QTest::newRow("job with arrays") << "job.txt" << 0x15u;
}

// to-xml then to-text --check gives the same packet back, as the host reads it.
void TestKxXmlTool::roundTrip()
{
    QFETCH(QString, file);
    QFETCH(unsigned int, type);

    const Run xml = runTool({QStringLiteral("to-xml"), file});
    QCOMPARE(xml.status, 0);
    const Run text = runTool(words("to-text --check -"), xml.out);
    QCOMPARE(text.status, 0);
    QVERIFY(text.err.isEmpty());
    QFile original(QStringLiteral(KXXML_TOOL_DATA "/") + file);
    QVERIFY(original.open(QIODevice::ReadOnly));
    const QByteArray expected = canonical(original.readAll(), type);
    QVERIFY(expected != "(rejected)");
    QCOMPARE(canonical(text.out, type), expected);
}

// XML's own rules for line ends and attribute values, with every Qt: blanks written as such
// become spaces, character references stay what they name.
void TestKxXmlTool::xmlBlanksAreNormalised()
{
    const QByteArray xml("<packetable datatype=\"1f\" hkey=\"3\" key=\"12\" name=\"L\">\r\n"
                         " <item datatype=\"1F\">\r\n  <_10 value=\"a&#9;b\tc\nd\r\ne\"/>\r\n"
                         " </item>\r\n</packetable>\r\n");
    const Run run = runTool(words("to-text --check -"), xml);
    QCOMPARE(run.err, QByteArray());
    QCOMPARE(run.out, QByteArray("SI 1F\n10 a\tb c d e\nTI 0\n"));
}

void TestKxXmlTool::archive_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("refersVia");  // the data element holding the inlined packet
    QTest::addColumn<QString>("inlinedName");
    QTest::addColumn<QString>("nestedVia");  // inside the inlined packet, one level deeper
    QTest::addColumn<QString>("nestedName");

    QTest::newRow("by key, references by key two deep")
        << words("archive --key 12:3") << "Letter" << "_11" << "Front" << "_5" << "North";
    QTest::newRow("by name, reference by name to a key-less profile")
        << words("archive --name Memo") << "Memo" << "_1b" << "Uncoated" << "" << "";
    QTest::newRow("dataset file by name")
        << words("archive --dataset small.json --name Note") << "Note" << "_1b" << "Matte" << "" << "";
    QTest::newRow("dataset file by key")
        << words("archive --dataset small.json --key 40:1") << "Note" << "_11" << "Cover" << "" << "";
}

void TestKxXmlTool::archive()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, name);
    QFETCH(QString, refersVia);
    QFETCH(QString, inlinedName);
    QFETCH(QString, nestedVia);
    QFETCH(QString, nestedName);

    const Run run = runTool(arguments);
    QCOMPARE(run.status, 0);
    const QDomElement root = parseElement(run.out);
    QCOMPARE(root.attribute(QStringLiteral("name")), name);
    const QDomElement inlined = child(child(root, "item").firstChildElement(refersVia), "packetable");
    QCOMPARE(inlined.attribute(QStringLiteral("name")), inlinedName);
    if (!nestedVia.isEmpty()) {
        const QDomElement nested = child(child(inlined, "item").firstChildElement(nestedVia), "packetable");
        QCOMPARE(nested.attribute(QStringLiteral("name")), nestedName);
    }
}

void TestKxXmlTool::archiveReferences()
{
    const Run run = runTool(words("archive --name Memo --references"));
    QCOMPARE(run.status, 0);
    // Each reference: a heading line, then its packetable.
    const QList<QByteArray> parts = run.out.split('\n');
    QStringList headings;
    for (const QByteArray& line : parts) {
        if (line.startsWith("-- "))
            headings << QString::fromUtf8(line);
    }
    QCOMPARE(headings, QStringList({QStringLiteral("-- reference by key 12:3 --"),
                                    QStringLiteral("-- reference by name Uncoated --")}));
    const qsizetype second = run.out.indexOf("-- reference by name");
    const QDomElement letter = parseElement(run.out.mid(run.out.indexOf('\n') + 1, second - run.out.indexOf('\n') - 1));
    QCOMPARE(letter.attribute(QStringLiteral("name")), QStringLiteral("Letter"));
    const QDomElement profile = parseElement(run.out.mid(run.out.indexOf('\n', second) + 1));
    QCOMPARE(profile.attribute(QStringLiteral("name")), QStringLiteral("Uncoated"));
    // The profile's data was loaded from the dataset's server.
    QCOMPARE(child(child(profile, "item"), "_2").text(), QStringLiteral("01020304"));
}

void TestKxXmlTool::demo_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("replies");
    QTest::newRow("built-in sample") << words("demo") << 4;
    QTest::newRow("failing queries") << words("demo --dataset failing.json") << 1; // jobs always answer
}

void TestKxXmlTool::demo()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, replies);

    const Run run = runTool(arguments);
    QCOMPARE(run.status, 0);
    QVERIFY(run.err.isEmpty());
    const QString text = QString::fromUtf8(run.out);
    const QRegularExpression headingLine(QStringLiteral("^== \\d+\\. (.*) ==$"), QRegularExpression::MultilineOption);
    QStringList headings;
    for (auto it = headingLine.globalMatch(text); it.hasNext();)
        headings << it.next().captured(1);
    QCOMPARE(headings.size(), 8);
    QCOMPARE(headings.mid(0, 4), QStringList({QStringLiteral("request outputs (1000)"),
                                              QStringLiteral("request publications (1001)"),
                                              QStringLiteral("request books (1002)"),
                                              QStringLiteral("request jobs (1003)")}));
    QCOMPARE(text.count(QStringLiteral("<kxxml ")), replies);
    QCOMPARE(text.count(QStringLiteral("(no reply)")), 4 - replies);

    // The UI collection holds the four actions, books hidden.
    const qsizetype uiStart = text.indexOf(QStringLiteral("<ui "));
    const QDomElement ui = parseElement(text.mid(uiStart, text.indexOf(QStringLiteral("</ui>")) + 5 - uiStart).toUtf8());
    QCOMPARE(ui.elementsByTagName(QStringLiteral("action")).size(), 4);
    QVERIFY(text.contains(QStringLiteral("visible actions: 3 of 4\n")));

    // The exclusive group: only the last toggled action stays checked.
    QVERIFY(text.contains(QStringLiteral("[ ] outputs\n[x] publications\n[ ] books\n[ ] jobs\n")));
    QVERIFY(text.contains(QStringLiteral("[ ] outputs\n[ ] publications\n[ ] books\n[x] jobs\n")));
    const QDomElement checked = parseElement(text.mid(text.lastIndexOf(QStringLiteral("<action "))).toUtf8());
    QCOMPARE(checked.attribute(QStringLiteral("type")), QStringLiteral("1003"));
    QCOMPARE(child(checked, "checked").text(), QStringLiteral("1"));
}

void TestKxXmlTool::trace_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("events"); // the trace's lines without "kxxml: trace: <seq> " and sizes
    auto request = [](int code) {
        const QString type = QString::number(code);
        return QStringList{QStringLiteral("accepted src=1 dst=-1 type=") + type,
                           QStringLiteral("delivered src=1 dst=-1 type=") + type,
                           QStringLiteral("accepted src=-1 dst=1"), QStringLiteral("delivered src=-1 dst=1")};
    };
    const QString added = QStringLiteral("agent-added agent=1 type=100");
    const QStringList removed = {QStringLiteral("agent-removed agent=1 type=100"),
                                 QStringLiteral("agent-removed agent=-1 type=0")};
    QTest::newRow("request") << words("request jobs --include-publications") << QStringList(added) + request(1003) + removed;
    QTest::newRow("demo") << words("demo")
                          << QStringList(added) + request(1000) + request(1001) + request(1002) + request(1003) + removed;
}

// The trace is on standard error, one line per router event, and standard output is as without it.
void TestKxXmlTool::trace()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, events);

    const Run plain = runTool(arguments);
    const Run traced = runTool(arguments + words("--trace"));
    QCOMPARE(traced.status, 0);
    QCOMPARE(traced.out, plain.out);
    QVERIFY(plain.err.isEmpty());

    const QRegularExpression line(QStringLiteral("^kxxml: trace: (\\d+) (.*?)(?: size=(\\d+))?$"));
    QStringList seen;
    qsizetype lastSize = -1;
    const QList<QByteArray> lines = traced.err.split('\n');
    QCOMPARE(lines.constLast(), QByteArray()); // every line ends
    for (const QByteArray& text : lines.mid(0, lines.size() - 1)) {
        const QRegularExpressionMatch match = line.match(QString::fromUtf8(text));
        QVERIFY2(match.hasMatch(), text.constData());
        QCOMPARE(match.captured(1).toInt(), seen.size() + 1);
        seen << match.captured(2);
        if (!match.captured(3).isEmpty())
            lastSize = match.captured(3).toInt();
    }
    QCOMPARE(seen, events);
    if (arguments.constFirst() == QLatin1String("request"))
        QCOMPARE(lastSize, plain.out.size()); // the reply, printed as it is (ASCII)
}

void TestKxXmlTool::help_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("start");
    QTest::newRow("tool") << words("--help") << "Usage: kxxml <command>";
    QTest::newRow("request") << words("request -h") << "Usage: kxxml request outputs|publications|books|jobs";
}

void TestKxXmlTool::help()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, start);

    const Run run = runTool(arguments);
    QCOMPARE(run.status, 0);
    QVERIFY(run.err.isEmpty());
    const QString text = QString::fromUtf8(run.out);
    QVERIFY2(text.startsWith(start), qPrintable(text));
    QVERIFY(text.contains(QStringLiteral("Exit status: 0 success, 1 no reply, 2 bad usage or bad input.")));
    if (arguments.size() == 1) {
        for (const char* command : {"demo", "request", "to-xml", "to-text", "archive"})
            QVERIFY(text.contains(QStringLiteral("  kxxml ") + QString::fromLatin1(command) + u' '));
    } else {
        QVERIFY(text.contains(QStringLiteral("-h, --help")));
    }

    const Run version = runTool(words("--version"));
    QCOMPARE(version.status, 0);
    QCOMPARE(version.out, QByteArray("kxxml " KXXML_VERSION "\n"));
}

void TestKxXmlTool::sameBytesTwice_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("demo") << words("demo");
    QTest::newRow("archive") << words("archive --name Memo");
    QTest::newRow("to-xml") << words("to-xml --name Letter --key 12:3 letter.txt");
}

// Qt seeds its hashes anew in every process: equal bytes from two processes mean the output
// does not depend on them.
void TestKxXmlTool::sameBytesTwice()
{
    QFETCH(QStringList, arguments);
    const Run first = runTool(arguments);
    const Run second = runTool(arguments);
    QCOMPARE(first.status, 0);
    QVERIFY(first.out.size() > 100);
    QCOMPARE(second.out, first.out);
}

QTEST_GUILESS_MAIN(TestKxXmlTool)
#include "tst_kxxmltool.moc"
