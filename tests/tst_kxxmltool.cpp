// The kxxml tool run as a process: every subcommand on the built-in sample and on the
// datasets and inputs under data/tool/, every error path with its message and exit status,
// and stable output.
#include <kxhost/kxhost.h>

#include <QDir>
#include <QDomDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryFile>
#include <QTest>

#include <cstdlib>
#include <memory>

namespace {

struct Run
{
    int status = -1;
    QByteArray out;
    QByteArray err;
};

// Runs the tool in the test data folder, so that messages name the files as given.
Run runTool(const QStringList& arguments, const QByteArray& input = QByteArray())
{
    QProcess process;
    process.setWorkingDirectory(QStringLiteral(KXXML_TOOL_DATA));
    process.start(QStringLiteral(KXXML_TOOL), arguments);
    if (!process.waitForStarted())
        return {};
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

QStringList args(const char* text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QDomElement parse(const QByteArray& text)
{
    QDomDocument document;
    if (!document.setContent(text))
        return {};
    return document.documentElement();
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
QByteArray canonical(QByteArray text, unsigned int type)
{
    const std::unique_ptr<KXPacketable> packet(PacketableUtil::getPacketable(static_cast<PACKETDATATYPES>(type)));
    if (!packet || !packet->fromPacket(text.data(), static_cast<unsigned int>(text.size()), false, true))
        return QByteArrayLiteral("(rejected)");
    unsigned int length = 0;
    char* written = packet->toPacket(length);
    const QByteArray result(written, static_cast<qsizetype>(length));
    KX_free(written);
    return result;
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
    QTest::newRow("unknown command") << args("frobnicate") << none << 2 << "unknown command 'frobnicate'";
    QTest::newRow("request without kind") << args("request") << none << 2 << "^request: missing the kind";
    QTest::newRow("unknown kind") << args("request pages") << none << 2 << "^request: unknown kind of request 'pages'";
    QTest::newRow("two kinds") << args("request jobs books") << none << 2 << "^request: unexpected argument 'books'";
    QTest::newRow("unknown option") << args("request jobs --bogus") << none << 2 << "^request: unknown option 'bogus'";
    QTest::newRow("missing value") << args("request jobs --db") << none << 2 << "^request: missing value after '--db'";
    QTest::newRow("bad key") << args("request jobs --db a:g") << none << 2 << "^request: --db 'a:g': expected KEY:HKEY";
    QTest::newRow("key too wide") << args("request jobs --db 123456789:1") << none << 2 << "--db '123456789:1'";
    QTest::newRow("both publication flags") << args("request jobs --include-publications --exclude-publications")
                                            << none << 2 << "exclude each other";
    QTest::newRow("bad type") << args("to-xml --type 1x letter.txt") << none << 2 << "^to-xml: --type '1x'";
    QTest::newRow("two inputs") << args("to-text a.xml b.xml") << none << 2 << "^to-text: unexpected argument 'b.xml'";
    QTest::newRow("archive without key or name") << args("archive") << none << 2 << "^archive: give either --key or --name";
    QTest::newRow("archive with both") << args("archive --key 12:3 --name Memo") << none << 2 << "give either";
    QTest::newRow("archive half key") << args("archive --key 0:3") << none << 2 << "^archive: --key '0:3'";
    QTest::newRow("demo argument") << args("demo now") << none << 2 << "^demo: unexpected argument 'now'";

    // Bad datasets: the file and the JSON path of the problem.
    QTest::newRow("dataset path") << args("request jobs --dataset bad-page.json") << none << 2
                                  << "^bad-page\\.json: outputs\\[0\\]\\.jobs\\[2\\]\\.page: expected an integer$";
    QTest::newRow("dataset missing") << args("demo --dataset missing.json") << none << 2 << "^missing\\.json: cannot open";
    QTest::newRow("dataset directory") << args("archive --dataset . --name x") << none << 2 << "^\\.: is a directory";
    QTest::newRow("dataset not json") << args("request jobs --dataset letter.txt") << none << 2 << "^letter\\.txt: ";

    // Bad text forms: the host's reason and line.
    QTest::newRow("text bad tag") << args("to-xml bad-tag.txt") << none << 2 << "^bad-tag\\.txt: line 3: tag 99 ";
    QTest::newRow("text bad number") << args("to-xml bad-number.txt") << none << 2 << "^bad-number\\.txt: line 4: tag 03";
    QTest::newRow("text on stdin") << args("to-xml -") << QByteArray("SI 1F\n10 x\nTL 0\n") << 2 << "^stdin: line 3";
    QTest::newRow("text no class") << args("to-xml no-class.txt") << none << 2 << "no packet class for data type 55";
    QTest::newRow("text no SI line") << args("to-xml") << QByteArray("10 Dear sir\n") << 2 << "^stdin: no SI line";
    QTest::newRow("text type forced") << args("to-xml --type 15 letter.txt") << none << 2 << "^letter\\.txt: line 1";
    QTest::newRow("text garbage") << args("to-xml --type 1f -") << QByteArray("SI 1F\n10 \xff\xfe\x01\nTI 0\n") << 2
                                  << "^stdin: line 2";
    QTest::newRow("text missing file") << args("to-xml nothing.txt") << none << 2 << "^nothing\\.txt: cannot open";
    QTest::newRow("text directory") << args("to-xml .") << none << 2 << "^\\.: is a directory";

    // Bad XML: line and column; depth and document types refused before the DOM.
    QTest::newRow("xml malformed") << args("to-text malformed.xml") << none << 2
                                   << "^malformed\\.xml: line 6, column \\d+: ";
    QTest::newRow("xml too deep") << args("to-text deep.xml") << none << 2
                                  << "^deep\\.xml: line 1, column \\d+: elements nested deeper than 259 levels$";
    QTest::newRow("xml entity bomb") << args("to-text bomb.xml") << none << 2
                                     << "^bomb\\.xml: line 7, column \\d+: document type declarations are not accepted$";
    QTest::newRow("xml external entity") << args("to-text --check external-entity.xml") << none << 2
                                         << "document type declarations are not accepted";
    QTest::newRow("xml undeclared entity") << args("to-text undeclared-entity.xml") << none << 2
                                           << "^undeclared-entity\\.xml: line 2, column \\d+: ";
    QTest::newRow("xml not a packetable") << args("to-text not-packetable.xml") << none << 2
                                          << "line 1, column \\d+: expected a 'packetable' element, found 'kxxml'";
    QTest::newRow("xml no item") << args("to-text empty-packetable.xml") << none << 2 << "holds no item";
    QTest::newRow("xml rejected by host") << args("to-text --check rejected.xml") << none << 2
                                          << "^rejected\\.xml: the host rejects the text form: line \\d+: tag 0?3";
    QTest::newRow("xml empty") << args("to-text") << none << 2 << "^stdin: line 1, column 0: ";
    QTest::newRow("xml binary") << args("to-text -") << QByteArray("\x00\x01\x02<\xff>", 6) << 2 << "^stdin: line 1";

    // Archive entries that are not there.
    QTest::newRow("archive no key") << args("archive --key 99:9") << none << 2 << "no archive entry with key 99:9$";
    QTest::newRow("archive no name") << args("archive --dataset small.json --name Letter") << none << 2
                                     << "^small\\.json: no archive entry named 'Letter'$";

    // No reply: status 1.
    QTest::newRow("no reply outputs") << args("request outputs --dataset failing.json") << none << 1
                                      << "^failing\\.json: no reply to the outputs request$";
    QTest::newRow("no reply publications") << args("request publications --db e:1 --dataset failing.json") << none
                                           << 1 << "no reply to the publications request";
    QTest::newRow("no books in database") << args("request books --db b:2") << none << 1 << "no reply";
    QTest::newRow("no books, paged") << args("request books --db b:2 --page-size 2") << none << 1 << "no reply";
    QTest::newRow("page size zero") << args("request jobs --page-size 0") << none << 2
                                    << "^request: --page-size '0': expected a positive integer";
    QTest::newRow("page size text") << args("request jobs --page-size 2x") << none << 2 << "--page-size '2x'";
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
    const Run run = runTool(args("to-xml"), QByteArray(64 * 1024 * 1024 + 1, 'x'));
    QCOMPARE(run.status, 2);
    QVERIFY(run.out.isEmpty());
    QCOMPARE(run.err, QByteArray("kxxml: stdin: larger than 64 MiB\n"));
}

void TestKxXmlTool::requests_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("names");

    QTest::newRow("outputs") << args("request outputs") << args("North South");
    QTest::newRow("books") << args("request books") << args("Atlas Almanac");
    QTest::newRow("books of one database") << args("request books --db b:1") << args("Atlas Almanac");
    // One job per publication, named after it, in ascending publication number.
    QTest::newRow("publications") << args("request publications")
                                  << QStringList{QStringLiteral("Evening Star"), QStringLiteral("Morning Post")};
    QTest::newRow("publications of one database") << args("request publications --db a:1")
                                                  << QStringList{QStringLiteral("Morning Post")};
    // Jobs of publications are left out unless asked for; queue 5 is never listed.
    QTest::newRow("jobs") << args("request jobs") << args("Flyer Poster");
    QTest::newRow("jobs excluding") << args("request jobs --exclude-publications") << args("Flyer Poster");
    QTest::newRow("jobs including") << args("request jobs --include-publications")
                                    << QStringList{QStringLiteral("Front"), QStringLiteral("Sport"),
                                                   QStringLiteral("Weather"), QStringLiteral("Flyer"),
                                                   QStringLiteral("Evening Cover"), QStringLiteral("Evening Inside"),
                                                   QStringLiteral("Poster")};
    QTest::newRow("jobs of two databases in key order") << args("request jobs --db a:2 --db a:1")
                                                        << args("Poster Flyer");
    QTest::newRow("jobs of a book database: empty reply") << args("request jobs --db b:1") << QStringList();
    QTest::newRow("dataset file") << args("request jobs --dataset small.json --include-publications")
                                  << args("Cover Inside Leaflet");
    QTest::newRow("dataset publications") << args("request publications --dataset small.json")
                                          << args("Daily");
}

void TestKxXmlTool::requests()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, names);

    const Run run = runTool(arguments);
    QCOMPARE(run.status, 0);
    QVERIFY(run.err.isEmpty());
    const QDomElement packet = parse(run.out);
    QCOMPARE(packet.tagName(), QStringLiteral("kxxml"));
    QCOMPARE(child(child(packet, "header"), "src").attribute(QStringLiteral("agent_id")), QStringLiteral("-1"));
    QCOMPARE(child(child(packet, "header"), "dst").attribute(QStringLiteral("agent_id")), QStringLiteral("1"));
    QCOMPARE(replyNames(packet), names);
}

void TestKxXmlTool::pagedRequest()
{
    const Run run = runTool(args("request jobs --include-publications --page-size 3"));
    QCOMPARE(run.status, 0);
    QVERIFY(run.err.isEmpty());
    QStringList names;
    QByteArray text;
    int page = 0;
    // Each page is a complete packet: split the output where a new "kxxml" element starts.
    for (const QByteArray& piece : run.out.split('\n')) {
        if (piece.startsWith("<kxxml") && !text.isEmpty()) {
            const QDomElement packet = parse(text);
            const QDomElement mark = child(child(packet, "header"), "page");
            QCOMPARE(mark.attribute(QStringLiteral("number")).toInt(), ++page);
            QCOMPARE(mark.attribute(QStringLiteral("more")), QStringLiteral("1"));
            names += replyNames(packet);
            text.clear();
        }
        text += piece + '\n';
    }
    const QDomElement last = parse(text);
    QCOMPARE(child(child(last, "header"), "page").attribute(QStringLiteral("more")), QStringLiteral("0"));
    names += replyNames(last);
    QCOMPARE(page, 2);
    QCOMPARE(names, replyNames(parse(runTool(args("request jobs --include-publications")).out)));
}

void TestKxXmlTool::toXml_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("datatype");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("firstValue");

