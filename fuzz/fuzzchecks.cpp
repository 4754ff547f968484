#include "fuzzchecks.h"

#include <kxhost/kxhost.h>
#include <kxxml/kxxml.h>

#include <QDomDocument>
#include <QIODevice>
#include <QTextStream>
#include <QXmlStreamReader>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace FuzzChecks {
namespace {

void require(bool holds, const char* rule)
{
    if (holds)
        return;
    std::fprintf(stderr, "kxxml fuzz check broken: %s\n", rule);
    std::abort();
}

/// The deepest element below @p top (top itself is 0), walked without recursion.
int treeDepth(const QDomNode& top)
{
    int depth = 0;
    int deepest = 0;
    QDomNode n = top.firstChild();
    while (!n.isNull() && depth >= 0) {
        if (n.isElement() && depth + 1 > deepest)
            deepest = depth + 1;
        if (n.hasChildNodes()) {
            n = n.firstChild();
            ++depth;
            continue;
        }
        while (!n.isNull() && n != top && n.nextSibling().isNull()) {
            n = n.parentNode();
            --depth;
        }
        if (n.isNull() || n == top)
            break;
        n = n.nextSibling();
    }
    return deepest;
}

/// The deepest nesting of "SI"/"SL" framing lines in a text form the library wrote.
int textDepth(const QString& text)
{
    int depth = 0;
    int deepest = 0;
    for (const QStringView line : QStringView(text).split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1String("SI ")) || line.startsWith(QLatin1String("SL ")))
            deepest = std::max(deepest, ++depth);
        else if (line.startsWith(QLatin1String("TI ")) || line.startsWith(QLatin1String("TL ")))
            --depth;
    }
    require(depth == 0, "the library wrote unbalanced framing lines");
    return deepest;
}

QStringList textLines(const QString& text)
{
    return text.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

/// The class of the first "SI" line, as the command-line tool takes it; 0 when there is none.
unsigned int firstClass(const QStringList& lines)
{
    for (const QString& line : lines) {
        const QString t = line.trimmed();
        if (t.startsWith(QLatin1String("SI ")))
            return XMLObject::toUInt(QStringView(t).mid(3), nullptr, 16);
    }
    return 0;
}

/// The host's text form of @p packet; @p written false when it wrote none.
QByteArray hostText(const KXPacketable& packet, bool& written)
{
    unsigned int length = 0;
    const std::unique_ptr<char, void (*)(void*)> text(packet.toPacket(length), &KX_free);
    written = text != nullptr;
    return written ? QByteArray(text.get(), static_cast<qsizetype>(length)) : QByteArray();
}

/// fromPacket on an exact-size copy of @p text, so that reading past its end is caught.
bool parseHost(KXPacketable& packet, const QByteArray& text)
{
    std::vector<char> copy(text.begin(), text.end());
    return packet.fromPacket(copy.data(), static_cast<unsigned int>(copy.size()), false, true);
}

std::unique_ptr<KXPacketable> hostPacket(unsigned int type)
{
    return std::unique_ptr<KXPacketable>(PacketableUtil::getPacketable(static_cast<PACKETDATATYPES>(type)));
}

/// True when no element under @p top carries more than one attribute.
bool atMostOneAttribute(const QDomElement& top)
{
    QDomNode n = top;
    while (!n.isNull()) {
        if (n.isElement() && n.attributes().count() > 1)
            return false;
        if (n.hasChildNodes()) {
            n = n.firstChild();
            continue;
        }
        while (!n.isNull() && n != top && n.nextSibling().isNull())
            n = n.parentNode();
        if (n.isNull() || n == top)
            break;
        n = n.nextSibling();
    }
    return true;
}

/// List equality without QList::operator==, which in Qt 6.4 hands memcmp a null pointer for
/// two empty lists (undefined behaviour the sanitizer reports).
template <typename T>
bool same(const QList<T>& a, const QList<T>& b)
{
    return a.size() == b.size() && std::equal(a.cbegin(), a.cend(), b.cbegin());
}

void freeReferences(QList<XPKReference*>& references)
{
    qDeleteAll(references);
    references.clear();
}

/// The text form read into XML and written again.
QString roundTrip(const QString& text)
{
    XMLPacketable packetable;
    QDomElement root = packetable.getNode();
    QStringList lines = textLines(text);
    XMLPacketable::toDom(root, lines, 0);
    return XMLPacketable::toPacket(root);
}

} // namespace

