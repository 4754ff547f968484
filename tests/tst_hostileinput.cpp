// Hostile input: every input that ever broke a fuzz check (tests/data/<target>/) replayed
// through the same check, with text and XML nested 100,000 levels deep, and a DOM tree as
// deep; each must be skipped, cut or refused in bounded time and stack.
#include "fuzzchecks.h"

#include <kxxml/packetable/xmlpacketable.h>

#include <QDir>
#include <QElapsedTimer>
#include <QtTest>

#include <functional>
#include <map>

namespace {

constexpr int kDeep = 100000;
constexpr qint64 kBoundMs = 20000; // generous: sanitizer builds on shared machines

using Check = std::function<void(const QByteArray&)>;

const std::map<QString, Check> checks{
    {QStringLiteral("textform_to_xml"), FuzzChecks::textToXml},
    {QStringLiteral("xml_to_textform"), FuzzChecks::xmlToText},
    {QStringLiteral("typed_values"), FuzzChecks::typedValues},
    {QStringLiteral("host_textform"), FuzzChecks::hostTextForm},
    {QStringLiteral("dataset"), FuzzChecks::dataset},
};

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
    void deepDomIsCutAtTheLimit();
};

void TestHostileInput::replay_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QByteArray>("input");
    const QDir data(QStringLiteral(KXXML_TEST_DATA));
    for (const auto& [target, check] : checks) {
        const QDir dir(data.filePath(target));
        for (const QString& name : dir.entryList(QDir::Files)) {
            QFile file(dir.filePath(name));
            QTest::newRow(qPrintable(target + QLatin1Char('/') + name))
                << target << (file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
        }
    }
    // A letter whose items and lists nest 100,000 levels deep: the library keeps MaxNesting
    // levels and reads through the rest (the exact cut: tst_xmlpacketable).
    QTest::newRow("textform_to_xml/deep") << QStringLiteral("textform_to_xml")
                                          << "SI 1F\n" + QByteArray("SL 1\nSI 5\n").repeated(kDeep / 2) + "01 bottom\n"
                                                 + QByteArray("TI 0\nTL 0\n").repeated(kDeep / 2) + "TI 0\n";
    // XML as deep, which the check must refuse before Qt's recursive DOM sees it.
    QTest::newRow("xml_to_textform/deep") << QStringLiteral("xml_to_textform")
                                          << QByteArray("<list><item datatype=\"5\">").repeated(kDeep)
                                                 + QByteArray("</item></list>").repeated(kDeep);
}

void TestHostileInput::replay()
{
    QFETCH(QString, target);
    QFETCH(QByteArray, input);
    QVERIFY(!input.isEmpty()); // every file was read
    QElapsedTimer timer;
    timer.start();
    checks.at(target)(input); // aborts when a rule breaks
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

QTEST_GUILESS_MAIN(TestHostileInput)
#include "tst_hostileinput.moc"
