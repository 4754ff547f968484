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
    void requests_data();
    void requests();
    void toXml_data();
    void toXml();
    void xmlBlanksAreNormalised();
    void archive();
    void demo_data();
    void demo();
    void trace_data();
    void trace();
    void help_data();
    void help();
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
    QTest::newRow("bad key") << words("request jobs --db a:g") << none << 2 << "^request: --db 'a:g': expected KEY:HKEY";
    QTest::newRow("both publication flags") << words("request jobs --include-publications --exclude-publications")
                                            << none << 2 << "exclude each other";
    QTest::newRow("signed type") << words("to-xml --type +1f letter.txt") << none << 2 << "^to-xml: --type '\\+1f'";
    QTest::newRow("two inputs") << words("to-text a.xml b.xml") << none << 2 << "^to-text: unexpected argument 'b.xml'";
    QTest::newRow("archive without key or name") << words("archive") << none << 2 << "^archive: give either --key or --name";
    QTest::newRow("archive half key") << words("archive --key 0:3") << none << 2 << "^archive: --key '0:3'";
    QTest::newRow("demo argument") << words("demo now") << none << 2 << "^demo: unexpected argument 'now'";

    // Bad datasets: the file and the JSON path of the problem.
    QTest::newRow("dataset path") << words("request jobs --dataset bad-page.json") << none << 2
                                  << "^bad-page\\.json: outputs\\[0\\]\\.jobs\\[2\\]\\.page: expected an integer$";
    QTest::newRow("dataset missing") << words("demo --dataset missing.json") << none << 2 << "^missing\\.json: cannot open";
    QTest::newRow("dataset directory") << words("archive --dataset . --name x") << none << 2 << "^\\.: is a directory";

    // Bad text forms: the host's reason and line.
    QTest::newRow("text bad tag") << words("to-xml bad-tag.txt") << none << 2 << "^bad-tag\\.txt: line 3: tag 99 ";
    QTest::newRow("text no class") << words("to-xml no-class.txt") << none << 2 << "no packet class for data type 55";
    QTest::newRow("text no SI line") << words("to-xml") << QByteArray("10 Dear sir\n") << 2 << "^stdin: no SI line";
    QTest::newRow("text over 64 MiB") << words("to-xml") << QByteArray(64 * 1024 * 1024 + 1, 'x') << 2
                                      << "^stdin: larger than 64 MiB$";

    // Bad XML: line and column; depth and document types refused before the DOM. deep.xml's
    // 260th element, one more than the limit, ends at column 3911.
    QTest::newRow("xml malformed") << words("to-text malformed.xml") << none << 2
                                   << "^malformed\\.xml: line 6, column \\d+: ";
    QTest::newRow("xml too deep") << words("to-text deep.xml") << none << 2
                                  << "^deep\\.xml: line 1, column 3911: elements nested deeper than 259 levels$";
    QTest::newRow("xml entity bomb") << words("to-text bomb.xml") << none << 2
                                     << "^bomb\\.xml: line 7, column \\d+: document type declarations are not accepted$";
    QTest::newRow("xml undeclared entity") << words("to-text undeclared-entity.xml") << none << 2
                                           << "^undeclared-entity\\.xml: line 2, column \\d+: ";
    QTest::newRow("xml not a packetable") << words("to-text not-packetable.xml") << none << 2
                                          << "line 1, column \\d+: expected a 'packetable' element, found 'kxxml'";
    QTest::newRow("xml no item") << words("to-text empty-packetable.xml") << none << 2 << "holds no item";
    QTest::newRow("xml rejected by host") << words("to-text --check rejected.xml") << none << 2
                                          << "^rejected\\.xml: the host rejects the text form: line \\d+: tag 0?3";

    // Archive entries that are not there.
    QTest::newRow("archive no key") << words("archive --key 99:9") << none << 2 << "no archive entry with key 99:9$";
    QTest::newRow("archive no name") << words("archive --dataset small.json --name Letter") << none << 2
                                     << "^small\\.json: no archive entry named 'Letter'$";

    // No reply: status 1.
    QTest::newRow("no reply outputs") << words("request outputs --dataset failing.json") << none << 1
                                      << "^failing\\.json: no reply to the outputs request$";
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

