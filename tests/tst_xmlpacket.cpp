// XMLPacket: the envelope, its ids, body, copies, equality and printing.
#include "testhelpers.h"

#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/xml/xmlimage.h>
#include <kxxml/xml/xmlmessage.h>

#include <QtTest>

#include <cstdio>

namespace {

const QString kEmptyPacket = QStringLiteral(
    "<kxxml xmlns=\"%1\">\n <header>\n  <src/>\n  <dst/>\n </header>\n <body/>\n</kxxml>\n");

} // namespace

class TestXmlPacket : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emptyEnvelope();
    void agentIds_data();
    void agentIds();
    void appendCopiesAndMoves();
    void nodesOfType();
    void copyAndEquality();
    void whitespaceTextNodes_data();
    void whitespaceTextNodes();
    void inequalityFollowsOverriddenEquality();
    void initResetsOrCopies();
    void copyOfDamagedEnvelope();
    void printWritesText();
};

void TestXmlPacket::emptyEnvelope()
{
    XMLPacket packet;
    QVERIFY(packet.isEmpty());
    QCOMPARE(packet.getSourceAgentID(), 0);
    QCOMPARE(packet.getDestinationAgentID(), 0);
    QCOMPARE(packet.packetText(), kEmptyPacket.arg(XMLObject::KX_NAMESPACE));
    QCOMPARE(packet.rootNodeName(), QStringLiteral("kxxml"));
}

void TestXmlPacket::agentIds_data()
{
    QTest::addColumn<int>("source");
    QTest::addColumn<int>("destination");
    QTest::newRow("ordinary") << 3 << 7;
    QTest::newRow("comm server") << -1 << 5;
    QTest::newRow("negative") << -5 << INT_MAX;
}

void TestXmlPacket::agentIds()
{
    QFETCH(int, source);
    QFETCH(int, destination);
    XMLPacket packet;
    packet.setSourceAgentID(source);
    packet.setDestinationAgentID(destination);
    QCOMPARE(packet.getSourceAgentID(), source);
    QCOMPARE(packet.getDestinationAgentID(), destination);
    const QDomElement root = TestHelpers::parseElement(packet.packetText());
    const QDomElement header = root.firstChildElement(XMLPacket::HEADER);
    QCOMPARE(header.firstChildElement(XMLPacket::SOURCE).attribute(XMLPacket::AGENT_ID), QString::number(source));
    QCOMPARE(header.firstChildElement(XMLPacket::DESTINATION).attribute(XMLPacket::AGENT_ID), QString::number(destination));
    QVERIFY(packet.isEmpty()); // the header does not count
}

void TestXmlPacket::appendCopiesAndMoves()
{
    XMLPacket packet;
    XMLMessage copied(QStringLiteral("copied"));
    XMLImage moved(QStringLiteral("moved"));
    const QDomElement copy = packet.append(copied);
    packet.appendV(moved);
    QVERIFY(!packet.isEmpty());
    QCOMPARE(copy.attribute(QStringLiteral("msg")), QStringLiteral("copied"));

    copied.setMessage(QStringLiteral("changed"));
    moved.setURL(QStringLiteral("u"));
    const QString text = packet.packetText();
    QVERIFY(text.contains(QLatin1String("<msg msg=\"copied\"/>")));
    QVERIFY(text.contains(QLatin1String("<img name=\"moved\" url=\"u\"/>")));

    // The moved element lives on in the packet after its object is gone.
    { XMLMessage gone(QStringLiteral("kept")); packet.appendV(gone); }
    QVERIFY(packet.packetText().contains(QLatin1String("<msg msg=\"kept\"/>")));
}

void TestXmlPacket::nodesOfType()
{
    XMLPacket packet;
    std::list<QDomNode> found;
    QVERIFY(!packet.hasNodesOfType(XMLObject::XMLOBJECT_MESSAGE));
    QCOMPARE(packet.getNodesOfType(XMLObject::XMLOBJECT_MESSAGE, found), 0);
    XMLMessage a(QStringLiteral("a"));
    XMLImage b(QStringLiteral("b"));
    packet.append(a);
    packet.append(b);
    packet.append(a);
    QVERIFY(packet.hasNodesOfType(XMLObject::XMLOBJECT_IMAGE));
    QCOMPARE(packet.getNodesOfType(XMLObject::XMLOBJECT_MESSAGE, found), 2);
    QCOMPARE(found.size(), size_t(2));
}

