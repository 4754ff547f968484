// XMLObject::toString against Qt's own writer, on every kind of node Qt's DOM holds.
#include "testhelpers.h"

#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/xml/xmlobject.h>

#include <QDomDocument>
#include <QRandomGenerator>
#include <QtTest>

#include <functional>

using TestHelpers::qtText;

using Builder = std::function<QDomNode(QDomDocument&)>;
Q_DECLARE_METATYPE(Builder)

namespace {

// A string holding every character the writers escape, plus non-ASCII text.
const QString kSpecials = QStringLiteral("a<b>c&d\"e'f]]>g]>h\ri\nj\tk é € 😀 ]]");

QDomElement element(QDomDocument& d, const QString& name, QDomNode parent = {})
{
    QDomElement e = d.createElement(name);
    (parent.isNull() ? QDomNode(d) : parent).appendChild(e);
    return e;
}

/// A packet whose body a test fills and changes at will.
struct OpenPacket : XMLPacket
{
    using XMLPacket::operator=;
    QDomDocument& document() { return packetDocument; }
    QDomElement& bodyElement() { return body; }

    /// Every node of the envelope's document but the document, in document order.
    QList<QDomNode> nodes() const
    {
        QList<QDomNode> out;
        QDomNode n = packetDocument.firstChild();
        while (!n.isNull()) {
            out << n;
            if (n.hasChildNodes()) {
                n = n.firstChild();
                continue;
            }
            while (n.nextSibling().isNull() && !n.parentNode().isDocument())
                n = n.parentNode();
            n = n.nextSibling();
        }
        return out;
    }
};

/// Replaces @p target by other nodes that are written the same, where it can.
void imitate(QDomDocument& d, QDomNode target)
{
    QDomNode parent = target.parentNode();
    const QDomElement e = target.toElement();
    if (e.isNull()) {
        // "x&y" as the text "x", a reference to the entity amp and the text "y".
        const QString value = target.nodeValue();
        const qsizetype at = value.indexOf(QLatin1Char('&'));
        if (target.nodeType() != QDomNode::TextNode || at < 0)
            return;
        target.setNodeValue(value.left(at));
        parent.insertAfter(d.createTextNode(value.mid(at + 1)),
                           parent.insertAfter(d.createEntityReference(QStringLiteral("amp")), target));
        return;
    }
    QDomElement lookalike;
    if (!e.namespaceURI().isNull() && e.prefix().isEmpty()) {
        // A namespace declaration as a plain attribute.
        lookalike = d.createElement(e.localName());
        lookalike.setAttribute(QStringLiteral("xmlns"), e.namespaceURI());
    } else if (e.hasAttributeNS(QStringLiteral("urn:a"), QStringLiteral("a")) && e.prefix() != QLatin1String("p")) {
        // A namespaced attribute and its declaration as plain attributes.
        QDomElement copy = target.cloneNode(false).toElement();
        copy.removeAttributeNS(QStringLiteral("urn:a"), QStringLiteral("a"));
        copy.setAttribute(QStringLiteral("p:a"), QStringLiteral("1"));
        copy.setAttribute(QStringLiteral("xmlns:p"), QStringLiteral("urn:a"));
        lookalike = copy;
    } else if (e.namespaceURI().isNull() && e.attributes().count() == 1 && e.attributes().item(0).namespaceURI().isNull()) {
        // An attribute as part of the name.
        const QDomNode a = e.attributes().item(0);
        lookalike = d.createElement(e.tagName() + QLatin1Char(' ') + a.nodeName() + QStringLiteral("=\"")
                                    + a.nodeValue() + QLatin1Char('"'));
    } else {
        return;
    }
    while (e.hasChildNodes())
        lookalike.appendChild(e.firstChild());
    parent.replaceChild(lookalike, target);
}

/// Makes one change to @p packet somewhere, chosen by @p rng: most leave the text as it was
/// or change it in a way that only some other tree could imitate.
void changeOnce(OpenPacket& packet, QRandomGenerator& rng)
{
    const QList<QDomNode> nodes = packet.nodes();
    QDomNode target = nodes.at(rng.bounded(int(nodes.size())));
    QDomDocument& d = packet.document();
    QDomNode parent = target.parentNode();
    static const QStringList names = { QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("xmlns"),
                                       QStringLiteral("e1"), QStringLiteral("a b=\"1\""), QStringLiteral("agent_id") };
    const QString name = names.at(rng.bounded(int(names.size())));
    switch (rng.bounded(12)) {
    case 0: // a name, a namespace
        if (target.isElement() && rng.bounded(3) == 0) {
            QDomElement inEmpty = d.createElementNS(QLatin1String(""), target.nodeName());
            while (target.hasChildNodes())
                inEmpty.appendChild(target.firstChild());
            parent.replaceChild(inEmpty, target);
        } else if (target.isElement())
            target.toElement().setTagName(name);
        else if (target.isEntityReference())
            parent.replaceChild(d.createEntityReference(QStringLiteral("lt")), target);
        break;
    case 1: // an attribute set, replaced, namespaced or removed
        if (!target.isElement())
            break;
        switch (rng.bounded(3)) {
        case 0: target.toElement().setAttribute(name, TestHelpers::randomText(rng)); break;
        case 1: target.toElement().setAttributeNS(QStringLiteral("urn:%1").arg(rng.bounded(2)), QStringLiteral("p:a"), QStringLiteral("1")); break;
        default: target.toElement().removeAttribute(name); break;
        }
        break;
    case 2: { // one character of a text, comment, instruction or CDATA section
        if (!target.isCharacterData() && !target.isProcessingInstruction())
            break;
        QString value = target.nodeValue();
        const QString replacement = TestHelpers::randomText(rng).left(1);
        const int at = value.isEmpty() ? 0 : rng.bounded(int(value.size()));
        value.replace(at, value.isEmpty() ? 0 : 1, replacement);
        target.setNodeValue(value);
        break;
    }
    case 3: { // a text node split in two (not with QDomText::splitText, which leaks in Qt 6.4)
        const QString value = target.nodeValue();
        if (target.nodeType() != QDomNode::TextNode || value.size() < 2)
            break;
        const int at = 1 + rng.bounded(int(value.size() - 1));
        target.setNodeValue(value.left(at));
        parent.insertAfter(d.createTextNode(value.mid(at)), target);
        break;
    }
    case 4: { // a text node merged into the one before it
        const QDomNode previous = target.previousSibling();
        if (target.nodeType() == QDomNode::TextNode && previous.nodeType() == QDomNode::TextNode) {
            previous.toCharacterData().appendData(target.nodeValue());
            parent.removeChild(target);
        }
        break;
    }
    case 5: // an empty text node
        parent.insertBefore(d.createTextNode(QString()), target);
        break;
    case 6: { // indentation written as text
        int depth = 0;
        for (QDomNode n = target.parentNode(); !n.isDocument(); n = n.parentNode())
            ++depth;
        parent.insertBefore(d.createTextNode(QLatin1Char('\n') + QString(depth - rng.bounded(2), QLatin1Char(' '))), target);
        break;
    }
    case 7: // a node that is written as it is
        switch (rng.bounded(4)) {
        case 0: parent.insertBefore(d.createComment(TestHelpers::randomText(rng)), target); break;
        case 1: parent.insertBefore(d.createProcessingInstruction(QStringLiteral("pi"), TestHelpers::randomText(rng)), target); break;
        case 2: parent.insertBefore(d.createCDATASection(TestHelpers::randomText(rng)), target); break;
        default: parent.insertBefore(d.createEntityReference(QStringLiteral("amp")), target); break;
        }
        break;
    case 8: // a node removed
        if (parent.isElement())
            parent.removeChild(target);
        break;
    case 9: // another tree written the same
        imitate(d, target);
        break;
    case 10: { // a document type
        QDomImplementation dom;
        QDomDocument typed = dom.createDocument(XMLObject::KX_NAMESPACE, QStringLiteral("kxxml"),
                                                dom.createDocumentType(QStringLiteral("kxxml"), {}, {}));
        for (QDomNode n = d.documentElement().firstChild(); !n.isNull(); n = n.nextSibling())
            typed.documentElement().appendChild(typed.importNode(n, true));
        d = typed;
        break;
    }
    default: // nothing
        break;
    }
}

} // namespace

