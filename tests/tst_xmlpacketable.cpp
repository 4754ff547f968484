// XMLPacketable: data-tag names, builders and finders, both text-form conversions with their
// deliberate quirks and nesting limit, host round trips for every storage class, the cache,
// host packets in XML packets.

#include "hosttesthelpers.h"
#include "testhelpers.h"

#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/packetable/xmlpacketable.h>

#include <QTest>

#include <cstdlib>
#include <cstring>
#include <memory>

using hosttest::packetOf;
using hosttest::textOf;
using TestHelpers::parseElement;

namespace {

// Name, attributes in name order in brackets, children in braces, text quoted:
// `_12[size=2]{value{"1"}value{"2"}}`. Siblings follow one another.
QString shape(const QDomNode& first, bool siblings = false)
{
    QString text;
    for (QDomNode n = first; !n.isNull(); n = siblings ? n.nextSibling() : QDomNode()) {
        if (n.isText()) {
            text += QLatin1Char('"') + n.nodeValue() + QLatin1Char('"');
            continue;
        }
        QStringList pairs;
        for (int i = 0; i < n.attributes().count(); ++i)
            pairs.append(n.attributes().item(i).nodeName() + QLatin1Char('=') + n.attributes().item(i).nodeValue());
        pairs.sort();
        text += n.nodeName() + (pairs.isEmpty() ? QString() : QLatin1Char('[') + pairs.join(QLatin1Char(',')) + QLatin1Char(']'));
        if (n.hasChildNodes())
            text += QLatin1Char('{') + shape(n.firstChild(), true) + QLatin1Char('}');
    }
    return text;
}

// Runs toDom on the root of @p xml; returns the shape of what it built.
QString built(XMLPacketable& xml, const QString& text, uint* stop = nullptr)
{
    QDomElement root = xml.getNodeConst();
    QStringList lines = text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    const uint at = XMLPacketable::toDom(root, lines, 0);
    if (stop)
        *stop = at;
    return shape(root.firstChild(), true);
}

// Letter items and lists opened @p frames deep, then closed.
QString nestedText(int frames)
{
    QString text;
    for (int level = 0; level < frames; ++level)
        text += level % 2 ? QStringLiteral("SL 1\n") : QStringLiteral("SI 1F\n");
    for (int level = frames - 1; level >= 0; --level)
        text += level % 2 ? QStringLiteral("TL 0\n") : QStringLiteral("TI 0\n");
    return text;
}

int depthBelow(QDomElement e)
{
    int depth = 0;
    for (e = e.firstChildElement(); !e.isNull(); e = e.firstChildElement())
        ++depth;
    return depth;
}

} // namespace

class TestXMLPacketable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesAndMetadata();
    void builders_data();
    void builders();
    void finders();
    void toDom_data();
    void toDom();
    void toPacket_data();
    void toPacket();
    void nestingLimit();
    void roundTrip_data();
    void roundTrip();
    void cachedPacket();
    void setDataOfPackets_data();
    void setDataOfPackets();
    void appendToPacket();
};

void TestXMLPacketable::namesAndMetadata()
{
    XMLPacketable p;
    p.setName(QStringLiteral("Letter"));
    p.setType(PDT_LETTER);
    p.setDBkey({0x12, 0x3});
    p.setCurrent(true);
    p.setReplacement(true);
    QCOMPARE(shape(p.getNodeConst()),
             QStringLiteral("packetable[datatype=1f,hkey=3,is_current=1,is_replacement=1,key=12,name=Letter]"));
    p.clearReplacement();
    QVERIFY(!p.isReplacement());
}

void TestXMLPacketable::builders_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("key") << "key" << "  A0   2 " << "_1[hkey=2,key=A0]";
    QTest::newRow("key, three words") << "key" << "a0 2 3" << "_1";
    QTest::newRow("numbers, count says 2, one entry") << "numbers" << "2 5" << "_1";
    QTest::newRow("strings") << "strings" << "2 first line\rsecond" << "_1[size=2]{value{\"first line\"}value{\"second\"}}";
    QTest::newRow("strings, empty one lost") << "strings" << "3 a\r\rb" << "_1[size=3]";
    QTest::newRow("binary, no blank") << "binary" << "5" << "_1[size=5]{\"\"}";
}

