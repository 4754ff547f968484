// The host packets' text form: the values at their limits and the empty ones written and read
// back byte for byte (every storage class with every tag: tst_xmlpacketable's round trip), what
// the reader normalises, every input fromPacket refuses (with its reason, the packet left as it
// was; inputs nested 100,000 levels deep: tst_hostileinput), the conversion tables and the
// packet class of each data type.

#include "hosttesthelpers.h"

#include <QTest>

#include <typeinfo>

using namespace hosttest;

namespace {

// A valid text of the class, parsed before each refused one: it must survive the refusal.
QByteArray keptText(uint type)
{
    if (type == PDT_LETTER)
        return "SI 1F\n10 keep\n11 1 2\nSL 1\nSI 5\n01 A\nTI 0\nTL 0\nTI 0\n";
    return "SI " + QByteArray::number(type, 16).toUpper() + "\n01 keep\nTI 0\n"; // tag 01: a text in every other class
}

} // namespace

class TestKxHostTextForm : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip_data();
    void roundTrip();
    void rejects_data();
    void rejects();
    void storageClasses_data();
    void storageClasses();
    void changedTypeWritesEmptyItem();
};

void TestKxHostTextForm::roundTrip_data()
{
    QTest::addColumn<uint>("type");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("written"); // what toPacket gives after reading it

    const auto same = [](const char* name, uint type, const QByteArray& text) { QTest::newRow(name) << type << text << text; };
    same("section", 5, "SI 5\n01 News\n02 -2147483648\n03 32767\n04 0 \nTI 0\n");
    same("empty text value", 31, "SI 1F\n10 \nTI 0\n");
    same("blanks and tab kept", 31, "SI 1F\n10  two  blanks\tand tab \nTI 0\n");
    same("one empty string", 5, "SI 5\n04 1 \nTI 0\n");
    same("empty strings among others", 5, "SI 5\n04 3 \r\rc\nTI 0\n");
    same("utf-8 text", 31, "SI 1F\n10 Gr\xc3\xbc\xc3\x9f\x65 \xe2\x82\xac \xf0\x9f\x93\xb0\nTI 0\n");

    // What the reader normalises.
    QTest::newRow("one-digit lower-case tags, table order")
        << 21u << QByteArray("SI 15\na 1 x\n1 Front\nTI 0\n") << QByteArray("SI 15\n01 Front\n0A 1 x\nTI 0\n");
    QTest::newRow("hex in either case")
        << 31u << QByteArray("SI 1F\n11 a0 bC\n14 2 cafe\n12 a 1 2 3 4 5 6 7 8 9 10\nTI 0\n")
        << QByteArray("SI 1F\n11 A0 BC\n12 A 1 2 3 4 5 6 7 8 9 10\n14 2 CAFE\nTI 0\n");
    QTest::newRow("empty array without trailing blank")
        << 21u << QByteArray("SI 15\n06 0\n0A 0\n0B 0\nTI 0\n") << QByteArray("SI 15\n06 0 \n0A 0 \n0B 0 \nTI 0\n");
    QTest::newRow("data lines after a list")
        << 31u << QByteArray("SI 1F\nSL 0\nTL 0\n10 x\nTI 0\n") << QByteArray("SI 1F\n10 x\nSL 0\nTL 0\nTI 0\n");
    QTest::newRow("leading zeros") << 8u << QByteArray("SI 8\n03 007\n02 -01\nTI 0\n") << QByteArray("SI 8\n02 -1\n03 7\nTI 0\n");
    QTest::newRow("no final line feed") << 31u << QByteArray("SI 1F\nTI 0") << QByteArray("SI 1F\nTI 0\n");
    QTest::newRow("padded hex words") << 21u << QByteArray("SI 0015\n0C 000000ff\nTI 0\n") << QByteArray("SI 15\n0C FF\nTI 0\n");
}

