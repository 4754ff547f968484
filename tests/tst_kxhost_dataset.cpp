// The dataset loader: every kind of invalid dataset is refused with one message that names
// the JSON path and the problem, and what a refused dataset had read is freed.

#include "hosttesthelpers.h"

#include <QTest>

using namespace hosttest;

namespace {

// A valid dataset with @p members added after the connection.
QByteArray dataset(const QByteArray& members)
{
    QByteArray text = R"({"format": "kxhost-dataset/1", "connection": {"host": "h.example", "port": 7})";
    if (!members.isEmpty())
        text += ", " + members;
    return text + '}';
}

QByteArray output(const QByteArray& jobs)
{
    return R"("outputs": [{"name": "North", "key": "a:1", "id": 1, "jobs": [)" + jobs + "]}]";
}

QByteArray archive(const QByteArray& entries)
{
    return R"("archive": [)" + entries + ']';
}

const char goodJob[] = R"({"name": "Front", "page": 1, "key": "100:1"})";

} // namespace

class TestKxHostDataset : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void loads_data();
    void loads();
    void syntaxError();
};

void TestKxHostDataset::loads_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("message"); // empty: accepted

    QTest::newRow("minimal") << dataset(QByteArray()) << QByteArray();
    QTest::newRow("line breaks and tabs in archive text") << dataset(archive(R"({"type": "1f", "text": "SI 1F\n10 a\tb\nTI 0\n"})")) << QByteArray();
    QTest::newRow("two packets referring to a third")
        << dataset(archive(R"({"type": "1f", "name": "A", "text": "SI 1F\n1B C\nTI 0\n"}, {"type": "1f", "name": "B", "text": "SI 1F\n1B C\nTI 0\n"},
                              {"type": "1f", "name": "C", "text": "SI 1F\nTI 0\n"})")) << QByteArray();
    QTest::newRow("extreme values")
        << dataset(output(R"({"name": "", "page": -32768, "key": "ffffffff:FFFFFFFF", "queue": -2147483648,
                             "publication": {"name": "P", "number": 2147483647}, "colours": [0, 255]})")) << QByteArray();

    // top level and connection
    QTest::newRow("not an object") << QByteArray("[]") << QByteArray("expected a JSON object at the top level");
    QTest::newRow("format missing") << QByteArray(R"({"connection": {"host": "h", "port": 1}})") << QByteArray("format: missing");
    QTest::newRow("other format") << QByteArray(R"({"format": "kxhost-dataset/2"})") << QByteArray("format: expected \"kxhost-dataset/1\"");
    QTest::newRow("control character in a member name") << dataset(R"("\u0001": 1)") << QByteArray("\\u0001: unknown member");
    QTest::newRow("connection missing") << QByteArray(R"({"format": "kxhost-dataset/1"})") << QByteArray("connection: missing");
    QTest::newRow("connection not an object") << QByteArray(R"({"format": "kxhost-dataset/1", "connection": "h:1"})") << QByteArray("connection: expected an object");
    QTest::newRow("connection member unknown") << QByteArray(R"({"format": "kxhost-dataset/1", "connection": {"host": "h", "port": 1, "user": "x"}})") << QByteArray("connection.user: unknown member");
    QTest::newRow("host missing") << QByteArray(R"({"format": "kxhost-dataset/1", "connection": {"port": 1}})") << QByteArray("connection.host: missing");
    QTest::newRow("host empty") << QByteArray(R"({"format": "kxhost-dataset/1", "connection": {"host": "", "port": 1}})") << QByteArray("connection.host: expected a host name");
    QTest::newRow("port a fraction") << QByteArray(R"({"format": "kxhost-dataset/1", "connection": {"host": "h", "port": 1.5}})") << QByteArray("connection.port: expected an integer");
    QTest::newRow("port too big") << QByteArray(R"({"format": "kxhost-dataset/1", "connection": {"host": "h", "port": 65536}})") << QByteArray("connection.port: expected an integer from 1 to 65535");
    QTest::newRow("port zero") << QByteArray(R"({"format": "kxhost-dataset/1", "connection": {"host": "h", "port": 0}})") << QByteArray("connection.port: expected an integer from 1 to 65535");
    QTest::newRow("failing queries not a list") << dataset(R"("failingQueries": "outputs")") << QByteArray("failingQueries: expected an array");
    QTest::newRow("failing query unknown") << dataset(R"("failingQueries": ["outputs", "jobs"])") << QByteArray("failingQueries[1]: expected \"outputs\" or \"books\"");

    // databases
    QTest::newRow("outputs not a list") << dataset(R"("outputs": {})") << QByteArray("outputs: expected an array");
    QTest::newRow("output name missing") << dataset(R"("outputs": [{"key": "a:1", "id": 1}])") << QByteArray("outputs[0].name: missing");
    QTest::newRow("output key missing") << dataset(R"("outputs": [{"name": "N", "id": 1}])") << QByteArray("outputs[0].key: missing");
    QTest::newRow("key without colon") << dataset(R"("outputs": [{"name": "N", "key": "a1", "id": 1}])") << QByteArray("outputs[0].key: expected a key \"<key>:<hkey>\" in hexadecimal");
    QTest::newRow("key not hex") << dataset(R"("outputs": [{"name": "N", "key": "g:1", "id": 1}])") << QByteArray("outputs[0].key: expected a key \"<key>:<hkey>\" in hexadecimal");
    QTest::newRow("key beyond 32 bits") << dataset(R"("outputs": [{"name": "N", "key": "123456789:1", "id": 1}])") << QByteArray("outputs[0].key: expected a key \"<key>:<hkey>\" in hexadecimal");
    QTest::newRow("id zero") << dataset(R"("outputs": [{"name": "N", "key": "a:1", "id": 0}])") << QByteArray("outputs[0].id: expected an integer from 1 to 2147483647");
    QTest::newRow("id missing") << dataset(R"("outputs": [{"name": "N", "key": "a:1"}])") << QByteArray("outputs[0].id: missing");
    QTest::newRow("database key used twice")
        << dataset(R"("outputs": [{"name": "N", "key": "a:1", "id": 1}], "books": [{"name": "B", "key": "A:1", "id": 2}])")
        << QByteArray("books[0].key: key a:1 is already used by outputs[0]");
    QTest::newRow("database id used twice")
        << dataset(R"("outputs": [{"name": "N", "key": "a:1", "id": 1}, {"name": "S", "key": "a:2", "id": 1}])")
        << QByteArray("outputs[1].id: id 1 is already used by outputs[0]");
    QTest::newRow("books in an output database") << dataset(R"("outputs": [{"name": "N", "key": "a:1", "id": 1, "books": []}])") << QByteArray("outputs[0].books: unknown member");
    QTest::newRow("jobs in a book database") << dataset(R"("books": [{"name": "B", "key": "b:1", "id": 1, "jobs": []}])") << QByteArray("books[0].jobs: unknown member");
    QTest::newRow("jobs not a list") << dataset(R"("outputs": [{"name": "N", "key": "a:1", "id": 1, "jobs": {}}])") << QByteArray("outputs[0].jobs: expected an array");

    // jobs
    // The second job fails in its history, after a whole first job and its own comments and
    // sections were read: what was read is freed (the sanitizer build reports a leak if not).
    QTest::newRow("second job refused late")
        << dataset(output(QByteArray(goodJob) + R"(, {"name": "Bad", "page": 1, "key": "2:1", "comments": ["a"],
                             "sections": [{"title": "s", "firstPage": 1, "pages": 1}], "history": [{"title": "h", "firstPage": "x", "pages": 1}]})"))
        << QByteArray("outputs[0].jobs[1].history[0].firstPage: expected an integer");
    QTest::newRow("page too big") << dataset(output(R"({"name": "x", "page": 32768, "key": "1:1"})")) << QByteArray("outputs[0].jobs[0].page: expected an integer from -32768 to 32767");
    QTest::newRow("page missing") << dataset(output(R"({"name": "x", "key": "1:1"})")) << QByteArray("outputs[0].jobs[0].page: missing");
    QTest::newRow("job key missing") << dataset(output(R"({"name": "x", "page": 1})")) << QByteArray("outputs[0].jobs[0].key: missing");
    QTest::newRow("job name null") << dataset(output(R"({"name": null, "page": 1, "key": "1:1"})")) << QByteArray("outputs[0].jobs[0].name: expected a string");
    QTest::newRow("job member unknown") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "colour": [1]})")) << QByteArray("outputs[0].jobs[0].colour: unknown member");
    QTest::newRow("queue a string") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "queue": "3"})")) << QByteArray("outputs[0].jobs[0].queue: expected an integer");
    QTest::newRow("publication not an object") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "publication": "P"})")) << QByteArray("outputs[0].jobs[0].publication: expected an object");
    QTest::newRow("publication number missing") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "publication": {"name": "P"}})")) << QByteArray("outputs[0].jobs[0].publication.number: missing");
    QTest::newRow("publication number negative") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "publication": {"name": "P", "number": -1}})")) << QByteArray("outputs[0].jobs[0].publication.number: expected an integer from 0 to 2147483647");
    QTest::newRow("publication member unknown") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "publication": {"name": "P", "number": 1, "date": 1}})")) << QByteArray("outputs[0].jobs[0].publication.date: unknown member");
    QTest::newRow("colour too big") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "colours": [1, 256]})")) << QByteArray("outputs[0].jobs[0].colours[1]: expected an integer from 0 to 255");
    QTest::newRow("colours not a list") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "colours": 1})")) << QByteArray("outputs[0].jobs[0].colours: expected an array");
    QTest::newRow("comment a number") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "comments": ["a", 1]})")) << QByteArray("outputs[0].jobs[0].comments[1]: expected a string");
    QTest::newRow("comment with a line break") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "comments": ["a\nb"]})")) << QByteArray("outputs[0].jobs[0].comments[0]: line breaks are not allowed here");
    QTest::newRow("comment with a carriage return") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "comments": ["a\rb"]})")) << QByteArray("outputs[0].jobs[0].comments[0]: line breaks are not allowed here");
    QTest::newRow("NUL in a profile name") << dataset(output(R"({"name": "a", "page": 1, "key": "1:1", "profile": "\u0000"})")) << QByteArray("outputs[0].jobs[0].profile: control character U+0000 is not allowed");
    QTest::newRow("section title missing") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "sections": [{"firstPage": 1, "pages": 1}]})")) << QByteArray("outputs[0].jobs[0].sections[0].title: missing");
    QTest::newRow("history pages too big") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "history": [{"title": "v", "firstPage": 1, "pages": 40000}]})")) << QByteArray("outputs[0].jobs[0].history[0].pages: expected an integer from -32768 to 32767");
    QTest::newRow("section member unknown") << dataset(output(R"({"name": "x", "page": 1, "key": "1:1", "sections": [{"title": "v", "firstPage": 1, "pages": 1, "notes": []}]})")) << QByteArray("outputs[0].jobs[0].sections[0].notes: unknown member");

    // books and profiles
    QTest::newRow("book page negative") << dataset(R"("books": [{"name": "B", "key": "b:1", "id": 1, "books": [{"name": "A", "pages": [-1]}]}])") << QByteArray("books[0].books[0].pages[0]: expected an integer from 0 to 4294967295");
    QTest::newRow("book profile a number") << dataset(R"("books": [{"name": "B", "key": "b:1", "id": 1, "books": [{"name": "A", "profile": 1}]}])") << QByteArray("books[0].books[0].profile: expected a string");
    QTest::newRow("book name missing") << dataset(R"("books": [{"name": "B", "key": "b:1", "id": 1, "books": [{}]}])") << QByteArray("books[0].books[0].name: missing");
    QTest::newRow("book member unknown") << dataset(R"("books": [{"name": "B", "key": "b:1", "id": 1, "books": [{"name": "A", "key": "1:1"}]}])") << QByteArray("books[0].books[0].key: unknown member");
    QTest::newRow("profile data odd") << dataset(R"("profiles": [{"name": "C", "data": "0A0"}])") << QByteArray("profiles[0].data: expected pairs of hexadecimal digits");
    QTest::newRow("profile data not hex") << dataset(R"("profiles": [{"name": "C", "data": "0z"}])") << QByteArray("profiles[0].data: expected pairs of hexadecimal digits");
    QTest::newRow("profile data missing") << dataset(R"("profiles": [{"name": "C"}])") << QByteArray("profiles[0].data: missing");
    QTest::newRow("profile defined twice") << dataset(R"("profiles": [{"name": "C", "data": ""}, {"name": "C", "data": "00"}])") << QByteArray("profiles[1].name: profile \"C\" is already defined by profiles[0]");

    // archive
    QTest::newRow("archive not a list") << dataset(R"("archive": {})") << QByteArray("archive: expected an array");
    QTest::newRow("archive type missing") << dataset(archive(R"({"text": "SI 1F\nTI 0\n"})")) << QByteArray("archive[0].type: missing");
    QTest::newRow("archive type not hex") << dataset(archive(R"({"type": "letter", "text": "SI 1F\nTI 0\n"})")) << QByteArray("archive[0].type: expected a data type in hexadecimal");
    QTest::newRow("archive type without a class") << dataset(archive(R"({"type": "55", "text": "SI 55\nTI 0\n"})")) << QByteArray("archive[0].type: data type 55 has no packet class");
    QTest::newRow("archive text missing") << dataset(archive(R"({"type": "1f", "name": "A"})")) << QByteArray("archive[0].text: missing");
    QTest::newRow("archive text for opaque data") << dataset(archive(R"({"type": "6", "text": ""})")) << QByteArray("archive[0].text: data type 6 has no text form");
    QTest::newRow("archive text refused by the parser")
        << dataset(archive(R"({"type": "1f", "text": "SI 1F\nTI 0\n", "children": [{"type": "1f", "text": "SI 1F\n7F x\nTI 0\n"}]})"))
        << QByteArray("archive[0].children[0].text: line 2: tag 7F is not in the table of class 1F");
    QTest::newRow("control character in archive text") << dataset(archive(R"({"type": "1f", "text": "SI 1F\n10 \u0007\nTI 0\n"})")) << QByteArray("archive[0].text: control character U+0007 is not allowed");
    QTest::newRow("archive name with a line break") << dataset(archive(R"({"type": "1f", "name": "A\nB", "text": "SI 1F\nTI 0\n"})")) << QByteArray("archive[0].name: line breaks are not allowed here");
    QTest::newRow("archive key bad") << dataset(archive(R"({"type": "1f", "key": "12", "text": "SI 1F\nTI 0\n"})")) << QByteArray("archive[0].key: expected a key \"<key>:<hkey>\" in hexadecimal");
    QTest::newRow("archive member unknown") << dataset(archive(R"({"type": "1f", "title": "A", "text": "SI 1F\nTI 0\n"})")) << QByteArray("archive[0].title: unknown member");
    QTest::newRow("archive children not a list") << dataset(archive(R"({"type": "1f", "text": "SI 1F\nTI 0\n", "children": {}})")) << QByteArray("archive[0].children: expected an array");

    // cycles
    QTest::newRow("packet naming itself")
        << dataset(archive(R"({"type": "1f", "name": "A", "key": "1:1", "text": "SI 1F\n1B A\nTI 0\n"})"))
        << QByteArray("archive: references form a cycle: \"A\" (1:1) -> \"A\" (1:1)");
    QTest::newRow("two packets, by name and by key")
        << dataset(archive(R"({"type": "1f", "name": "A", "key": "1:1", "text": "SI 1F\n1B B\nTI 0\n"},
                              {"type": "1f", "name": "B", "key": "2:1", "text": "SI 1F\n11 1 1\nTI 0\n"})"))
        << QByteArray("archive: references form a cycle: \"A\" (1:1) -> \"B\" (2:1) -> \"A\" (1:1)");
    QTest::newRow("cycle behind a lead-in, among children")
        << dataset(archive(R"({"type": "1f", "name": "Start", "text": "SI 1F\n1B B\nTI 0\n",
                               "children": [{"type": "15", "key": "5:5", "text": "SI 15\n02 C\nTI 0\n"},
                                            {"type": "1f", "name": "B", "text": "SI 1F\n11 5 5\nTI 0\n"}]},
                              {"type": "56", "name": "C", "text": "SI 56\n04 B\nTI 0\n"})"))
        << QByteArray("archive: references form a cycle: \"B\" -> archive[0].children[0] (5:5) -> \"C\" -> \"B\"");
}

void TestKxHostDataset::loads()
{
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, message);
    std::string error;
    std::unique_ptr<KXCommServer> server = openJson(json, &error);
    if (message.isEmpty()) {
        QVERIFY2(server, error.c_str());
        QCOMPARE(server->getSourceName(), std::string("test.json"));
        return;
    }
    QVERIFY(!server);
    QCOMPARE(QByteArray::fromStdString(error), "test.json: " + message);
    QVERIFY(!openJson(json)); // no error text wanted
}

void TestKxHostDataset::syntaxError()
{
    // Where the JSON parser stopped, as a line and a column, and why, on one line.
    std::string error;
    QVERIFY(!openJson("{\n  \"format\": 1,\n", &error));
    const QByteArray message = QByteArray::fromStdString(error);
    QVERIFY2(message.startsWith("test.json: line 3, column 1: not valid JSON: "), message.constData());
    QVERIFY(!message.contains('\n'));
}

QTEST_APPLESS_MAIN(TestKxHostDataset)
#include "tst_kxhost_dataset.moc"