class TestXmlWriter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void matchesQt_data();
    void matchesQt();
    void deepTreeWithoutRecursion();
    void packetEqualityIsTextEquality();
};

void TestXmlWriter::matchesQt_data()
{
    QTest::addColumn<Builder>("build");
    QTest::addColumn<QString>("expected"); // null: what Qt's own writer writes

    QTest::newRow("null node") << Builder([](QDomDocument&) { return QDomNode(); }) << QString();
    // Attributes in name order, whatever order Qt holds them in.
    QTest::newRow("attributes in name order") << Builder([](QDomDocument& d) -> QDomNode {
        QDomElement e = element(d, QStringLiteral("e"));
        for (const char* name : { "zeta", "alpha", "mid", "beta", "Alpha" })
            e.setAttribute(QLatin1String(name), QString::fromLatin1(name).toUpper());
        return e;
    }) << QStringLiteral(" <e Alpha=\"ALPHA\" alpha=\"ALPHA\" beta=\"BETA\" mid=\"MID\" zeta=\"ZETA\"/>\n");

    QTest::newRow("text outside an element") << Builder([](QDomDocument& d) -> QDomNode { return d.createTextNode(kSpecials); }) << QString();
    QTest::newRow("prefixed namespaces") << Builder([](QDomDocument& d) -> QDomNode {
        QDomElement a = d.createElementNS(QStringLiteral("urn:a"), QStringLiteral("p:a"));
        d.appendChild(a);
        QDomElement b = d.createElementNS(QStringLiteral("urn:b"), QStringLiteral("q:b"));
        b.setAttributeNS(QStringLiteral("urn:c"), QStringLiteral("r:at"), QStringLiteral("1"));
        a.appendChild(b);
        QDomElement c = d.createElementNS(QString(), QStringLiteral("c"));
        a.appendChild(c);
        return a;
    }) << QString();
    QTest::newRow("empty namespace") << Builder([](QDomDocument& d) -> QDomNode {
        QDomElement a = d.createElementNS(QLatin1String(""), QStringLiteral("dummydoc"));
        d.appendChild(a);
        element(d, QStringLiteral("ui"), a);
        return a;
    }) << QString();
    QTest::newRow("parsed document with doctype") << Builder([](QDomDocument& d) -> QDomNode {
        d.setContent(QStringLiteral("<?xml version=\"1.0\"?><!DOCTYPE r><r>\n <x a=\"1\">t</x>\n</r>"));
        return d;
    }) << QString();
    QTest::newRow("element inside siblings") << Builder([](QDomDocument& d) -> QDomNode {
        QDomElement a = element(d, QStringLiteral("a"));
        a.appendChild(d.createTextNode(QStringLiteral("t")));
        QDomElement b = element(d, QStringLiteral("b"), a);
        element(d, QStringLiteral("c"), b);
        a.appendChild(d.createTextNode(QStringLiteral("u")));
        return b;
    }) << QString();
    QTest::newRow("document fragment") << Builder([](QDomDocument& d) -> QDomNode {
        QDomDocumentFragment f = d.createDocumentFragment();
        f.appendChild(d.createElement(QStringLiteral("a")));
        f.appendChild(d.createTextNode(QStringLiteral("t")));
        element(d, QStringLiteral("c"), f.appendChild(d.createElement(QStringLiteral("b"))));
        return f;
    }) << QString();
    QTest::newRow("attribute node") << Builder([](QDomDocument& d) -> QDomNode {
        QDomElement a = element(d, QStringLiteral("a"));
        a.setAttribute(QStringLiteral("v"), kSpecials);
        return a.attributeNode(QStringLiteral("v"));
    }) << QString();
    QTest::newRow("document type") << Builder([](QDomDocument& d) -> QDomNode {
        d.setContent(QStringLiteral("<!DOCTYPE r><r/>"));
        return d.doctype();
    }) << QString();
    // Namespaced content made by hand, as it may come from outside the library.
    QTest::newRow("namespace URIs with tab and line ends") << Builder([](QDomDocument& d) -> QDomNode {
        QDomElement a = d.createElementNS(QStringLiteral("urn:a\tb\nc\rd<&\"]]>"), QStringLiteral("p:a"));
        d.appendChild(a);
        a.setAttributeNS(QStringLiteral("urn:\t\n\r"), QStringLiteral("q:at"), QStringLiteral("1"));
        a.appendChild(d.createElementNS(QStringLiteral("urn:\r\n"), QStringLiteral("b")));
        return a;
    }) << QString();
    QTest::newRow("namespaced attribute without a prefix") << Builder([](QDomDocument& d) -> QDomNode {
        QDomElement a = element(d, QStringLiteral("a"));
        a.setAttributeNS(QStringLiteral("urn:x"), QStringLiteral("at"), QStringLiteral("1"));
        QDomElement b = d.createElementNS(QStringLiteral("urn:b"), QStringLiteral("p:b"));
        b.setAttributeNS(QStringLiteral("urn:y"), QStringLiteral("at"), QStringLiteral("2"));
        a.appendChild(b);
        return a;
    }) << QString();
    QTest::newRow("namespaced attribute node, owner of its prefix") << Builder([](QDomDocument& d) -> QDomNode {
        QDomElement a = d.createElementNS(QStringLiteral("urn:a"), QStringLiteral("p:a"));
        d.appendChild(a);
        a.setAttributeNS(QStringLiteral("urn:a"), QStringLiteral("p:at"), QStringLiteral("1"));
        return a.attributeNodeNS(QStringLiteral("urn:a"), QStringLiteral("at"));
    }) << QString();
    QTest::newRow("namespaced attribute node, owner of another prefix") << Builder([](QDomDocument& d) -> QDomNode {
        QDomElement a = d.createElementNS(QStringLiteral("urn:a"), QStringLiteral("p:a"));
        d.appendChild(a);
        a.setAttributeNS(QStringLiteral("urn:\tq"), QStringLiteral("q:at"), QStringLiteral("1"));
        return a.attributeNodeNS(QStringLiteral("urn:\tq"), QStringLiteral("at"));
    }) << QString();
    // Random trees (at most one attribute on an element), as elements and as documents.
    for (quint32 seed = 1; seed <= 300; ++seed) {
        QTest::addRow("random tree %u", seed) << Builder([seed](QDomDocument& d) -> QDomNode {
            QRandomGenerator rng(seed);
            QDomElement root = element(d, QStringLiteral("root"));
            TestHelpers::growRandom(d, root, rng, 0);
            return seed % 2 ? QDomNode(root) : QDomNode(d);
        }) << QString();
    }
}