void TestKxHostTextForm::roundTrip()
{
    QFETCH(uint, type);
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, written);
    std::unique_ptr<KXPacketable> packet = packetOf(type);
    QVERIFY2(parse(*packet, text), packet->lastError());
    QCOMPARE(textOf(*packet), written);
}

void TestKxHostTextForm::rejects_data()
{
    QTest::addColumn<uint>("type");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("reason");

    // framing
    QTest::newRow("empty") << 31u << QByteArray() << QByteArray("empty text");
    QTest::newRow("no opening item") << 31u << QByteArray("10 x\n") << QByteArray("line 1: expected \"SI <class>\"");
    QTest::newRow("other class") << 31u << QByteArray("SI 15\nTI 0\n") << QByteArray("line 1: item of class 15 where the packet's class 1F");
    QTest::newRow("bad class") << 31u << QByteArray("SI xy\nTI 0\n") << QByteArray("line 1: expected a hexadecimal storage class");
    QTest::newRow("item not closed") << 31u << QByteArray("SI 1F\n10 x\n") << QByteArray("line 2: the item opened on line 1 is not closed");
    QTest::newRow("list not closed") << 31u << QByteArray("SI 1F\nSL 0\n") << QByteArray("line 2: the list opened on line 2 is not closed");
    QTest::newRow("TL closes an item") << 31u << QByteArray("SI 1F\nTL 0\n") << QByteArray("line 2: TL closes the item opened on line 1");
    QTest::newRow("TI closes a list") << 31u << QByteArray("SI 1F\nSL 1\nTI 0\n") << QByteArray("line 3: TI closes the list opened on line 2");
    QTest::newRow("end line not 0") << 31u << QByteArray("SI 1F\nTI 1\n") << QByteArray("line 2: expected \"TI 0\"");
    QTest::newRow("text after the end") << 31u << QByteArray("SI 1F\nTI 0\n10 x\n") << QByteArray("line 3: text after the end of the packet");
    QTest::newRow("item outside a list") << 31u << QByteArray("SI 1F\nSI 5\nTI 0\nTI 0\n") << QByteArray("line 2: an item must be inside a list");
    QTest::newRow("list inside a list") << 31u << QByteArray("SI 1F\nSL 1\nSL 0\n") << QByteArray("line 3: a list must be inside an item");
    QTest::newRow("data line in a list") << 31u << QByteArray("SI 1F\nSL 0\n10 x\nTL 0\nTI 0\n") << QByteArray("line 3: data line inside a list");
    QTest::newRow("list holds fewer items") << 31u << QByteArray("SI 1F\nSL 2\nSI 5\nTI 0\nTL 0\nTI 0\n")
                                            << QByteArray("line 5: the list opened on line 2 declares 2 items but holds 1");
    QTest::newRow("list count beyond 32 bits") << 31u << QByteArray("SI 1F\nSL 100000000\nTL 0\nTI 0\n") << QByteArray("line 2: expected a hexadecimal count");
    QTest::newRow("opaque item in a list") << 31u << QByteArray("SI 1F\nSL 1\nSI 6\nTI 0\nTL 0\nTI 0\n") << QByteArray("line 3: storage class 6 has no text form");
    QTest::newRow("no blank") << 31u << QByteArray("SI 1F\nTI\n") << QByteArray("line 2: expected a tag, a blank and a value");
    QTest::newRow("empty line") << 31u << QByteArray("SI 1F\n\nTI 0\n") << QByteArray("line 2: empty line");

    // tags
    QTest::newRow("tag not in table") << 31u << QByteArray("SI 1F\n7F x\nTI 0\n") << QByteArray("line 2: tag 7F is not in the table of class 1F");
    QTest::newRow("letter in a list") << 31u << QByteArray("SI 1F\nSL 1\nSI 1F\nTI 0\nTL 0\nTI 0\n")
                                      << QByteArray("line 3: item of class 1F in a list, where lists hold sections (class 5)");
    QTest::newRow("list in a section") << 31u << QByteArray("SI 1F\nSL 1\nSI 5\nSL 0\nTL 0\nTI 0\nTL 0\nTI 0\n")
                                       << QByteArray("line 4: a list in an item of class 5, which holds no lists");
    QTest::newRow("nested item's own table") << 31u << QByteArray("SI 1F\nSL 1\nSI 5\n10 x\nTI 0\nTL 0\nTI 0\n") << QByteArray("line 4: tag 10 is not in the table of class 5");
    QTest::newRow("tag not hexadecimal") << 31u << QByteArray("SI 1F\nzz x\nTI 0\n") << QByteArray("line 2: bad tag \"zz\"");
    QTest::newRow("tag twice") << 31u << QByteArray("SI 1F\n10 a\n10 b\nTI 0\n") << QByteArray("line 3: tag 10 appears twice in one item");

    // numbers
    QTest::newRow("width 1 too big") << 8u << QByteArray("SI 8\n02 128\nTI 0\n") << QByteArray("line 2: tag 02: expected a decimal integer from -128 to 127");
    QTest::newRow("width 1 too small") << 8u << QByteArray("SI 8\n02 -129\nTI 0\n") << QByteArray("tag 02: expected a decimal integer from -128 to 127");
    QTest::newRow("width 4 too small") << 5u << QByteArray("SI 5\n02 -2147483649\nTI 0\n") << QByteArray("tag 02: expected a decimal integer from -2147483648 to 2147483647");
    QTest::newRow("width 8 too big") << 31u << QByteArray("SI 1F\n1C 9223372036854775808\nTI 0\n") << QByteArray("tag 1C: expected a decimal integer");
    QTest::newRow("unsigned negative") << 21u << QByteArray("SI 15\n11 -1\nTI 0\n") << QByteArray("tag 11: expected a decimal integer from 0 to 4294967295");
    QTest::newRow("letters in a number") << 8u << QByteArray("SI 8\n03 12a\nTI 0\n") << QByteArray("tag 03: expected a decimal integer");
    QTest::newRow("empty number") << 8u << QByteArray("SI 8\n03 \nTI 0\n") << QByteArray("tag 03: expected a decimal integer");
    QTest::newRow("hex word not hex") << 21u << QByteArray("SI 15\n0C xyz\nTI 0\n") << QByteArray("tag 0C: expected one hexadecimal word");

    // arrays
    QTest::newRow("array entry too wide") << 21u << QByteArray("SI 15\n06 1 256\nTI 0\n") << QByteArray("tag 06: entry \"256\" is not a decimal integer from 0 to 255");
    QTest::newRow("signed array entry too wide") << 31u << QByteArray("SI 1F\n17 1 2147483648\nTI 0\n") << QByteArray("tag 17: entry \"2147483648\"");
    QTest::newRow("count above entries") << 31u << QByteArray("SI 1F\n12 3 1 2\nTI 0\n") << QByteArray("tag 12: count 3 disagrees with 2 entries");
    QTest::newRow("count alone") << 31u << QByteArray("SI 1F\n12 2\nTI 0\n") << QByteArray("tag 12: count 2 disagrees with 0 entries");
    QTest::newRow("count not hex") << 31u << QByteArray("SI 1F\n12 x 1\nTI 0\n") << QByteArray("tag 12: expected a hexadecimal count");
    QTest::newRow("two blanks between entries") << 31u << QByteArray("SI 1F\n12 2 1  2\nTI 0\n") << QByteArray("tag 12: count 2 disagrees with 3 entries");
    QTest::newRow("strings above count") << 31u << QByteArray("SI 1F\n13 1 a\rb\nTI 0\n") << QByteArray("tag 13: count 1 disagrees with 2 strings");

    // keys and binary data
    QTest::newRow("key of one word") << 31u << QByteArray("SI 1F\n11 A0\nTI 0\n") << QByteArray("tag 11: expected a key as two hexadecimal words");
    QTest::newRow("key bad hex") << 31u << QByteArray("SI 1F\n11 G0 2\nTI 0\n") << QByteArray("tag 11: expected a key");
    QTest::newRow("binary odd digits") << 31u << QByteArray("SI 1F\n14 2 CAF\nTI 0\n") << QByteArray("tag 14: byte count 2 disagrees with 3 hexadecimal digits");
    QTest::newRow("binary bad hex") << 31u << QByteArray("SI 1F\n14 2 CAFG\nTI 0\n") << QByteArray("tag 14: bad hexadecimal digits \"FG\" in binary data");
    QTest::newRow("binary claims billions") << 48u << QByteArray("SI 30\n02 FFFFFFFF CAFE\nTI 0\n") << QByteArray("tag 02: byte count FFFFFFFF disagrees with 4 hexadecimal digits");

    // characters
    QTest::newRow("carriage return in text") << 31u << QByteArray("SI 1F\n10 a\rb\nTI 0\n") << QByteArray("line 2: tag 10: carriage return in a text value");
    QTest::newRow("NUL byte") << 31u << QByteArray("SI 1F\n10 a\0b\nTI 0\n", 17) << QByteArray("line 2: control character U+0000");
    QTest::newRow("invalid UTF-8") << 31u << QByteArray("SI 1F\n10 \xff\nTI 0\n") << QByteArray("line 2: text is not valid UTF-8");
    QTest::newRow("surrogate in UTF-8") << 31u << QByteArray("SI 1F\n10 \xed\xa0\x80\nTI 0\n") << QByteArray("line 2: text is not valid UTF-8");
    QTest::newRow("truncated UTF-8") << 31u << QByteArray("SI 1F\nTI 0\n10 \xe2\x82") << QByteArray("line 3: text is not valid UTF-8");
}

