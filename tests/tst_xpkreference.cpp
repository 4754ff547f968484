// Archive nodes and references: XMLPacketable built from the host's archive with referred
// packets inlined, the cycle guard, and XPKReference handing inlined packets out again.
#include "hosttesthelpers.h"
#include "testhelpers.h"

#include <kxxml/kxxml.h>

#include <QPointer>
#include <QRegularExpression>
#include <QtTest>

#include <memory>

namespace {

// Letter packets refer to others by key through _11 and by name through _1b; Coated has no
// key, so it is matched by name.
const char* const kDataset = R"({
  "format": "kxhost-dataset/1",
  "connection": { "host": "press01.example", "port": 7010 },
  "profiles": [ { "name": "Coated", "data": "0A0B0C0D" } ],
  "archive": [
    { "type": "1f", "name": "Letter", "key": "12:3",
      "text": "SI 1F\n10 Dear sir\n11 100 1\n1B Coated\nTI 0\n",
      "children": [
        { "type": "15", "name": "Front", "key": "100:1",
          "text": "SI 15\n01 Front\n02 Morning Post\n03 7\n05 A 1\n12 Coated\nTI 0\n" },
        { "type": "30", "name": "Coated", "text": "SI 30\n01 Coated\n03 4.2\nTI 0\n" } ] },
    { "type": "8", "name": "North", "key": "a:1", "text": "SI 8\n01 North\n02 1\n03 1\nTI 0\n" },
    { "type": "15", "name": "Twice", "key": "104:1", "text": "SI 15\n01 Twice\n02 Coated\n12 Coated\nTI 0\n" } ] })";

const char* const kOtherServer = R"({
  "format": "kxhost-dataset/1",
  "connection": { "host": "press02.example", "port": 7011 },
  "profiles": [ { "name": "Coated", "data": "FFFF" } ] })";

// A hand-built letter: "<name> <key> <key ref or -> <name ref or ->", keys with hkey 1.
ArchiveNode* letter(const QString& description)
{
    const QStringList w = description.split(QLatin1Char(' '));
    QByteArray text = "SI 1F\n10 " + w.at(0).toUtf8() + '\n';
    if (w.at(2) != QLatin1String("-"))
        text += "11 " + w.at(2).toUtf8() + " 1\n";
    if (w.at(3) != QLatin1String("-"))
        text += "1B " + w.at(3).toUtf8() + '\n';
    text += "TI 0\n";
    auto* packet = PacketableUtil::getPacketable(PDT_LETTER);
    if (!packet->fromPacket(text.data(), static_cast<unsigned int>(text.size()), false, true))
        qWarning("%s", packet->lastError());
    packet->setName(w.at(0).toUtf8().constData());
    packet->key = {w.at(1).toUInt(nullptr, 16), w.at(1) == QLatin1String("0") ? 0u : 1u};
    return new ArchiveNode(packet);
}

// A root holding one letter per description (separated by ", "), flat.
std::unique_ptr<ArchiveNode> archiveOf(const QString& descriptions)
{
    auto root = std::make_unique<ArchiveNode>();
    for (const QString& d : descriptions.split(QStringLiteral(", ")))
        root->appendChild(letter(d));
    return root;
}

// The packetables inlined under @p p, as "name[element:child,...]".
QString shape(const QDomElement& p)
{
    QStringList inner;
    for (QDomElement item = p.firstChildElement(XMLPacketable::ITEM); !item.isNull();
         item = item.nextSiblingElement(XMLPacketable::ITEM)) {
        for (QDomElement e = item.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
            for (QDomElement c = e.firstChildElement(QStringLiteral("packetable")); !c.isNull();
                 c = c.nextSiblingElement(QStringLiteral("packetable")))
                inner << e.tagName() + QLatin1Char(':') + shape(c);
        }
    }
    const QString name = XMLPacketable::getName(p);
    return inner.isEmpty() ? name : name + QLatin1Char('[') + inner.join(QLatin1Char(',')) + QLatin1Char(']');
}

QDomElement dataElement(const QDomElement& p, const QString& name)
{
    return XMLPacketable::getPacketableItemNode(p).firstChildElement(name);
}

} // namespace