void TestXmlWriter::matchesQt()
{
    QFETCH(Builder, build);
    QFETCH(QString, expected);
    QDomDocument document;
    const QDomNode node = build(document);
    QCOMPARE(XMLObject::toString(node), expected.isNull() ? qtText(node) : expected);
}

void TestXmlWriter::deepTreeWithoutRecursion()
{
    // Text around each nested element, so no line is indented and the text stays linear in
    // the depth (indentation alone would make it quadratic).
    // Built from the bottom up: Qt's appendChild walks the new parent's ancestors.
    const int depth = 100000;
    QDomDocument document;
    QDomElement top = document.createElement(QStringLiteral("d"));
    const QDomElement bottom = top;
    for (int i = 1; i < depth; ++i) {
        QDomElement parent = document.createElement(QStringLiteral("d"));
        parent.appendChild(document.createTextNode(QStringLiteral("t")));
        parent.appendChild(top);
        parent.appendChild(document.createTextNode(QStringLiteral("u")));
        top = parent;
    }
    document.appendChild(top);

    const QString text = XMLObject::toString(top);
    const QString expected = QLatin1Char(' ') + QStringLiteral("<d>t").repeated(depth - 1) + QStringLiteral("<d/>")
                             + QStringLiteral("u</d>").repeated(depth - 1) + QLatin1Char('\n');
    QVERIFY2(text == expected, qPrintable(text.left(40) + QStringLiteral("...") + text.right(40)));

    // Qt's DOM destroys nodes recursively: take the tree apart from the top down, so that
    // each node goes on its own (Qt's removeChild walks the parent's ancestors).
    document.removeChild(top);
    for (QDomElement e = top; e != bottom;) {
        const QDomElement child = e.firstChildElement();
        e.removeChild(child);
        e = child;
    }
}

