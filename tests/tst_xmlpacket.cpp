// XMLPacket: the envelope, its ids, body, copies (a damaged one too), != through a subclass's
// == and printing. Equality as text equality: tst_xmlwriter.
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
    void agentIds();
    void appendCopiesAndMoves();
    void copiesShareNothing();
    void inequalityFollowsOverriddenEquality();
    void copyOfDamagedEnvelope();
    void printWritesText();
};

void TestXmlPacket::emptyEnvelope()
{
    XMLPacket packet;
    QVERIFY(packet.isEmpty());
    QCOMPARE(packet.packetText(), kEmptyPacket.arg(XMLObject::KX_NAMESPACE));
}

void TestXmlPacket::agentIds()
{
    const int source = -1; // the comm server's
    const int destination = INT_MAX;
    XMLPacket packet;
    packet.setSourceAgentID(source);
    packet.setDestinationAgentID(destination);
    QCOMPARE(packet.getSourceAgentID(), source);
    QCOMPARE(packet.getDestinationAgentID(), destination);
    const QDomElement root = TestHelpers::parseElement(packet.packetText());
    const QDomElement header = root.firstChildElement(XMLPacket::HEADER);
    QCOMPARE(header.firstChildElement(XMLPacket::SOURCE).attribute(XMLPacket::AGENT_ID), QString::number(source));
    QCOMPARE(header.firstChildElement(XMLPacket::DESTINATION).attribute(XMLPacket::AGENT_ID), QString::number(destination));
}

void TestXmlPacket::appendCopiesAndMoves()
{
    XMLPacket packet;
    XMLMessage copied(QStringLiteral("copied"));
    XMLImage moved(QStringLiteral("moved"));
    const QDomElement copy = packet.append(copied);
    packet.appendV(moved);
    QCOMPARE(copy.attribute(QStringLiteral("msg")), QStringLiteral("copied"));

    copied.setMessage(QStringLiteral("changed"));
    moved.setURL(QStringLiteral("u"));
    const QString text = packet.packetText();
    QVERIFY(text.contains(QLatin1String("<msg msg=\"copied\"/>")));
    QVERIFY(text.contains(QLatin1String("<img name=\"moved\" url=\"u\"/>")));

    // The moved element lives on in the packet after its object is gone.
    { XMLMessage gone(QStringLiteral("kept")); packet.appendV(gone); }
    QVERIFY(packet.packetText().contains(QLatin1String("<msg msg=\"kept\"/>")));
    // Only the body's children count, by name.
    std::list<QDomNode> found;
    QCOMPARE(packet.getNodesOfType(XMLObject::XMLOBJECT_MESSAGE, found), 2);
    QVERIFY(packet.hasNodesOfType(XMLObject::XMLOBJECT_IMAGE) && !packet.hasNodesOfType(XMLObject::XMLOBJECT_UI));
}

// Assignment and init() copy the whole envelope, and the copy's handles point into its own
// document; init(nullptr) empties a packet again. (Equality itself: tst_xmlwriter.)
void TestXmlPacket::copiesShareNothing()
{
    XMLPacket original;
    original.setDestinationAgentID(7);
    XMLMessage message(QStringLiteral("m"));
    original.append(message);
    XMLPacket assigned;
    assigned = original;
    XMLPacket initialised;
    initialised.init(&original);
    QVERIFY(assigned == original && initialised == original);

    const QString text = original.packetText();
    assigned.setDestinationAgentID(8);
    initialised.append(message);
    QCOMPARE(original.packetText(), text);
    QVERIFY(assigned != original && initialised != original);
    initialised.init(nullptr);
    QCOMPARE(initialised.packetText(), kEmptyPacket.arg(XMLObject::KX_NAMESPACE));
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
}

void TestXmlPacket::printWritesText()
{
    XMLPacket packet;
    XMLMessage m(QStringLiteral("é €"));
    packet.append(m);
    const QByteArray printed = TestHelpers::captureStdout([&] { packet.print(); });
    QCOMPARE(printed, packet.packetText().toUtf8());
}

QTEST_GUILESS_MAIN(TestXmlPacket)
#include "tst_xmlpacket.moc"
