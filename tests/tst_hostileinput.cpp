// Hostile input: every input that ever broke a fuzz check (tests/data/<target>/) replayed
// through the same check, and inputs nested 100,000 levels deep, which must be skipped or
// refused in bounded time and stack.
#include "fuzzchecks.h"

#include <kxhost/kxhost.h>
#include <kxxml/packetable/xmlpacketable.h>

#include <QDir>
#include <QElapsedTimer>
#include <QtTest>

#include <functional>
#include <map>
#include <vector>

namespace {

constexpr int kDeep = 100000;
constexpr qint64 kBoundMs = 20000; // generous: sanitizer builds on shared machines

using Check = std::function<void(const QByteArray&)>;

const std::map<QString, Check>& checks()
{
    static const std::map<QString, Check> all{
        {QStringLiteral("textform_to_xml"), FuzzChecks::textToXml},
        {QStringLiteral("xml_to_textform"), FuzzChecks::xmlToText},
        {QStringLiteral("typed_values"), FuzzChecks::typedValues},
        {QStringLiteral("host_textform"), FuzzChecks::hostTextForm},
        {QStringLiteral("dataset"), FuzzChecks::dataset},
    };
    return all;
}

/// A letter whose items and lists nest more than @p levels deep, a data line at the bottom.
QByteArray deepTextForm(int levels)
{
    QByteArray text = "SI 1F\n";
    for (int i = 0; i < levels / 2; ++i)
        text += "SL 1\nSI 5\n";
    text += "01 bottom\n";
    for (int i = 0; i < levels / 2; ++i)
        text += "TI 0\nTL 0\n";
    return text + "TI 0\n";
}

/// Takes a tree apart from the top down, so that Qt never destroys it recursively (each child
/// is detached from a parent that has no parent left, which Qt does in constant time).
void dismantle(QDomNode n)
{
    for (QDomNode child = n.firstChild(); !child.isNull(); child = n.firstChild()) {
        n.removeChild(child);
        n = child;
    }
}

} // namespace

class TestHostileInput : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void replay_data();
    void replay();
    void deepTextFormIsSkipped();
    void deepDomIsCutAtTheLimit();
    void deepXmlTextIsRefused();
};

void TestHostileInput::replay_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("path");
    const QDir data(QStringLiteral(KXXML_TEST_DATA));
    for (const auto& [target, check] : checks()) {
        const QDir dir(data.filePath(target));
        for (const QString& file : dir.entryList(QDir::Files))
            QTest::newRow(qPrintable(target + QLatin1Char('/') + file)) << target << dir.filePath(file);
    }
}

void TestHostileInput::replay()
{
    QFETCH(QString, target);
    QFETCH(QString, path);
    const auto check = checks().find(target);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QElapsedTimer timer;
    timer.start();
    check->second(file.readAll()); // aborts when a rule breaks
    QVERIFY2(timer.elapsed() < kBoundMs, "took too long");
}

void TestHostileInput::deepTextFormIsSkipped()
{
    const QByteArray text = deepTextForm(kDeep);
    QElapsedTimer timer;
    timer.start();

    // The host refuses it: sections hold no lists.
    const std::unique_ptr<KXPacketable> packet(PacketableUtil::getPacketable(PDT_LETTER));
    QByteArray copy = text;
    QVERIFY(!packet->fromPacket(copy.data(), static_cast<unsigned int>(copy.size()), false, true));
    QVERIFY2(QByteArray(packet->lastError()).contains("line 4: a list in an item of class 5, which holds no lists"), packet->lastError());

    // The library keeps MaxNesting levels and skips the rest, reading every line once.
    XMLPacketable packetable;
    QDomElement root = packetable.getNode();
    QStringList lines = QString::fromUtf8(text).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QCOMPARE(XMLPacketable::toDom(root, lines, 0), static_cast<unsigned int>(lines.size()));
    int levels = 0;
    for (QDomElement e = root.firstChildElement(); !e.isNull(); e = e.lastChildElement())
        ++levels;
    QCOMPARE(levels, XMLPacketable::MaxNesting);
    const QString written = XMLPacketable::toPacket(root);
    QCOMPARE(written.count(QLatin1String("SI ")) + written.count(QLatin1String("SL ")), XMLPacketable::MaxNesting);
    QVERIFY(!written.contains(QLatin1String("bottom")));

    FuzzChecks::textToXml(text); // and what the fuzz check demands of it
    QVERIFY2(timer.elapsed() < kBoundMs, "took too long");
}

void TestHostileInput::deepDomIsCutAtTheLimit()
{
    // Built node by node from the bottom up (Qt's appendChild looks at every ancestor): no
    // parser involved.
    QDomDocument document;
    QDomElement e = document.createElement(QStringLiteral("_1"));
    e.setAttribute(QStringLiteral("value"), QStringLiteral("bottom"));
    for (int i = 0; i < kDeep; ++i) {
        const bool list = i % 2 != 0;
        QDomElement parent = document.createElement(list ? QStringLiteral("list") : QStringLiteral("item"));
        parent.setAttribute(list ? QStringLiteral("size") : QStringLiteral("datatype"), list ? QStringLiteral("1") : QStringLiteral("5"));
        parent.appendChild(e);
        e = parent;
    }
    QDomElement top = document.createElement(QStringLiteral("item"));
    top.setAttribute(QStringLiteral("datatype"), QStringLiteral("1f"));
    top.appendChild(e);
    document.appendChild(top);

    QElapsedTimer timer;
    timer.start();
    const QString text = XMLPacketable::toPacket(top);
    QCOMPARE(text.count(QLatin1String("SI ")) + text.count(QLatin1String("SL ")), XMLPacketable::MaxNesting);
    QCOMPARE(text.count(QLatin1String("TI ")) + text.count(QLatin1String("TL ")), XMLPacketable::MaxNesting);
    QVERIFY(!text.contains(QLatin1String("bottom")));

    // A program may hand the same tree to a packetable: it is copied whole, without recursion.
    XMLPacketable copy;
    copy.setData(top);
    int levels = 1;
    QDomElement at = copy.getNodeConst();
    for (; !at.firstChildElement().isNull(); at = at.firstChildElement())
        ++levels;
    QCOMPARE(levels, kDeep + 2);
    QCOMPARE(at.attribute(QStringLiteral("value")), QStringLiteral("bottom"));
    QVERIFY2(timer.elapsed() < kBoundMs, "took too long");
    dismantle(document);
    dismantle(copy.getNodeConst());
}

void TestHostileInput::deepXmlTextIsRefused()
{
    QByteArray xml;
    for (int i = 0; i < kDeep; ++i)
        xml += "<list><item datatype=\"5\">";
    for (int i = 0; i < kDeep; ++i)
        xml += "</item></list>";
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(FuzzChecks::xmlDepth(xml, FuzzChecks::XmlDepthLimit), -1);
    FuzzChecks::xmlToText(xml);
    QCOMPARE(FuzzChecks::xmlDepth("<a><b/><b><c/></b></a>", 3), 3);
    QCOMPARE(FuzzChecks::xmlDepth("<a><b/><b><c/></b></a>", 2), -1);
    QCOMPARE(FuzzChecks::xmlDepth("<a><b></a>", 10), -1);
    QVERIFY2(timer.elapsed() < kBoundMs, "took too long");
}

QTEST_GUILESS_MAIN(TestHostileInput)
#include "tst_hostileinput.moc"