    QTest::newRow("letter") << args("to-xml letter.txt") << QByteArray() << "1f" << "" << "0:0" << "Dear sir";
    QTest::newRow("named and keyed") << args("to-xml --name Letter --key 12:3 letter.txt") << QByteArray() << "1f"
                                     << "Letter" << "12:3" << "Dear sir";
    QTest::newRow("job") << args("to-xml --key ABC:1 job.txt") << QByteArray() << "15" << "" << "abc:1" << "Front";
    QTest::newRow("stdin") << args("to-xml -") << QByteArray("SI 5\n01 News\n02 1\nTI 0\n") << "5" << "" << "0:0"
                           << "News";
    QTest::newRow("type given, lower-case class") << args("to-xml --type 1F") << QByteArray("SI 1f\n10 hello\nTI 0\n")
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
    const QDomElement root = parse(run.out);
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
    const Run text = runTool(args("to-text --check -"), xml.out);
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
    const Run run = runTool(args("to-text --check -"), xml);
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
        << args("archive --key 12:3") << "Letter" << "_11" << "Front" << "_5" << "North";
    QTest::newRow("by name, reference by name to a key-less profile")
        << args("archive --name Memo") << "Memo" << "_1b" << "Uncoated" << "" << "";
    QTest::newRow("memo, reference by key to the letter")
        << args("archive --name Memo") << "Memo" << "_11" << "Letter" << "_11" << "Front";
    QTest::newRow("dataset file by name")
        << args("archive --dataset small.json --name Note") << "Note" << "_1b" << "Matte" << "" << "";
    QTest::newRow("dataset file by key")
        << args("archive --dataset small.json --key 40:1") << "Note" << "_11" << "Cover" << "" << "";
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
    const QDomElement root = parse(run.out);
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
    const Run run = runTool(args("archive --name Memo --references"));
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
    const QDomElement letter = parse(run.out.mid(run.out.indexOf('\n') + 1, second - run.out.indexOf('\n') - 1));
    QCOMPARE(letter.attribute(QStringLiteral("name")), QStringLiteral("Letter"));
    const QDomElement profile = parse(run.out.mid(run.out.indexOf('\n', second) + 1));
    QCOMPARE(profile.attribute(QStringLiteral("name")), QStringLiteral("Uncoated"));
    // The profile's data was loaded from the dataset's server.
    QCOMPARE(child(child(profile, "item"), "_2").text(), QStringLiteral("01020304"));
}

