// XMLObject: construction, root names, node handling and nodes of a type.
#include <kxxml/xml/xmlobject.h>

#include <QtTest>

Q_DECLARE_METATYPE(XMLObject::XMLOBJECT_TYPE)

namespace {

QStringList childNames(const QDomElement& parent)
{
    QStringList names;
    for (QDomNode n = parent.firstChild(); !n.isNull(); n = n.nextSibling())
        names << n.nodeName();
    return names;
}

// A parent holding, in order: msg, action, ui, action, action (adjacent), text.
QDomElement mixedParent(QDomDocument& document)
{
    QDomElement parent = document.createElement(QStringLiteral("body"));
    document.appendChild(parent);
    for (const char* name : { "msg", "action", "ui", "action", "action" })
        XMLObject::createElement(parent, QLatin1String(name));
    XMLObject::createTextNodeV(parent, QStringLiteral("action"));
    return parent;
}

} // namespace

class TestXmlObject : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rootNames_data();
    void rootNames();
    void constructionBuildsDummyDocument();
    void nodesOfType();
    void removeNodesOfType();
    void nodeCopiesAndSharing();
};

void TestXmlObject::rootNames_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("name");
    QTest::newRow("packet") << 0 << "kxxml";
    QTest::newRow("packetable") << 1 << "packetable";
    QTest::newRow("action") << 2 << "action";
    QTest::newRow("ui") << 3 << "ui";
    QTest::newRow("image") << 4 << "img";
    QTest::newRow("message") << 5 << "msg";
    QTest::newRow("unknown 9") << 9 << "nobody";
}

void TestXmlObject::rootNames()
{
    QFETCH(int, type);
    QFETCH(QString, name);
    const auto t = static_cast<XMLObject::XMLOBJECT_TYPE>(type);
    QCOMPARE(XMLObject::rootNodeName(t), name);
    XMLObject object(t);
    QCOMPARE(object.toString(), QStringLiteral(" <%1/>\n").arg(name));
}

void TestXmlObject::constructionBuildsDummyDocument()
{
    XMLObject object(XMLObject::XMLOBJECT_UI);
    const QDomElement node = object.getNodeConst();
    const QDomElement dummy = node.parentNode().toElement();
    QCOMPARE(dummy.tagName(), QStringLiteral("dummydoc"));
    QCOMPARE(dummy.namespaceURI(), QLatin1String("")); // empty, not null
    QVERIFY(!dummy.namespaceURI().isNull());
    QVERIFY(dummy.ownerDocument().doctype().name().isEmpty());
    QCOMPARE(childNames(dummy), QStringList{ QStringLiteral("ui") });
}

void TestXmlObject::nodesOfType()
{
    QDomDocument document;
    const QDomElement parent = mixedParent(document);
    QVERIFY(XMLObject::hasNodesOfType(parent, XMLObject::XMLOBJECT_ACTION));
    QVERIFY(!XMLObject::hasNodesOfType(parent, XMLObject::XMLOBJECT_IMAGE));

    std::list<QDomNode> found;
    QCOMPARE(XMLObject::getNodesOfType(parent, XMLObject::XMLOBJECT_ACTION, found), 3);
    QCOMPARE(found.front(), parent.childNodes().at(1)); // document order
    QCOMPARE(found.back(), parent.childNodes().at(4));
    // Results accumulate over calls; a kind with no children leaves the list alone.
    QCOMPARE(XMLObject::getNodesOfType(parent, XMLObject::XMLOBJECT_ACTION, found), 3);
    QCOMPARE(found.size(), size_t(6));
    QCOMPARE(XMLObject::getNodesOfType(parent, XMLObject::XMLOBJECT_IMAGE, found), 0);
    QCOMPARE(found.size(), size_t(6));

    // Only direct children count.
    QDomElement outer = document.createElement(QStringLiteral("outer"));
    QDomElement inner = XMLObject::createElement(outer, QStringLiteral("inner"));
    XMLObject::createElement(inner, QStringLiteral("msg"));
    QVERIFY(!XMLObject::hasNodesOfType(outer, XMLObject::XMLOBJECT_MESSAGE));
    QCOMPARE(XMLObject::getNodesOfType(outer, XMLObject::XMLOBJECT_MESSAGE, found), 0);
}

void TestXmlObject::removeNodesOfType()
{
    QDomDocument document;
    QDomElement parent = mixedParent(document);
    XMLObject::removeNodesOfType(parent, XMLObject::XMLOBJECT_ACTION);
    QCOMPARE(childNames(parent), (QStringList{ QStringLiteral("msg"), QStringLiteral("ui"), QStringLiteral("#text") }));
}

// setNode and getNode copy; getNodeConst shares the object's element.
void TestXmlObject::nodeCopiesAndSharing()
{
    QDomDocument document;
    QDomElement e = document.createElement(QStringLiteral("action"));
    e.setAttribute(QStringLiteral("name"), QStringLiteral("open"));
    XMLObject object(XMLObject::XMLOBJECT_ACTION);
    const QDomElement previous = object.getNodeConst();
    object.setNode(e);
    e.setAttribute(QStringLiteral("name"), QStringLiteral("changed"));
    QDomElement copy = object.getNode();
    XMLObject::createElement(copy, QStringLiteral("child"));
    QCOMPARE(object.toString(), QStringLiteral(" <action name=\"open\"/>\n"));
    // The copy belongs to the object's document but is not in its tree; the previous
    // node stays where it was.
    QVERIFY(object.getNodeConst().parentNode().isNull());
    QCOMPARE(object.getNodeConst().ownerDocument(), previous.ownerDocument());
    QCOMPARE(previous.parentNode().nodeName(), QStringLiteral("dummydoc"));

    QDomElement elsewhere = document.createElement(QStringLiteral("body"));
    {
        XMLObject image(XMLObject::XMLOBJECT_IMAGE);
        elsewhere.appendChild(image.getNodeConst());
        QDomElement node = image.getNodeConst();
        node.setAttribute(QStringLiteral("name"), QStringLiteral("logo"));
    }
    // The element outlives its object in its new tree.
    QCOMPARE(XMLObject::toString(elsewhere), QStringLiteral(" <body>\n  <img name=\"logo\"/>\n </body>\n"));
}

QTEST_GUILESS_MAIN(TestXmlObject)
#include "tst_xmlobject.moc"