class TestXpkReference : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void inlinesFromArchive_data();
    void inlinesFromArchive();
    void cyclesInlineOncePerPath_data();
    void cyclesInlineOncePerPath();
    void insertInlineDataMatching_data();
    void insertInlineDataMatching();
    void byNameMatchesAnyElementOfThePacketItem();
    void colourProfileLoadedFromServer_data();
    void colourProfileLoadedFromServer();
    void nullNodesAndMissingCache();
    void referencesHandedOut_data();
    void referencesHandedOut();
};

void TestXpkReference::inlinesFromArchive_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("handedOut"); // the references getXPKReferences gives, by name
    // Front's name reference "Morning Post" is unresolved: skipped.
    QTest::newRow("by key and by name, nested") << "Letter" << "Letter[_11:Front[_5:North,_12:Coated],_1b:Coated]" << "Front Coated";
    // Each of the two references inlines a copy into every element that names the profile.
    QTest::newRow("two references to one node") << "Twice" << "Twice[_2:Coated,_2:Coated,_12:Coated,_12:Coated]" << "Coated Coated";
}

void TestXpkReference::inlinesFromArchive()
{
    QFETCH(QString, entry);
    QFETCH(QString, expected);
    QFETCH(QString, handedOut);
    const auto server = hosttest::openOwnJson(kDataset);
    const std::unique_ptr<XMLPacketable> p(
            XMLPacketable::fromArchiveNode(*server, hosttest::nodeNamed(*server->archive(), entry.toUtf8().constData())));
    QVERIFY(p);
    QCOMPARE(shape(p->getNodeConst()), expected);
    QVERIFY(p->getDataConst()); // the packet's own XML still converts back

    // Each packetable handed out is the one its node gives on its own, and converts back too.
    QList<XPKReference*> refs;
    p->getXPKReferences(refs);
    QStringList names;
    for (const XPKReference* r : std::as_const(refs)) {
        names << r->packetable->getName();
        const std::unique_ptr<XMLPacketable> direct(XMLPacketable::fromArchiveNode(
                *server, hosttest::nodeNamed(*server->archive(), names.constLast().toUtf8().constData())));
        QCOMPARE(r->packetable->toString(), direct->toString());
        QVERIFY(r->packetable->getDataConst());
    }
    qDeleteAll(refs);
    QCOMPARE(names.join(QLatin1Char(' ')), handedOut);
}

void TestXpkReference::cyclesInlineOncePerPath_data()
{
    QTest::addColumn<QString>("archive");
    QTest::addColumn<QString>("expected");
    QTest::newRow("self by key") << "A 1 1 -" << "A";
    QTest::newRow("cycle below the start") << "A 1 2 -, B 2 3 -, C 3 2 -" << "A[_11:B[_11:C]]";
    QTest::newRow("two ways round") << "A 1 2 C, B 2 1 -, C 0 2 -" << "A[_11:B,_1b:C[_11:B]]";
    // Deep enough to need a non-recursive walk; shallow enough for Qt's recursive DOM teardown.
    const int length = 300;
    QStringList chain;
    QString inlined = QStringLiteral("P%1").arg(length);
    for (int i = 1; i <= length; ++i)
        chain << QStringLiteral("P%1 %2 %3 -").arg(i).arg(i, 0, 16).arg(i < length ? QString::number(i + 1, 16) : QStringLiteral("-"));
    for (int i = length - 1; i >= 1; --i)
        inlined = QStringLiteral("P%1[_11:%2]").arg(i).arg(inlined);
    QTest::newRow("long chain, inlined to its end") << chain.join(QStringLiteral(", ")) << inlined;
}

void TestXpkReference::cyclesInlineOncePerPath()
{
    QFETCH(QString, archive);
    QFETCH(QString, expected);
    KXCommServer server;
    const auto root = archiveOf(archive);
    XMLPacketable p;
    p.setData(server, root->getChild(0));
    QCOMPARE(shape(p.getNodeConst()), expected);
}

