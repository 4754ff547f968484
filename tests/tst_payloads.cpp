// XMLMessage and XMLImage: the two small payload objects, as their texts are written.
#include <kxxml/xml/xmlimage.h>
#include <kxxml/xml/xmlmessage.h>

#include <QtTest>

class TestPayloads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void messageText_data();
    void messageText();
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
    QCOMPARE(message.toString(), xml);
    QCOMPARE(message.getMessage(), text);
}

void TestPayloads::image()
{
    XMLImage image(QStringLiteral("logo"));
    const QString url = QStringLiteral("not a url: <&> ?x=1");
    image.setURL(url);
    QCOMPARE(image.getName(), QStringLiteral("logo"));
    QCOMPARE(image.getURL(), url);
    QCOMPARE(image.toString(), QStringLiteral(" <img name=\"logo\" url=\"not a url: &lt;&amp;> ?x=1\"/>\n"));
}

QTEST_GUILESS_MAIN(TestPayloads)
#include "tst_payloads.moc"