void TestKxHostTextForm::rejects()
{
    QFETCH(uint, type);
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, reason);
    std::unique_ptr<KXPacketable> packet = packetOf(type);
    const QByteArray kept = keptText(type);
    QVERIFY(parse(*packet, kept));

    QVERIFY(!parse(*packet, text));
    const QByteArray error(packet->lastError());
    const QByteArray message = error + " does not say " + reason;
    QVERIFY2(error.startsWith(reason) || error.contains(QByteArray(": " + reason)), message.constData());
    QCOMPARE(textOf(*packet), kept); // nothing of the refused text reached the packet
    // A later success clears the reason.
    QVERIFY(parse(*packet, kept));
    QCOMPARE(QByteArray(packet->lastError()), QByteArray());
}

void TestKxHostTextForm::storageClasses_data()
{
    QTest::addColumn<uint>("type");
    QTest::addColumn<QByteArray>("className"); // the exact class; empty: PacketableUtil gives none
    QTest::addColumn<QList<uint>>("rows");     // tag, type, width of each row; empty: no table

    QTest::newRow("section") << 5u << QByteArray(typeid(KXPacketable).name()) << QList<uint>{1, 1, 0, 2, 13, 4, 3, 13, 2, 4, 22, 0};
    QTest::newRow("opaque") << 6u << QByteArray(typeid(KXPacketable).name()) << QList<uint>();
    QTest::newRow("database entry") << 8u << QByteArray(typeid(KXDBENTRY_CC).name()) << QList<uint>{1, 1, 0, 2, 13, 1, 3, 13, 4};
    QTest::newRow("job") << 21u << QByteArray(typeid(KXJOB_CC).name())
                         << QList<uint>{1, 1, 0, 2, 9, 0, 3, 13, 4, 4, 13, 2, 5, 14, 8, 6, 16, 1, 7, 16, 2,
                                        8, 16, 4, 9, 16, 8, 0xa, 22, 0, 0xb, 23, 0, 0xc, 10, 4, 0xd, 26, 4,
                                        0xe, 20, 8, 0xf, 21, 8, 0x10, 2, 4, 0x11, 3, 4, 0x12, 9, 0, 0x13, 48, 0};
    QTest::newRow("letter") << 31u << QByteArray(typeid(KXPacketable).name())
                            << QList<uint>{0x10, 1, 0, 0x11, 14, 8, 0x12, 15, 0, 0x13, 22, 0, 0x14, 23, 0,
                                           0x15, 24, 8, 0x16, 25, 0, 0x17, 27, 0, 0x18, 28, 8, 0x19, 30, 0,
                                           0x1a, 40, 0, 0x1b, 9, 0, 0x1c, 13, 8, 0x1d, 31, 0};
    QTest::newRow("colour profile") << 48u << QByteArray(typeid(ICCPROFILEDATA_CC).name()) << QList<uint>{1, 1, 0, 2, 23, 0, 3, 11, 0};
    QTest::newRow("book databases") << 85u << QByteArray() << QList<uint>();
    QTest::newRow("book") << 86u << QByteArray(typeid(BOOK_CC).name()) << QList<uint>{1, 1, 0, 2, 15, 0, 3, 14, 8, 4, 9, 0};
    QTest::newRow("largest") << 0xffffffffu << QByteArray() << QList<uint>();
}

