// XMLMessage and XMLImage: the two small payload objects.
#include "testhelpers.h"

#include <kxxml/xml/xmlimage.h>
#include <kxxml/xml/xmlmessage.h>

#include <QtTest>

class TestPayloads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void messageText_data();
    void messageText();
    void messageRewrite();
    void image();
};

void TestPayloads::messageText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("xml");
    QTest::newRow("plain") << QStringLiteral("hello") << QStringLiteral(" <msg msg=\"hello\"/>\n");
    QTest::newRow("escaped") << QStringLiteral("a \"b\" & <c>")
                             << QStringLiteral(" <msg msg=\"a &quot;b&quot; &amp; &lt;c>\"/>\n");
    QTest::newRow("empty writes nothing") << QString() << QStringLiteral(" <msg/>\n");
}

void TestPayloads::messageText()
{
    QFETCH(QString, text);
    QFETCH(QString, xml);
    const XMLMessage message(text);
    QVERIFY(message.isXMLMessage());
    QCOMPARE(message.toString(), xml);
    QCOMPARE(message.getMessage(), text);
    // The text survives a trip through XML text.
    const QDomElement read = TestHelpers::parseElement(message.toString());
    QCOMPARE(XMLObject::getAttribute(read, QStringLiteral("msg")), text);
}

void TestPayloads::messageRewrite()
{
    XMLMessage message;
    QVERIFY(message.getMessage().isNull());
    message.setMessage(QStringLiteral("first"));
    message.setMessage(QStringLiteral("second"));
    QCOMPARE(message.getNodeConst().attributes().count(), 1);
    QCOMPARE(message.getMessage(), QStringLiteral("second"));
}

void TestPayloads::image()
{
    XMLImage empty;
    QVERIFY(empty.isXMLImage());
    QVERIFY(empty.getName().isNull());
    QVERIFY(empty.getURL().isNull());
    QCOMPARE(empty.toString(), QStringLiteral(" <img/>\n"));

    XMLImage image(QStringLiteral("logo"));
    const QString url = QStringLiteral("not a url: <&> ?x=1");
    image.setURL(url);
    QCOMPARE(image.getName(), QStringLiteral("logo"));
    QCOMPARE(image.getURL(), url);
    QCOMPARE(image.toString(), QStringLiteral(" <img name=\"logo\" url=\"not a url: &lt;&amp;> ?x=1\"/>\n"));
}

QTEST_GUILESS_MAIN(TestPayloads)
#include "tst_payloads.moc"