int xmlDepth(const QByteArray& input, int limit)
{
    QXmlStreamReader reader(input);
    int depth = 0;
    int deepest = 0;
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::StartElement) {
            if (++depth > limit)
                return -1;
            deepest = std::max(deepest, depth);
        } else if (token == QXmlStreamReader::EndElement) {
            --depth;
        }
    }
    return reader.hasError() ? -1 : deepest;
}

void textToXml(const QByteArray& input)
{
    QStringList lines = textLines(QString::fromUtf8(input));
    XMLPacketable packetable;
    QDomElement root = packetable.getNode();
    XMLPacketable::toDom(root, lines, 0);
    // Levels of lists and items, then a data element and its entries below the deepest.
    require(treeDepth(root) <= XMLPacketable::MaxNesting + 3, "toDom kept levels past its limit");

    const QString text = XMLPacketable::toPacket(root);
    require(textDepth(text) <= XMLPacketable::MaxNesting, "toPacket wrote levels past its limit");
    // Text the library wrote settles after one more round: what a round loses (empty binary
    // values written as "<tag>  ", which read back as no value) is lost once.
    const QString once = roundTrip(text);
    require(roundTrip(once) == once, "the text form does not settle after a round trip");

    const unsigned int type = firstClass(lines);
    packetable.setType(static_cast<PACKETDATATYPES>(type));
    packetable.getDataConst();
    (void)XMLObject::toString(root);

    // The same input through a host packet that accepts it.
    const std::unique_ptr<KXPacketable> host = hostPacket(type);
    if (!host || !parseHost(*host, input))
        return;
    XMLPacketable fromHost;
    fromHost.setData(*host);
    require(fromHost.getType() == type, "setData lost the data type");
    require(treeDepth(fromHost.getNode()) <= XMLPacketable::MaxNesting + 3, "setData kept levels past its limit");
    if (const KXPacketable* rebuilt = fromHost.getDataConst()) {
        bool written = false;
        hostText(*rebuilt, written);
    }
    QList<XPKReference*> references;
    fromHost.getXPKReferences(references);
    freeReferences(references);
}

void xmlToText(const QByteArray& input)
{
    if (xmlDepth(input, XmlDepthLimit) < 0)
        return;
    QDomDocument document;
    if (!document.setContent(input, true))
        return;
    const QDomElement root = document.documentElement();
    const QString text = XMLPacketable::toPacket(root);
    require(textDepth(text) <= XMLPacketable::MaxNesting, "toPacket wrote levels past its limit");

    // The library's writer matches Qt's wherever attribute order cannot differ.
    const QString written = XMLObject::toString(root);
    if (atMostOneAttribute(root)) {
        QString qtWritten;
        QTextStream stream(&qtWritten, QIODevice::WriteOnly);
        root.save(stream, 1);
        stream.flush();
        require(written == qtWritten, "XMLObject::toString differs from Qt's writer");
    }

    XMLPacketable packetable;
    packetable.setData(root);
    if (const KXPacketable* packet = packetable.getDataConst()) {
        XMLPacketable fromHost;
        fromHost.setData(*packet);
        QList<XPKReference*> references;
        packetable.getXPKReferences(references);
        freeReferences(references);
    }
}