void TestXpkReference::insertInlineDataMatching_data()
{
    QTest::addColumn<uint>("key");
    QTest::addColumn<uint>("hkey");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    // A refers to 5:1 by key (_11) and to "T" by name (_1b).
    QTest::newRow("by key") << 5u << 1u << "T" << "A[_11:T]";
    QTest::newRow("hkey 0, no name") << 5u << 0u << "" << "A";
    QTest::newRow("invalid key, by name") << 5u << 0u << "T" << "A[_1b:T]";
    QTest::newRow("valid key decides, not the name") << 6u << 1u << "T" << "A";
}

void TestXpkReference::insertInlineDataMatching()
{
    QFETCH(uint, key);
    QFETCH(uint, hkey);
    QFETCH(QString, name);
    QFETCH(QString, expected);
    KXCommServer server;
    const auto root = archiveOf(QStringLiteral("A 1 5 T, T 5 - -"));
    KXPacketable* referred = root->getChild(1)->getPacket();
    referred->key = {key, hkey};
    referred->setName(name.isEmpty() ? nullptr : name.toUtf8().constData());
    XMLPacketable p;
    p.setData(*root->getChild(0)->getPacket());
    p.insertInlineData(server, root->getChild(1));
    QCOMPARE(shape(p.getNodeConst()), expected);
}

// By name, a copy goes into every element of the packet item that holds the name, after what
// the element holds already.
void TestXpkReference::byNameMatchesAnyElementOfThePacketItem()
{
    KXCommServer server;
    const auto root = archiveOf(QStringLiteral("A 1 - T, T 0 - -"));
    XMLPacketable p;
    p.setData(*root->getChild(0)->getPacket());
    QDomElement byName = dataElement(p.getNodeConst(), QStringLiteral("_1b"));
    XMLObject::createElementV(byName, QStringLiteral("existing"));
    // A plain text element holding the name, and an item of another data type holding it too.
    QDomElement item = XMLPacketable::getPacketableItemNode(p.getNodeConst());
    XMLPacketable::createSimpleElementV(item, QStringLiteral("_16"), QStringLiteral("T"));
    QDomElement rootElement = p.getNodeConst();
    QDomElement section = XMLPacketable::createItemElement(rootElement, QStringLiteral("5"));
    XMLPacketable::createSimpleElementV(section, QStringLiteral("_1"), QStringLiteral("T"));
    p.insertInlineData(server, root->getChild(1));
    QCOMPARE(shape(p.getNodeConst()), QStringLiteral("A[_1b:T,_16:T]"));
    QCOMPARE(byName.firstChildElement().tagName(), QStringLiteral("existing"));
    QCOMPARE(byName.childNodes().count(), 2);
}

void TestXpkReference::colourProfileLoadedFromServer_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("size");
    QTest::addColumn<QString>("data");
    QTest::newRow("other server") << "other" << "2" << "FFFF";
    QTest::newRow("no server") << "none" << QString() << QString();
}

// The profile inlined into the letter, loaded through the connection given.
void TestXpkReference::colourProfileLoadedFromServer()
{
    QFETCH(QString, server);
    QFETCH(QString, size);
    QFETCH(QString, data);
    const auto own = hosttest::openOwnJson(kDataset);
    const auto other = hosttest::openOwnJson(kOtherServer);
    KXCommServer none;
    KXCommServer& used = server == QLatin1String("other") ? *other : none;
    XMLPacketable p;
    p.setData(used, hosttest::nodeNamed(*own->archive(), "Letter"));

    const QDomElement profile = dataElement(p.getNodeConst(), QStringLiteral("_1b")).firstChildElement();
    QCOMPARE(XMLPacketable::getName(profile), QStringLiteral("Coated"));
    const QDomElement profileData = dataElement(profile, QStringLiteral("_2"));
    QCOMPARE(XMLObject::getAttribute(profileData, XMLPacketable::SIZE), size);
    QCOMPARE(profileData.text(), data);
}