void TestXmlPacket::copyAndEquality()
{
    XMLPacket original;
    original.setSourceAgentID(3);
    original.setDestinationAgentID(7);
    XMLMessage message(QStringLiteral("m"));
    original.append(message);

    XMLPacket copy;
    copy = original;
    QVERIFY(copy == original);
    QVERIFY(!(copy != original));
    QCOMPARE(copy.getSourceAgentID(), 3);

    copy.setDestinationAgentID(8); // the copy shares nothing with its source
    QVERIFY(copy != original);
    QCOMPARE(original.getDestinationAgentID(), 7);
    original.setDestinationAgentID(8);
    QVERIFY(copy == original);
    original.append(message);
    QVERIFY(copy != original);
}

// A packet whose body holds, per "|"-separated part: "<m/>" an empty element m, "m:text" an
// element m holding a text node, anything else a text node.
struct BodyPacket : XMLPacket
{
    using XMLPacket::operator=;
    explicit BodyPacket(const QString& parts)
    {
        for (const QString& part : parts.split(QLatin1Char('|'))) {
            if (part.startsWith(QLatin1Char('<'))) {
                body.appendChild(packetDocument.createElement(part.mid(1, part.size() - 3)));
            } else if (part.indexOf(QLatin1Char(':')) == 1) {
                QDomElement e = packetDocument.createElement(part.left(1));
                e.appendChild(packetDocument.createTextNode(part.mid(2)));
                body.appendChild(e);
            } else {
                body.appendChild(packetDocument.createTextNode(part));
            }
        }
    }
};

void TestXmlPacket::whitespaceTextNodes_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<bool>("equal");
    // Equal exactly when the texts are: blank text can pass for the indentation it replaces.
    QTest::newRow("as the indentation") << "<m/>|<n/>" << "<m/>|\n  |<n/>" << true;
    QTest::newRow("unlike the indentation") << "<m/>|<n/>" << "<m/>|\n   |<n/>" << false;
    QTest::newRow("in an element") << "<m/>" << "m: " << false;
    QTest::newRow("after the last element") << "<m/>" << "<m/>|\n" << false;
    QTest::newRow("the same blanks") << "m:\n |<n/>" << "m:\n |<n/>" << true;
    QTest::newRow("blank or line feed") << "m: " << "m:\n" << false;
}

void TestXmlPacket::whitespaceTextNodes()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(bool, equal);
    const BodyPacket left(a);
    const BodyPacket right(b);
    QCOMPARE(left.packetText() == right.packetText(), equal);
    QCOMPARE(left == right, equal);
    QCOMPARE(right == left, equal);
    QCOMPARE(left != right, !equal);
}

void TestXmlPacket::inequalityFollowsOverriddenEquality()
{
    // operator!= asks the packet's own operator==, whatever the static type.
    struct SameSource : XMLPacket
    {
        using XMLPacket::operator=;
        bool operator==(const XMLPacket& other) const override { return getSourceAgentID() == other.getSourceAgentID(); }
    };
    SameSource a;
    XMLPacket b;
    XMLMessage m(QStringLiteral("only in b"));
    b.append(m);
    const XMLPacket& base = a;
    QVERIFY(!(base != b));
    b.setSourceAgentID(3);
    QVERIFY(base != b);
}

void TestXmlPacket::initResetsOrCopies()
{
    XMLPacket packet;
    packet.setSourceAgentID(1);
    XMLMessage m(QStringLiteral("x"));
    packet.append(m);
    XMLPacket other;
    other.init(&packet);
    QVERIFY(other == packet);
    other.init(nullptr);
    QVERIFY(other.isEmpty());
    QCOMPARE(other.getSourceAgentID(), 0);
    QCOMPARE(other.packetText(), kEmptyPacket.arg(XMLObject::KX_NAMESPACE));
    QVERIFY(!packet.isEmpty());
}

void TestXmlPacket::copyOfDamagedEnvelope()
{
    // A copied envelope whose header is missing leaves those handles null; nothing crashes.
    struct DamagedPacket : XMLPacket
    {
        using XMLPacket::operator=;
        void dropHeader() { root.removeChild(header); }
    };
    DamagedPacket damaged;
    damaged.dropHeader();
    XMLPacket copy;
    copy = damaged;
    copy.setSourceAgentID(4);
    QCOMPARE(copy.getSourceAgentID(), 0);
    XMLMessage m(QStringLiteral("x"));
    copy.append(m);
    QVERIFY(!copy.isEmpty());
    QVERIFY(!copy.packetText().contains(XMLPacket::HEADER));
}

void TestXmlPacket::printWritesText()
{
    XMLPacket packet;
    packet.setSourceAgentID(3);
    XMLMessage m(QStringLiteral("é €"));
    packet.append(m);
    const QByteArray printed = TestHelpers::captureStdout([&] { packet.print(); });
    QCOMPARE(printed, packet.packetText().toUtf8());
    QVERIFY(printed.endsWith("</kxxml>\n"));
}

QTEST_GUILESS_MAIN(TestXmlPacket)
#include "tst_xmlpacket.moc"