void typedValues(const QByteArray& input)
{
    if (input.isEmpty())
        return;
    static const int bases[] = {10, 16, 8, 2, 36};
    const int base = bases[static_cast<unsigned char>(input.at(0)) % 5];
    const QString text = QString::fromUtf8(input.mid(1));
    const QString v = QStringLiteral("v");
    const QString p = QStringLiteral("p");

    QDomDocument document;
    QDomElement e = document.createElement(QStringLiteral("e"));
    document.appendChild(e);
    XMLObject::setAttribute(e, v, text);
    XMLObject::setProperty(e, p, text);
    require(XMLObject::getAttribute(e, v) == text || text.isEmpty(), "an attribute was not stored as given");
    if (!text.isEmpty())
        require(XMLObject::getProperty(e, p) == text, "a property was not stored as given");

    // An attribute and a property holding the same text read the same.
    const int i = XMLObject::getAttributeInt(e, v);
    const unsigned int u = XMLObject::getAttributeUInt(e, v, base);
    const bool b = XMLObject::getAttributeBool(e, v);
    const double d = XMLObject::getAttributeDouble(e, v);
    if (!text.isEmpty()) {
        require(XMLObject::getPropertyInt(e, p) == i, "int: attribute and property differ");
        require(XMLObject::getPropertyUInt(e, p, base) == u, "uint: attribute and property differ");
        require(XMLObject::getPropertyLong(e, p) == XMLObject::getAttributeLong(e, v), "long: attribute and property differ");
        require(XMLObject::getPropertyULong(e, p, base) == XMLObject::getAttributeULong(e, v, base),
                "ulong: attribute and property differ");
        require(XMLObject::getPropertyBool(e, p) == b, "bool: attribute and property differ");
        const double pd = XMLObject::getPropertyDouble(e, p);
        require(pd == d || (std::isnan(pd) && std::isnan(d)), "double: attribute and property differ");
    }

    // What was read writes and reads back the same.
    QDomElement w = document.createElement(QStringLiteral("w"));
    XMLObject::setAttribute(w, v, i);
    require(XMLObject::getAttributeInt(w, v) == i, "int does not read back");
    XMLObject::setAttribute(w, v, u, base);
    require(XMLObject::getAttributeUInt(w, v, base) == u, "uint does not read back");
    XMLObject::setAttribute(w, v, b);
    require(XMLObject::getAttributeBool(w, v) == b, "bool does not read back");
    XMLObject::setAttribute(w, v, d);
    (void)XMLObject::getAttributeDouble(w, v);

    bool ok = true;
    const QList<int> longs = XMLObject::toLongList(text, &ok, base);
    bool again = true;
    require(same(XMLObject::toLongList(XMLObject::toString(longs, base), &again, base), longs) && again,
            "a number list does not read back");
    const QList<int> strictLongs = XMLObject::getPropertyLongList(e, p, base);
    require(strictLongs.isEmpty() || same(strictLongs, longs), "getPropertyLongList differs from toLongList");
    if (ok && !text.isEmpty())
        require(same(strictLongs, longs), "getPropertyLongList refused a list toLongList read whole");

    ok = true;
    const QList<unsigned int> ulongs = XMLObject::toULongList(text, &ok, base);
    again = true;
    require(same(XMLObject::toULongList(XMLObject::toString(ulongs, base), &again, base), ulongs) && again,
            "an unsigned number list does not read back");
    const QList<unsigned int> strictULongs = XMLObject::getPropertyULongList(e, p, base);
    require(strictULongs.isEmpty() || same(strictULongs, ulongs), "getPropertyULongList differs from toULongList");
    if (ok && !text.isEmpty())
        require(same(strictULongs, ulongs), "getPropertyULongList refused a list toULongList read whole");

    bool parsed = false;
    const unsigned int n = XMLObject::toUInt(text, &parsed, base);
    if (parsed) {
        bool reparsed = false;
        require(XMLObject::toUInt(XMLObject::numberText(n, base), &reparsed, base) == n && reparsed,
                "toUInt(numberText(n)) is not n");
    }
}