void TestXpkReference::nullNodesAndMissingCache()
{
    const auto server = hosttest::openOwnJson(kDataset);
    QVERIFY(!XMLPacketable::fromArchiveNode(*server, nullptr));

    XMLPacketable p;
    const QString empty = p.toString();
    p.setData(*server, nullptr);
    p.setData(*server, server->archive()); // the root holds no packet
    QCOMPARE(p.toString(), empty);

    // After setData(const QDomNode&) there is no cached packet: nothing is inlined until
    // getDataConst() builds it.
    const auto plain = archiveOf(QStringLiteral("A 1 2 -, B 2 - -"));
    XMLPacketable a;
    a.setData(*plain->getChild(0)->getPacket());
    XMLPacketable bare;
    bare.setData(a.getNodeConst());
    bare.insertInlineData(*server, plain->getChild(1));
    QCOMPARE(shape(bare.getNodeConst()), QStringLiteral("A"));
    QVERIFY(bare.getDataConst());
    bare.insertInlineData(*server, plain->getChild(1));
    QCOMPARE(shape(bare.getNodeConst()), QStringLiteral("A[_11:B]"));
    bare.insertInlineData(*server, nullptr);
    QCOMPARE(shape(bare.getNodeConst()), QStringLiteral("A[_11:B]"));
}

// Packetable XML in which each "{N}" stands for an inlined packetable named N.
QString withInlined(const char* text)
{
    QString xml = QString::fromUtf8(text);
    static const QRegularExpression placeholder(QStringLiteral("\\{(\\w+)\\}"));
    return xml.replace(placeholder, QStringLiteral("<packetable name=\"\\1\" datatype=\"1f\"><item datatype=\"1f\"/></packetable>"));
}

void TestXpkReference::referencesHandedOut_data()
{
    QTest::addColumn<QString>("xml");
    QTest::addColumn<QString>("expected"); // "key:hkey name" or "name=<value> name", separated by ", "
    QTest::addColumn<int>("flag");
    QTest::newRow("letter, key and name")
            << withInlined("<packetable datatype='1f'><item datatype='1f'><_10 value='x'>{Text}</_10>"
                           "<_11 key='64' hkey='1'>{K}</_11><_1b value='N'>{N}</_1b></item></packetable>")
            << "64:1 K, name=N N" << 1;
    QTest::newRow("not inlined")
            << withInlined("<packetable datatype='1f'><item datatype='1f'><_11 key='64' hkey='1'/></item></packetable>")
            << "" << 0;
    QTest::newRow("nested list and item only")
            << withInlined("<packetable datatype='1f'><item datatype='1f'><list size='1'><item datatype='1f'>"
                           "<_11 key='1' hkey='1'>{L}</_11></item></list>"
                           "<item datatype='1f'><_1b value='I'>{I}</_1b></item></item></packetable>")
            << "" << 0;
    QTest::newRow("opaque item")
            << withInlined("<packetable datatype='6'><item datatype='6'><_11 key='1' hkey='1'>{O}</_11></item></packetable>")
            << "" << 0;
    QTest::newRow("bare item") << withInlined("<item datatype='1f'><_1b value='B'>{B}</_1b></item>")
                               << "name=B B" << 1;
}

void TestXpkReference::referencesHandedOut()
{
    QFETCH(QString, xml);
    QFETCH(QString, expected);
    QFETCH(int, flag);
    const QDomElement e = TestHelpers::parseElement(xml);
    QVERIFY(!e.isNull());
    XMLPacketable p;
    p.setData(e);
    QList<XPKReference*> out{new XPKReference(new XMLPacketable, QStringLiteral("earlier"))};
    const QPointer<XMLPacketable> earlier(out.first()->packetable);
    QCOMPARE(p.getXPKReferences(out), flag);
    QStringList got;
    for (qsizetype i = 1; i < out.size(); ++i) {
        const XPKReference* r = out.at(i);
        QVERIFY(r->name.isNull() != KXKEY_CC::isEqual(r->key, KXKEY_CC::getNullKey()));
        got << (r->name.isNull() ? QStringLiteral("%1:%2").arg(r->key.key, 0, 16).arg(r->key.hkey, 0, 16)
                                 : QStringLiteral("name=") + r->name)
                        + QLatin1Char(' ') + r->packetable->getName();
    }
    QCOMPARE(out.first()->name, QStringLiteral("earlier"));
    qDeleteAll(out);
    QVERIFY(earlier.isNull()); // a reference owns its packetable
    QCOMPARE(got.join(QStringLiteral(", ")), expected);
}

QTEST_GUILESS_MAIN(TestXpkReference)
#include "tst_xpkreference.moc"