void TestXMLPacketable::builders()
{
    QFETCH(QString, kind);
    QFETCH(QString, text);
    QFETCH(QString, expected);
    XMLPacketable p;
    QDomElement root = p.getNodeConst();
    const QString name = QStringLiteral("_1");
    const QDomElement e = kind == QLatin1String("key")       ? XMLPacketable::createKXKEYElement(root, name, text)
                          : kind == QLatin1String("numbers") ? XMLPacketable::createNumberArrayElement(root, name, text)
                          : kind == QLatin1String("strings") ? XMLPacketable::createStringArrayElement(root, name, text)
                                                             : XMLPacketable::createBinaryDataElement(root, name, text);
    QCOMPARE(shape(e), expected);
    QVERIFY(root.lastChild() == e);
}

void TestXMLPacketable::finders()
{
    const QDomElement body = parseElement(QStringLiteral(
        "<body><packetable datatype=\"1f\"><item datatype=\"5\"><_10 value=\"inner\"/></item>"
        "<item datatype=\"1f\"><_10 value=\"outer\"/><_11 key=\"1\" hkey=\"2\"/></item></packetable>"
        "<action/><packetable datatype=\"5\"/><packetable datatype=\"1f\"/></body>"));
    const QDomElement letter = body.firstChildElement();
    QCOMPARE(XMLPacketable::getTagAttribute(letter, 0x10, XMLPacketable::VALUE), QStringLiteral("inner"));
    QVERIFY(XMLPacketable::getTagAttribute(letter, 0x12, XMLPacketable::VALUE).isEmpty());
    QVERIFY(XMLPacketable::getPacketableItemNode(letter) == letter.lastChild());
    QCOMPARE(XMLPacketable::getPacketableItemTagNodes(letter).count(), 2);
    QVERIFY(XMLPacketable::getPacketableItemNode(body).isNull()); // not a packetable
    QVERIFY(XMLPacketable::getFirstPacketableNodeOfType(body, PDT_SECTION) == body.childNodes().at(2));
    std::list<QDomNode> found;
    QCOMPARE(XMLPacketable::getPacketableNodesOfType(body, PDT_LETTER, found), 2);
    QCOMPARE(XMLPacketable::getPacketableNodesOfType(body, PDT_LETTER, found), 2);
    QVERIFY(found.size() == 4 && found.back() == body.lastChild());

    XMLPacketable p;
    QDomElement root = p.getNodeConst();
    XMLPacketable::getEmptyNodeOfType(root, PDT_BOOK);
    QCOMPARE(shape(root.firstChild()), QStringLiteral("packetable[datatype=56]{item[datatype=56]}"));

    CONVERTSTRUCTELEMENTINFO* job = KXGetSystemStorageClassConv(PDT_JOB);
    QCOMPARE(XMLPacketable::getConvStructFromDataTag(job, 0x13)->type, 48u);
    QVERIFY(!XMLPacketable::getConvStructFromDataTag(job, 0)); // the terminating row is no match
    QVERIFY(!XMLPacketable::getConvStructFromDataTag(nullptr, 1));
}