// Packet equality compares trees without writing them: for every pair of trees it must
// answer what comparing the two texts answers, including trees of different shapes that
// are written the same.
void TestXmlWriter::packetEqualityIsTextEquality()
{
    int equalTexts = 0;
    int equalTextsOfOtherTrees = 0;
    const int pairs = 4000;
    for (quint32 seed = 1; seed <= quint32(pairs); ++seed) {
        QRandomGenerator rng(seed);
        OpenPacket a;
        a.setSourceAgentID(1);
        a.setDestinationAgentID(-1);
        TestHelpers::growRandom(a.document(), a.bodyElement(), rng, 0);
        if (rng.bounded(4) == 0) {
            const QList<QDomNode> nodes = a.nodes();
            QDomElement e = nodes.at(rng.bounded(int(nodes.size()))).toElement();
            e.setAttributeNS(QStringLiteral("urn:a"), QStringLiteral("p:a"), QStringLiteral("1"));
        }
        OpenPacket b;
        b = a;
        changeOnce(b, rng);
        const bool sameText = a.packetText() == b.packetText();
        if ((a == b) != sameText || (b == a) != sameText)
            QFAIL(qPrintable(QStringLiteral("seed %1: == answers %2, the texts are %3:\n%4\n---\n%5")
                                     .arg(seed).arg(a == b).arg(sameText ? u"equal" : u"different")
                                     .arg(a.packetText(), b.packetText())));
        equalTexts += sameText;
        equalTextsOfOtherTrees += sameText && !TestHelpers::sameTree(a.document(), b.document());
    }
    // Both answers, and trees that only their texts make equal, are well represented.
    QVERIFY2(equalTexts > pairs / 5 && equalTexts < pairs * 4 / 5, qPrintable(QString::number(equalTexts)));
    QVERIFY2(equalTextsOfOtherTrees > pairs / 50, qPrintable(QString::number(equalTextsOfOtherTrees)));
}

QTEST_GUILESS_MAIN(TestXmlWriter)
#include "tst_xmlwriter.moc"