void hostTextForm(const QByteArray& input)
{
    static const unsigned int types[] = {PDT_SECTION, PDT_OPAQUE, PDT_DBENTRY, PDT_JOB, PDT_LETTER,
                                         PDT_ICCPROFILE, PDT_BOOK};
    for (const unsigned int type : types) {
        const std::unique_ptr<KXPacketable> packet = hostPacket(type);
        bool writtenBefore = false;
        const QByteArray before = hostText(*packet, writtenBefore);
        if (!parseHost(*packet, input)) {
            require(packet->lastError() && *packet->lastError(), "fromPacket refused without a reason");
            bool writtenAfter = false;
            require(hostText(*packet, writtenAfter) == before && writtenAfter == writtenBefore,
                    "a refused text changed the packet");
            continue;
        }
        require(packet->lastError() && !*packet->lastError(), "fromPacket accepted but kept a reason");
        bool written = false;
        const QByteArray text = hostText(*packet, written);
        require(written || type == PDT_OPAQUE, "an accepted packet cannot be written");
        if (written) {
            // The stand-in's own output is canonical.
            const std::unique_ptr<KXPacketable> reparsed = hostPacket(type);
            require(parseHost(*reparsed, text), "the host refused its own text form");
            bool rewritten = false;
            require(hostText(*reparsed, rewritten) == text, "the host's text form is not canonical");
        }
        const std::unique_ptr<KXPacketable> copy = hostPacket(type);
        *copy = *packet;
        bool copyWritten = false;
        require(hostText(*copy, copyWritten) == text && copyWritten == written, "a copy writes other text");
        KXFreeReferences(packet->getReferences());
    }
}

void dataset(const QByteArray& input)
{
    std::string error;
    const std::unique_ptr<KXCommServer> server =
        KXCommServer::openData(input.toStdString(), "fuzz", &error);
    if (!server) {
        require(!error.empty(), "a dataset was refused without a message");
        return;
    }
    KXLPCOMMANDS command;
    BM_MESSAGE_ID message = 0;
    KXDBENTRY* outputs = server->getDBList(command, message, PDT_OUTPUTDB);
    for (const KXDBENTRY* db = outputs; db; db = db->next) {
        const int id = server->getidfromkxkey(db->key);
        KXJOB* jobs = server->getJobqueue(command, message, KXQUEUE_ACTIVE, SORTTYPE_ARRIVAL,
                                          SORTORDER_DESCENDING, id);
        KXPacketFreeList(jobs, PDT_JOB);
    }
    KXPacketFreeList(outputs, PDT_DBENTRY);
    KXDBENTRY* bookDbs = server->getDBList(command, message, PDT_BOOKDB);
    for (const KXDBENTRY* db = bookDbs; db; db = db->next) {
        KXBOOK* books = server->getBooks(command, message, SORTTYPE_ARRIVAL, SORTORDER_ASCENDING, db->key);
        KXPacketFreeList(books, PDT_BOOK);
    }
    KXPacketFreeList(bookDbs, PDT_DBENTRY);

    // Every archive node (up to a bound) as a packetable with its references inlined.
    std::vector<ArchiveNode*> pending{server->archive()};
    for (int visited = 0; !pending.empty() && visited < 64; ++visited) {
        ArchiveNode* node = pending.back();
        pending.pop_back();
        for (std::size_t c = 0; c < node->getChildCount(); ++c)
            pending.push_back(node->getChild(c));
        if (!node->getPacket())
            continue;
        const std::unique_ptr<XMLPacketable> packetable(XMLPacketable::fromArchiveNode(*server, node));
        require(packetable != nullptr, "an archive node with a packet gave no packetable");
        QList<XPKReference*> references;
        packetable->getXPKReferences(references);
        freeReferences(references);
    }
}

} // namespace FuzzChecks