void TestXMLPacketable::toDom_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<uint>("stop");
    QTest::newRow("lines outside the item ignored") << "01 x\nSI 1F\n10 Dear sir\nTI 0\n10 after\n"
                                                    << "item[datatype=1F]{_10[value=Dear sir]}" << 5u;
    QTest::newRow("end line at root") << "TI 0\nSI 1F\nTI 0\n" << "" << 0u;
    QTest::newRow("item of class 6: caller reads its lines") << "SI 1F\nSI 6\n10 passed\n10 read\nTI 0\n10 root\nTI 0\n"
                                                             << "item[datatype=1F]{item[datatype=6]_10[value=read]}" << 6u;
    QTest::newRow("item without table") << "SI 1F\nSI 63\n10 a\n10 b\nTI 0\nTI 0\n"
                                        << "item[datatype=1F]{item[datatype=63]_10[value=b]}" << 5u;
    QTest::newRow("no blank, no earlier cut") << "SI 1F\n10\n11 a0 2\nTI 0\n" << "item[datatype=1F]{_11[hkey=2,key=a0]}" << 4u;
    QTest::newRow("no blank reuses the earlier cut") << "SI 1F\n10 abcdef\n16xyzw\n16\nSI\n10 a\n10 b\nTIxy\n10 root\n"
                                                     << "item[datatype=1F]{_10[value=abcdef]_16[value=yzw]_16item_10[value=b]}" << 9u;
    QTest::newRow("TL closes an item, TI a list") << "SI 1F\nSL 1\nSI 5\n01 a\nTL 0\nTI 0\n10 letter\nTI 0\n"
                                                  << "item[datatype=1F]{list[size=1]{item[datatype=5]{_1[value=a]}}_10[value=letter]}" << 8u;
    QTest::newRow("unknown, non-hex and dropped tags") << "SI 15\n99 x\nzz y\n0A 1 c\n0C DEADBEEF\n0D 1\n13 r\n0E -5\nTI 0\n"
                                                       << "item[datatype=15]{_a[size=1]{value{\"c\"}}_e[value=-5]}" << 9u;
    QTest::newRow("widths and value kinds") << "SI 15\n03 7\n06 2 1 2\n0B 2 CAFE\n12   two  blanks\nTI 0\n"
                                            << "item[datatype=15]{_3[value=7]_6[size=2]{value{\"1\"}value{\"2\"}}"
                                               "_b[size=2]{\"CAFE\"}_12[value=  two  blanks]}" << 6u;
    QTest::newRow("unclosed: each open level stops past the end") << "SI 1F\nSL 1\nSI 5\n01 a"
                                                                  << "item[datatype=1F]{list[size=1]{item[datatype=5]{_1[value=a]}}}" << 7u;
}

void TestXMLPacketable::toDom()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QFETCH(uint, stop);
    uint at = 0;
    XMLPacketable xml;
    QCOMPARE(built(xml, text, &at), expected);
    QCOMPARE(at, stop);
}

void TestXMLPacketable::toPacket_data()
{
    QTest::addColumn<QString>("xml");
    QTest::addColumn<QString>("text");
    QTest::newRow("no children") << "<packetable datatype=\"1f\"/>" << "";
    QTest::newRow("one item, root data left out")
        << "<p><_10 value=\"root\"/><item datatype=\"1f\"><_10 value=\"Dear\"/><_11 key=\"a0\" hkey=\"2\"/></item></p>"
        << "SI 1f\n10 Dear\n11 a0 2\nTI 0\n";
    QTest::newRow("empty list, missing attributes") << "<p><list size=\"0\"/><list><item/></list></p>"
                                                    << "SL 0\nTL 0\nSL \nSI \nTI 0\nTL 0\n";
    QTest::newRow("empty simple value dropped, binary kept") << "<item datatype=\"1f\"><_10 value=\"\"/><_16/><_14/></item>" << "14  \n";
    QTest::newRow("arrays count their value children, in lower case")
        << QStringLiteral("<item datatype=\"1f\"><_12 size=\"9\"><value>1</value><x>5</x><value>2</value></_12>"
                          "<_13><value>a b</value><value>c</value></_13><_17>%1</_17></item>")
               .arg(QStringLiteral("<value>1</value>").repeated(11))
        << "12 2 1 2\n13 2 a b\rc\n17 b 1 1 1 1 1 1 1 1 1 1 1\n";
    QTest::newRow("no data tags, unknown tags, first character unchecked")
        << "<item datatype=\"1f\"><value/><_zz value=\"b\"/><_99 value=\"c\"/><_1a value=\"d\"/><x10 value=\"ok\"/></item>" << "10 ok\n";
    QTest::newRow("item of class 6 or without table")
        << "<p><item datatype=\"6\"><_10 value=\"a\"/></item><item datatype=\"63\"><_1 value=\"a\"/></item></p>" << "SI 6\nTI 0\nSI 63\nTI 0\n";
}