void TestKxXmlTool::requests_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("packets");
    QTest::addColumn<QStringList>("names");

    QTest::newRow("outputs") << words("request outputs") << 1 << words("North South");
    // Jobs of publications are left out unless asked for; queue 5 is never listed.
    QTest::newRow("jobs") << words("request jobs") << 1 << words("Flyer Poster");
    QTest::newRow("jobs excluding") << words("request jobs --exclude-publications") << 1 << words("Flyer Poster");
    const QStringList all{QStringLiteral("Front"), QStringLiteral("Sport"), QStringLiteral("Weather"),
                          QStringLiteral("Flyer"), QStringLiteral("Evening Cover"), QStringLiteral("Evening Inside"),
                          QStringLiteral("Poster")};
    QTest::newRow("jobs including") << words("request jobs --include-publications") << 1 << all;
    // Every page is printed as the packet it is, one after the other. (The pages themselves:
    // tst_hostcalls.)
    QTest::newRow("jobs including, in pages") << words("request jobs --include-publications --page-size 3") << 3 << all;
    QTest::newRow("jobs of two databases in key order") << words("request jobs --db a:2 --db a:1") << 1
                                                        << words("Poster Flyer");
}

void TestKxXmlTool::requests()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, packets);
    QFETCH(QStringList, names);

    const Run run = runTool(arguments);
    QCOMPARE(run.err, QByteArray()); // a failure says why (its status: errors); a crash prints nothing
    const QStringList texts = QString::fromUtf8(run.out).split(QStringLiteral("<kxxml "), Qt::SkipEmptyParts);
    QCOMPARE(texts.size(), packets);
    QStringList seen;
    for (const QString& text : texts) {
        const QDomElement packet = parseElement(QStringLiteral("<kxxml ").append(text).toUtf8());
        QCOMPARE(child(child(packet, "header"), "src").attribute(QStringLiteral("agent_id")), QStringLiteral("-1"));
        QCOMPARE(child(child(packet, "header"), "dst").attribute(QStringLiteral("agent_id")), QStringLiteral("1"));
        for (QDomElement p = child(child(packet, "body"), "packetable"); !p.isNull();
             p = p.nextSiblingElement(QStringLiteral("packetable")))
            seen << p.attribute(QStringLiteral("name"));
    }
    QCOMPARE(seen, names);
}

void TestKxXmlTool::toXml_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("input"); // standard input; when empty, the file named last
    QTest::addColumn<QString>("datatype");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("key");

    QTest::newRow("letter with list, named and keyed") << words("to-xml --name Letter --key 12:3 letter.txt")
                                                       << QByteArray() << "1f" << "Letter" << "12:3";
    QTest::newRow("job with arrays") << words("to-xml --key ABC:1 job.txt") << QByteArray() << "15" << "" << "abc:1";
    QTest::newRow("stdin, type given, lower-case class") << words("to-xml --type 1F") << QByteArray("SI 1f\n10 hello\nTI 0\n")
                                                         << "1f" << "" << "0:0";
}

// The packetable carries the options; to-text --check then gives the same packet back, as
// the host reads it.
void TestKxXmlTool::toXml()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, input);
    QFETCH(QString, datatype);
    QFETCH(QString, name);
    QFETCH(QString, key);

    const Run run = runTool(arguments, input);
    QCOMPARE(run.err, QByteArray());
    const QDomElement root = parseElement(run.out);
    QCOMPARE(root.attribute(QStringLiteral("datatype")), datatype);
    QCOMPARE(root.attribute(QStringLiteral("name")), name);
    QCOMPARE(root.attribute(QStringLiteral("key")) + u':' + root.attribute(QStringLiteral("hkey")), key);

    const Run text = runTool(words("to-text --check -"), run.out); // on failure, no output: "(rejected)"
    QFile file(QStringLiteral(KXXML_TOOL_DATA "/") + arguments.constLast());
    const QByteArray original = input.isEmpty() && file.open(QIODevice::ReadOnly) ? file.readAll() : input;
    const QByteArray expected = canonical(original, datatype.toUInt(nullptr, 16));
    QVERIFY(expected != "(rejected)");
    QCOMPARE(canonical(text.out, datatype.toUInt(nullptr, 16)), expected);
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