void TestKxHostTextForm::storageClasses()
{
    QFETCH(uint, type);
    QFETCH(QByteArray, className);
    QFETCH(QList<uint>, rows);
    std::unique_ptr<KXPacketable> packet = packetOf(type);
    QCOMPARE(packet ? QByteArray(typeid(*packet.get()).name()) : QByteArray(), className);

    const CONVERTSTRUCTELEMENTINFO* table = KXGetSystemStorageClassConv(type);
    if (rows.isEmpty()) {
        // No table: no text form either way.
        QVERIFY(!table);
        KXPacketable bare(static_cast<PACKETDATATYPES>(type));
        unsigned int length = 12345;
        QCOMPARE(bare.toPacket(length), static_cast<char*>(nullptr));
        QCOMPARE(length, 0u);
        QVERIFY(!parse(bare, "SI " + QByteArray::number(type, 16) + "\nTI 0\n"));
        QCOMPARE(QByteArray(bare.lastError()), "data type " + QByteArray::number(type) + " has no text form");
        return;
    }
    QVERIFY(table);
    QCOMPARE(KXGetSystemStorageClassConv(type), table); // one static table
    QCOMPARE(textOf(*packet), "SI " + QByteArray::number(type, 16).toUpper() + "\nTI 0\n");
    qsizetype i = 0;
    for (; table[i / 3].type != 0; i += 3) {
        const CONVERTSTRUCTELEMENTINFO& row = table[i / 3];
        QVERIFY(i + 2 < rows.size());
        QCOMPARE(row.tag, rows[i]);
        QCOMPARE(row.type, rows[i + 1]);
        QCOMPARE(row.width, rows[i + 2]);
        const bool variable = row.width == 0 || row.type == 16; // 16: an array of that width
        QCOMPARE(row.count, variable ? 0u : 1u);
        if (i > 0)
            QVERIFY(row.offset > table[i / 3 - 1].offset);
        QCOMPARE(row.offset % (variable ? 8 : row.width), 0u);
    }
    QCOMPARE(i, rows.size());
    const CONVERTSTRUCTELEMENTINFO& end = table[i / 3];
    QCOMPARE(end.tag + end.offset + end.count + end.width, 0u);
}

void TestKxHostTextForm::changedTypeWritesEmptyItem()
{
    // A packet whose type was changed after it was filled writes an empty item of the new type.
    KXPacketable letter(PDT_LETTER);
    QVERIFY(parse(letter, "SI 1F\n10 x\nTI 0\n"));
    letter.datatype = PDT_SECTION;
    QCOMPARE(textOf(letter), QByteArray("SI 5\nTI 0\n"));
}

QTEST_APPLESS_MAIN(TestKxHostTextForm)
#include "tst_kxhost_textform.moc"