void TestXMLPacketable::toPacket()
{
    QFETCH(QString, xml);
    QFETCH(QString, text);
    QCOMPARE(XMLPacketable::toPacket(parseElement(xml)), text);
}

void TestXMLPacketable::nestingLimit()
{
    // Levels deeper than the limit are read through without building, and the outer item goes
    // on after them; every level built is written back. (A hundred thousand levels, and XML
    // deeper than the limit: tst_hostileinput.)
    auto withAfter = [](QString text) { return text.insert(text.size() - 5, QStringLiteral("10 after\n")); };
    uint stop = 0;
    XMLPacketable deeper;
    built(deeper, withAfter(nestedText(1000)), &stop);
    const QDomElement root = deeper.getNodeConst();
    QCOMPARE(stop, uint(2001));
    QCOMPARE(depthBelow(root), XMLPacketable::MaxNesting);
    QCOMPARE(XMLPacketable::toPacket(root), withAfter(nestedText(XMLPacketable::MaxNesting)));
}

void TestXMLPacketable::roundTrip_data()
{
    QTest::addColumn<uint>("type");
    QTest::addColumn<QByteArray>("text");     // as the host writes it
    QTest::addColumn<QByteArray>("expected"); // as the host writes the packet rebuilt from XML
    auto same = [](const char* name, uint type, const QByteArray& text) { QTest::newRow(name) << type << text << text; };
    same("database entry", 8, "SI 8\n01 North\n02 -128\n03 2147483647\nTI 0\n");
    same("colour profile", 48, "SI 30\n01 Coated\n02 3 0A0B0C\n03 4.2\nTI 0\n");
    same("book, count above 9", 86, "SI 56\n01 Atlas\n02 B 1 2 3 4 5 6 7 8 9 10 4294967295\n03 B 1\n04 Coated\nTI 0\n");
    QTest::newRow("job: codes 10, 26 and 48 missing") << 21u << QByteArray(hosttest::everyJobTag)
                                                      << QByteArray(hosttest::everyJobTag).replace("0C DEADBEEF\n0D 1\n", "").replace("13 anything\n", "");
    QTest::newRow("letter: code 40 missing") << 31u << QByteArray(hosttest::everyLetterTag) << QByteArray(hosttest::everyLetterTag).replace("1A extension\n", "");
}

void TestXMLPacketable::roundTrip()
{
    QFETCH(uint, type);
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, expected);
    const std::unique_ptr<KXPacketable> original = packetOf(type, text);
    QVERIFY(original);
    QCOMPARE(textOf(*original), text);
    original->setName("Name");
    original->key = KXKEY_ELEMENT{0x12, 0x3};
    XMLPacketable xml;
    xml.setData(*original);
    const KXPacketable* rebuilt = xml.getDataConst();
    QVERIFY2(rebuilt, qPrintable(XMLPacketable::toPacket(xml.getNodeConst())));
    QCOMPARE(textOf(*rebuilt), expected);
    QCOMPARE(QByteArray(rebuilt->name), QByteArray("Name"));
    QVERIFY(rebuilt->datatype == original->datatype && KXKEY_CC::isEqual(rebuilt->key, original->key));
}

void TestXMLPacketable::cachedPacket()
{
    XMLPacketable xml;
    xml.setData(parseElement(QStringLiteral("<packetable datatype=\"5\" name=\"S\" key=\"7\"><item datatype=\"5\"><_1 value=\"News\"/></item></packetable>")));
    const KXPacketable* cached = xml.getDataConst();
    QVERIFY(cached && xml.getDataConst() == cached);
    QCOMPARE(textOf(*cached), QByteArray("SI 5\n01 News\nTI 0\n"));
    QCOMPARE(cached->key.key, 0u); // a half key in the XML: the packet keeps its own
    xml.setName(QStringLiteral("Other")); // the setters keep the cache as it was built
    QCOMPARE(QByteArray(xml.getDataConst()->name), QByteArray("S"));
    const std::unique_ptr<KXPacketable> copy(xml.getData());
    QVERIFY(copy && copy.get() != cached && textOf(*copy) == textOf(*cached));

    // XML the host refuses, or of a type without a packet class, gives no packet.
    xml.setData(parseElement(QStringLiteral("<packetable datatype=\"1f\"><item datatype=\"1f\"><_12><value>x</value></_12></item></packetable>")));
    QVERIFY(!xml.getDataConst() && !xml.getData());
    xml.setData(parseElement(QStringLiteral("<packetable datatype=\"f\"/>")));
    QVERIFY(!xml.getDataConst());
}