void TestKxXmlTool::demo_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("replies");
    QTest::newRow("built-in sample") << args("demo") << 4;
    QTest::newRow("failing queries") << args("demo --dataset failing.json") << 1; // jobs always answer
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
    const QDomElement ui = parse(text.mid(uiStart, text.indexOf(QStringLiteral("</ui>")) + 5 - uiStart).toUtf8());
    QCOMPARE(ui.elementsByTagName(QStringLiteral("action")).size(), 4);
    QVERIFY(text.contains(QStringLiteral("visible actions: 3 of 4\n")));

    // The exclusive group: only the last toggled action stays checked.
    QVERIFY(text.contains(QStringLiteral("[ ] outputs\n[x] publications\n[ ] books\n[ ] jobs\n")));
    QVERIFY(text.contains(QStringLiteral("[ ] outputs\n[ ] publications\n[ ] books\n[x] jobs\n")));
    const QDomElement checked = parse(text.mid(text.lastIndexOf(QStringLiteral("<action "))).toUtf8());
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
    QTest::newRow("request") << args("request jobs --include-publications") << QStringList(added) + request(1003) + removed;
    QTest::newRow("demo") << args("demo")
                          << QStringList(added) + request(1000) + request(1001) + request(1002) + request(1003) + removed;
}

// The trace is on standard error, one line per router event, and standard output is as without it.
void TestKxXmlTool::trace()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, events);

    const Run plain = runTool(arguments);
    const Run traced = runTool(arguments + args("--trace"));
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
    QTest::newRow("tool") << args("--help") << "Usage: kxxml <command>";
    QTest::newRow("demo") << args("demo --help") << "Usage: kxxml demo [--dataset FILE]";
    QTest::newRow("request") << args("request -h") << "Usage: kxxml request outputs|publications|books|jobs";
    QTest::newRow("to-xml") << args("to-xml --help") << "Usage: kxxml to-xml [--type HEX]";
    QTest::newRow("to-text") << args("to-text --help") << "Usage: kxxml to-text [--check]";
    QTest::newRow("archive") << args("archive --help") << "Usage: kxxml archive [--dataset FILE] (--key";
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

    const Run version = runTool(args("--version"));
    QCOMPARE(version.status, 0);
    QCOMPARE(version.out, QByteArray("kxxml " KXXML_VERSION "\n"));
}

void TestKxXmlTool::sameBytesTwice_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("demo") << args("demo");
    QTest::newRow("jobs") << args("request jobs --include-publications");
    QTest::newRow("archive") << args("archive --name Memo");
    QTest::newRow("to-xml") << args("to-xml --name Letter --key 12:3 letter.txt");
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