// An archive entry by key or by name, with the packets it refers to inlined: a reference by
// key, and one by name to a key-less profile (deeper: tst_xpkreference). With --references,
// each packet referred to instead, after a heading, and nothing else.
void TestKxXmlTool::archive()
{
    const QDomElement letter = parseElement(runTool(words("archive --key 12:3")).out);
    QCOMPARE(letter.attribute(QStringLiteral("name")), QStringLiteral("Letter"));
    QCOMPARE(child(child(child(letter, "item"), "_11"), "packetable").attribute(QStringLiteral("name")),
             QStringLiteral("Front"));
    const QDomElement memo = parseElement(runTool(words("archive --name Memo")).out);
    QCOMPARE(memo.attribute(QStringLiteral("name")), QStringLiteral("Memo"));
    QCOMPARE(child(child(child(memo, "item"), "_1b"), "packetable").attribute(QStringLiteral("name")),
             QStringLiteral("Uncoated"));

    const Run run = runTool(words("archive --key 13:3 --references")); // Memo
    QCOMPARE(run.status, 0);
    const QByteArray byKey("-- reference by key 12:3 --\n");
    const QByteArray byName("-- reference by name Uncoated --\n");
    const qsizetype second = run.out.indexOf(byName);
    QVERIFY2(run.out.startsWith(byKey) && second > 0, run.out.constData());
    const QDomElement first = parseElement(run.out.mid(byKey.size(), second - byKey.size()));
    QCOMPARE(first.attribute(QStringLiteral("name")), QStringLiteral("Letter"));
    const QDomElement profile = parseElement(run.out.mid(second + byName.size()));
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
    QCOMPARE(run.err, QByteArray());
    // Which requests it sends, in which order: the trace's demo row.
    const QString text = QString::fromUtf8(run.out);
    QCOMPARE(text.count(QStringLiteral("<kxxml ")), replies);
    QCOMPARE(text.count(QStringLiteral("(no reply)")), 4 - replies);

    // The UI collection holds the four actions, books hidden; the last step prints the checked one.
    QCOMPARE(text.count(QStringLiteral("<action ")), 4 + 1);
    QVERIFY(text.contains(QStringLiteral("visible actions: 3 of 4\n")));

    // The exclusive group: only the last toggled action stays checked.
    QVERIFY(text.contains(QStringLiteral("[ ] outputs\n[x] publications\n[ ] books\n[ ] jobs\n")));
    QVERIFY(text.contains(QStringLiteral("[ ] outputs\n[ ] publications\n[ ] books\n[x] jobs\n")));
    const QDomElement checked = parseElement(text.mid(text.lastIndexOf(QStringLiteral("<action "))).toUtf8());
    QCOMPARE(checked.attribute(QStringLiteral("type")), QStringLiteral("1003")); // (its XML: tst_xmlaction)
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

// The trace is on standard error, one line per router event, and standard output is as without
// it, byte for byte. Qt seeds its hashes anew in every process, so equal bytes from the two
// processes also mean that the output does not depend on them.
void TestKxXmlTool::trace()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, events);

    const Run plain = runTool(arguments);
    const Run traced = runTool(arguments + words("--trace"));
    QCOMPARE(traced.out, plain.out); // (quiet without --trace: the request and demo tests)

    // The router logger's lines (their fields: tst_xmlrouterobserver), numbered from 1, each ended.
    QStringList expected;
    for (const QString& event : events)
        expected << QStringLiteral("kxxml: trace: %1 %2").arg(expected.size() + 1).arg(event);
    const QRegularExpression size(QStringLiteral(" size=\\d+$"), QRegularExpression::MultilineOption);
    QCOMPARE(QString::fromUtf8(traced.err).remove(size).split(u'\n'), expected << QString());
    if (arguments.constFirst() == QLatin1String("request")) // the reply, printed as it is (ASCII)
        QVERIFY(QString::fromUtf8(traced.err).contains(QStringLiteral(" dst=1 size=%1\n").arg(plain.out.size())));
}

void TestKxXmlTool::help_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("expected"); // a regular expression for the whole output
    const QString status = QStringLiteral("(.*\n)*Exit status: 0 success, 1 no reply, 2 bad usage or bad input\\.\n$");
    QTest::newRow("tool") << words("--help")
                          << QStringLiteral("^Usage: kxxml <command> .*\n(.*\n)*  kxxml demo (.*\n)*  kxxml request (.*\n)*"
                                            "  kxxml to-xml (.*\n)*  kxxml to-text (.*\n)*  kxxml archive .*\n") + status;
    QTest::newRow("request") << words("request -h")
                             << QStringLiteral("^Usage: kxxml request outputs\\|publications\\|books\\|jobs (.*\n)*"
                                               "  -h, --help .*\n") + status;
    QTest::newRow("version") << words("--version")
                             << QStringLiteral("^kxxml %1\n$").arg(QRegularExpression::escape(QStringLiteral(KXXML_VERSION)));
}

void TestKxXmlTool::help()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, expected);

    const Run run = runTool(arguments);
    QCOMPARE(run.err, QByteArray());
    QVERIFY2(QRegularExpression(expected).match(QString::fromUtf8(run.out)).hasMatch(), run.out.constData());
}

QTEST_GUILESS_MAIN(TestKxXmlTool)
#include "tst_kxxmltool.moc"