void TestXMLPacketable::setDataOfPackets_data()
{
    QTest::addColumn<uint>("type");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("name"); // "-" for none: a database entry is named after its record
    QTest::addColumn<int>("times");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<bool>("cached");
    QTest::newRow("opaque: attributes only") << 6u << QByteArray() << QByteArray("O") << 1
                                             << "packetable[datatype=6,hkey=6,key=5,name=O]" << false;
    QTest::newRow("twice: a second item, no packet") << 5u << QByteArray("SI 5\n01 News\nTI 0\n") << QByteArray("S") << 2
                                                     << "packetable[datatype=5,hkey=6,key=5,name=S]{item[datatype=5]{_1[value=News]}"
                                                        "item[datatype=5]{_1[value=News]}}" << false;
    QTest::newRow("entry without a name") << 8u << QByteArray() << QByteArray("-") << 1
                                          << "packetable[datatype=8,hkey=1,key=a,name=North]{item[datatype=8]{_1[value=North]_2[value=1]_3[value=1]}}"
                                          << true;
    // An empty name is still a name: the record's is not used (and an empty value writes no attribute).
    QTest::newRow("entry with an empty name") << 8u << QByteArray() << QByteArray("") << 1
                                              << "packetable[datatype=8,hkey=1,key=a]{item[datatype=8]{_1[value=North]_2[value=1]_3[value=1]}}"
                                              << true;
}

void TestXMLPacketable::setDataOfPackets()
{
    QFETCH(uint, type);
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, name);
    QFETCH(int, times);
    QFETCH(QString, expected);
    QFETCH(bool, cached);
    std::unique_ptr<KXPacketable> packet = text.isEmpty() ? packetOf(type) : packetOf(type, text);
    QVERIFY(packet);
    if (type == PDT_DBENTRY) {
        auto* entry = static_cast<KXDBENTRY*>(std::calloc(1, sizeof(KXDBENTRY)));
        entry->name = strdup("North");
        entry->key = KXKEY_ELEMENT{0xa, 1};
        entry->kind = 1;
        entry->id = 1;
        packet->setData(reinterpret_cast<unsigned char*>(entry)); // adopted
    } else {
        packet->key = KXKEY_ELEMENT{5, 6};
    }
    packet->setName(name == "-" ? nullptr : name.constData());
    XMLPacketable xml;
    for (int i = 0; i < times; ++i)
        xml.setData(*packet);
    QCOMPARE(shape(xml.getNodeConst()), expected);
    QCOMPARE(xml.getDataConst() != nullptr, cached);
}

void TestXMLPacketable::appendToPacket()
{
    const std::unique_ptr<KXPacketable> letter = packetOf(PDT_LETTER, "SI 1F\n10 Dear sir\nTI 0\n");
    QVERIFY(letter);
    letter->setName("Letter");
    letter->key = KXKEY_ELEMENT{0x12, 0x3};
    XMLPacket packet;
    const QDomElement plain = packet.append(*letter, false);
    const QDomElement current = packet.append(*letter, true);
    // The packetable's layout below its root element: the toDom rows.
    const QString expected = QStringLiteral("packetable[datatype=1f,hkey=3,key=12,name=Letter]{item[datatype=1F]{_10[value=Dear sir]}}");
    QCOMPARE(shape(plain), expected);
    QCOMPARE(shape(current), QString(expected).replace(QLatin1String("hkey=3,"), QLatin1String("hkey=3,is_current=1,")));
}

QTEST_GUILESS_MAIN(TestXMLPacketable)
#include "tst_xmlpacketable.moc"
