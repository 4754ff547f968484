#include "xmlpacketable.h"

#include "archiveinliner_p.h"
#include "xpkreference.h"

#include <QByteArray>

#include <algorithm>
#include <vector>

const QString XMLPacketable::NAME = QStringLiteral("name");
const QString XMLPacketable::DATATYPE = QStringLiteral("datatype");
const QString XMLPacketable::KEY = QStringLiteral("key");
const QString XMLPacketable::HKEY = QStringLiteral("hkey");
const QString XMLPacketable::IS_CURRENT = QStringLiteral("is_current");
const QString XMLPacketable::IS_REPLACEMENT = QStringLiteral("is_replacement");
const QString XMLPacketable::VALUE = QStringLiteral("value");
const QString XMLPacketable::LIST = QStringLiteral("list");
const QString XMLPacketable::ITEM = QStringLiteral("item");
const QString XMLPacketable::SIZE = QStringLiteral("size");
const QString XMLPacketable::START_LIST = QStringLiteral("SL");
const QString XMLPacketable::END_LIST = QStringLiteral("TL");
const QString XMLPacketable::START_ITEM = QStringLiteral("SI");
const QString XMLPacketable::END_ITEM = QStringLiteral("TI");

namespace {

constexpr int kTextFormReserve = 4096;
const QLatin1Char kBlank(' ');
const QLatin1Char kLineFeed('\n');
const QLatin1Char kCarriageReturn('\r');

// How a data element holds its value, by the element type of its table row.
enum class ValueKind { None, Simple, Key, NumberArray, StringArray, Binary };

// The element type of a table row as the conversions see it: integers and unsigned arrays
// by their width, the two time stamps as plain numbers.
unsigned int mappedType(const CONVERTSTRUCTELEMENTINFO& row)
{
    switch (row.type) {
    case 13:
        switch (row.width) {
        case 1: return 7;
        case 2: return 6;
        case 4: return 29;
        default: return 5;
        }
    case 16:
        switch (row.width) {
        case 1: return 19;
        case 2: return 18;
        case 4: return 31;
        default: return 17;
        }
    case 20:
    case 21:
        return 29;
    default:
        return row.type;
    }
}

ValueKind valueKind(unsigned int mapped)
{
    switch (mapped) {
    case 1: case 2: case 3: case 4: case 5: case 6: case 7: case 8: case 9:
    case 11: case 12: case 24: case 25: case 28: case 29:
        return ValueKind::Simple;
    case 14:
        return ValueKind::Key;
    case 15: case 17: case 18: case 19: case 27: case 30: case 31:
        return ValueKind::NumberArray;
    case 22:
        return ValueKind::StringArray;
    case 23:
        return ValueKind::Binary;
    default:
        // 10 and 26 are host-internal values; anything outside 1 to 31 is unknown here.
        return ValueKind::None;
    }
}

// The mapped element type of the data element whose tag is written @p digits (hexadecimal),
// by @p table; 0 when the tag is no number or not in the table. Every conversion looks data
// elements up through this function alone.
unsigned int mappedTypeOf(CONVERTSTRUCTELEMENTINFO* table, QStringView digits, unsigned int* tag)
{
    if (!table)
        return 0;
    bool ok = false;
    const unsigned int number = XMLObject::toUInt(digits, &ok, 16);
    if (!ok)
        return 0;
    const CONVERTSTRUCTELEMENTINFO* row = XMLPacketable::getConvStructFromDataTag(table, number);
    if (!row)
        return 0;
    if (tag)
        *tag = number;
    return mappedType(*row);
}

// The kind of the data element whose tag is written @p digits, by @p table.
ValueKind dataElementKind(CONVERTSTRUCTELEMENTINFO* table, QStringView digits, unsigned int* tag)
{
    return valueKind(mappedTypeOf(table, digits, tag));
}

// The conversion table of a level. `stop` is set for an item of storage class 6 or without a
// table; other levels (the root, lists) have no table and are read on.
struct LevelTable
{
    bool stop = false;
    CONVERTSTRUCTELEMENTINFO* table = nullptr;
};

LevelTable tableOfClass(unsigned int storageClass)
{
    if (storageClass == PDT_OPAQUE)
        return {true, nullptr};
    CONVERTSTRUCTELEMENTINFO* table = KXGetSystemStorageClassConv(storageClass);
    return {table == nullptr, table};
}

LevelTable tableOf(const QDomElement& e)
{
    if (e.tagName() != XMLPacketable::ITEM)
        return {};
    return tableOfClass(XMLObject::getAttributeUInt(e, XMLPacketable::DATATYPE, 16));
}

// The next node after @p n in document order that lies below @p root; null at the end.
QDomNode nextBelow(const QDomNode& n, const QDomNode& root)
{
    if (n.hasChildNodes())
        return n.firstChild();
    for (QDomNode at = n; !at.isNull() && at != root; at = at.parentNode()) {
        const QDomNode sibling = at.nextSibling();
        if (!sibling.isNull())
            return sibling;
    }
    return {};
}

// The first descendant of @p root in document order that @p matches; walks without recursion.
template <typename Match>
QDomElement firstDescendant(const QDomElement& root, Match matches)
{
    for (QDomNode n = nextBelow(root, root); !n.isNull(); n = nextBelow(n, root)) {
        if (n.isElement() && matches(n.toElement()))
            return n.toElement();
    }
    return {};
}

// The text of all text and CDATA nodes below @p e, as QDomElement::text() gives it, but
// without recursion.
QString textOf(const QDomElement& e)
{
    QString text;
    for (QDomNode n = nextBelow(e, e); !n.isNull(); n = nextBelow(n, e)) {
        if (n.isText())
            text += n.nodeValue();
    }
    return text;
}

QStringList valueTexts(const QDomElement& e)
{
    QStringList texts;
    for (QDomElement v = e.firstChildElement(XMLPacketable::VALUE); !v.isNull();
         v = v.nextSiblingElement(XMLPacketable::VALUE))
        texts.append(textOf(v));
    return texts;
}

QString dataTagOf(const QDomElement& e)
{
    return XMLPacketable::getDATATAGFromXMLTagName(e.tagName());
}

void appendValueElement(QDomElement& parent, const QString& text)
{
    QDomElement value = XMLObject::createElement(parent, XMLPacketable::VALUE);
    XMLObject::createTextNodeV(value, text);
}

// The part of @p line at the positions @p ref was cut at, clipped to the line: a cut made on
// an earlier, longer line may reach past the end of the current one.
QStringView cutText(const QString& line, const QStringRef& ref)
{
    const qsizetype from = std::min<qsizetype>(ref.position(), line.size());
    const qsizetype size = std::min<qsizetype>(ref.size(), line.size() - from);
    return QStringView(line).mid(from, size);
}

void appendDataElement(QDomElement& parent, CONVERTSTRUCTELEMENTINFO* table, QStringView digits,
                       QStringView value)
{
    unsigned int tag = 0;
    const ValueKind kind = dataElementKind(table, digits, &tag);
    if (kind == ValueKind::None)
        return;
    // Tags come from a host table, far below the sign bit.
    const QString name = XMLPacketable::getXMLTagNameFromDATATAG(static_cast<int>(tag));
    const QString text = value.toString();
    switch (kind) {
    case ValueKind::Simple:
        XMLPacketable::createSimpleElementV(parent, name, text);
        break;
    case ValueKind::Key:
        XMLPacketable::createKXKEYElementV(parent, name, text);
        break;
    case ValueKind::NumberArray:
        XMLPacketable::createNumberArrayElementV(parent, name, text);
        break;
    case ValueKind::StringArray:
        XMLPacketable::createStringArrayElementV(parent, name, text);
        break;
    case ValueKind::Binary:
        XMLPacketable::createBinaryDataElementV(parent, name, text);
        break;
    case ValueKind::None:
        break;
    }
}

// The lines of the data element @p e whose data tag is @p tag (its name less the first
// character), appended to @p out in place.
void appendSimpleLine(QString& out, const QString& tag, const QDomElement& e)
{
    const QString value = XMLObject::getAttribute(e, XMLPacketable::VALUE);
    if (!value.isEmpty())
        out += tag % kBlank % value % kLineFeed;
}

void appendKeyLine(QString& out, const QString& tag, const QDomElement& e)
{
    out += tag % kBlank % XMLObject::getAttribute(e, XMLPacketable::KEY) % kBlank
           % XMLObject::getAttribute(e, XMLPacketable::HKEY) % kLineFeed;
}

void appendArrayLine(QString& out, const QString& tag, const QDomElement& e, QChar separator)
{
    const QStringList texts = valueTexts(e);
    out += tag % kBlank % XMLObject::numberText(static_cast<unsigned int>(texts.size()), 16) % kBlank
           % texts.join(separator) % kLineFeed;
}

void appendBinaryLine(QString& out, const QString& tag, const QDomElement& e)
{
    out += tag % kBlank % XMLObject::getAttribute(e, XMLPacketable::SIZE) % kBlank % textOf(e) % kLineFeed;
}

// The line of the data element @p e named @p name, by @p table.
void appendDataLine(QString& out, const QDomElement& e, const QString& name, CONVERTSTRUCTELEMENTINFO* table)
{
    const QString tag = XMLPacketable::getDATATAGFromXMLTagName(name);
    switch (dataElementKind(table, tag, nullptr)) {
    case ValueKind::Simple:
        appendSimpleLine(out, tag, e);
        break;
    case ValueKind::Key:
        appendKeyLine(out, tag, e);
        break;
    case ValueKind::NumberArray:
        appendArrayLine(out, tag, e, kBlank);
        break;
    case ValueKind::StringArray:
        appendArrayLine(out, tag, e, kCarriageReturn);
        break;
    case ValueKind::Binary:
        appendBinaryLine(out, tag, e);
        break;
    case ValueKind::None:
        break;
    }
}

// A copy of @p source alone (an element with its attributes), made in @p document. Nodes are
// created afresh rather than imported: Qt's import looks up the source's document by walking
// up its ancestors, which costs the node's depth each time.
QDomNode shallowCopy(QDomDocument& document, const QDomNode& source)
{
    auto qualified = [](const QDomNode& n) {
        const QString prefix = n.prefix();
        return prefix.isEmpty() ? n.localName() : prefix + QLatin1Char(':') + n.localName();
    };
    switch (source.nodeType()) {
    case QDomNode::ElementNode: {
        const QString uri = source.namespaceURI();
        QDomElement copy = uri.isNull() ? document.createElement(source.nodeName())
                                        : document.createElementNS(uri, qualified(source));
        const QDomNamedNodeMap attributes = source.attributes();
        for (int i = 0, count = attributes.count(); i < count; ++i) {
            const QDomNode a = attributes.item(i);
            const QString attributeUri = a.namespaceURI();
            if (attributeUri.isNull())
                copy.setAttribute(a.nodeName(), a.nodeValue());
            else
                copy.setAttributeNS(attributeUri, qualified(a), a.nodeValue());
        }
        return copy;
    }
    case QDomNode::TextNode:
        return document.createTextNode(source.nodeValue());
    case QDomNode::CDATASectionNode:
        return document.createCDATASection(source.nodeValue());
    case QDomNode::CommentNode:
        return document.createComment(source.nodeValue());
    case QDomNode::ProcessingInstructionNode:
        return document.createProcessingInstruction(source.nodeName(), source.nodeValue());
    case QDomNode::EntityReferenceNode:
        return document.createEntityReference(source.nodeName());
    default:
        return document.importNode(source, false);
    }
}

// A deep copy of @p source in @p document, made node by node without recursion (Qt's own
// deep import recurses, and a tree handed in by a program may be nested any depth). Each copy
// is attached to its parent's copy once complete, while that parent is still detached, so
// every append is cheap however deep the tree.
QDomNode importTree(QDomDocument& document, const QDomNode& source)
{
    struct Frame
    {
        QDomNode copy;
        QDomNode nextChild; // of the source
    };
    std::vector<Frame> frames;
    frames.push_back({shallowCopy(document, source), source.firstChild()});
    for (;;) {
        Frame& top = frames.back();
        if (!top.nextChild.isNull()) {
            const QDomNode child = top.nextChild;
            top.nextChild = child.nextSibling();
            frames.push_back({shallowCopy(document, child), child.firstChild()}); // `top` is stale
            continue;
        }
        QDomNode done = top.copy;
        frames.pop_back();
        if (frames.empty())
            return done;
        frames.back().copy.appendChild(done);
    }
}

} // namespace

XMLPacketable::XMLPacketable()
    : XMLObject(XMLOBJECT_PACKETABLE)
{
}

XMLPacketable::~XMLPacketable() = default;

void XMLPacketable::setCurrent(bool current)
{
    setCurrent(node, current);
}

bool XMLPacketable::isCurrent() const
{
    return isCurrent(node);
}

void XMLPacketable::setName(const QString& name)
{
    setName(node, name);
}

QString XMLPacketable::getName() const
{
    return getName(node);
}

void XMLPacketable::setDBkey(const KXKEY_ELEMENT& key)
{
    setDBkey(node, key);
}

KXKEY_ELEMENT XMLPacketable::getDBkey() const
{
    return getDBkey(node);
}

void XMLPacketable::setType(PACKETDATATYPES dataType)
{
    setType(node, dataType);
}

PACKETDATATYPES XMLPacketable::getType() const
{
    return getType(node);
}

void XMLPacketable::setReplacement(bool replacement)
{
    setReplacement(node, replacement);
}

bool XMLPacketable::isReplacement() const
{
    return isReplacement(node);
}

void XMLPacketable::clearReplacement()
{
    clearReplacement(node);
}

void XMLPacketable::setCurrent(QDomElement& e, bool current)
{
    setAttribute(e, IS_CURRENT, current);
}

bool XMLPacketable::isCurrent(const QDomElement& e)
{
    return getAttributeBool(e, IS_CURRENT);
}

void XMLPacketable::setName(QDomElement& e, const QString& name)
{
    setAttribute(e, NAME, name);
}

QString XMLPacketable::getName(const QDomElement& e)
{
    return getAttribute(e, NAME);
}

void XMLPacketable::setDBkey(QDomElement& e, const KXKEY_ELEMENT& key)
{
    setAttribute(e, KEY, key.key, 16);
    setAttribute(e, HKEY, key.hkey, 16);
}

KXKEY_ELEMENT XMLPacketable::getDBkey(const QDomElement& e)
{
    KXKEY_ELEMENT key = KXKEY_CC::getNullKey();
    key.key = getAttributeUInt(e, KEY, 16);
    key.hkey = getAttributeUInt(e, HKEY, 16);
    return key;
}

void XMLPacketable::setType(QDomElement& e, PACKETDATATYPES dataType)
{
    setAttribute(e, DATATYPE, static_cast<unsigned int>(dataType), 16);
}

PACKETDATATYPES XMLPacketable::getType(const QDomElement& e)
{
    return static_cast<PACKETDATATYPES>(getAttributeUInt(e, DATATYPE, 16));
}

void XMLPacketable::setReplacement(QDomElement& e, bool replacement)
{
    setAttribute(e, IS_REPLACEMENT, replacement);
}

bool XMLPacketable::isReplacement(const QDomElement& e)
{
    return getAttributeBool(e, IS_REPLACEMENT);
}

void XMLPacketable::clearReplacement(QDomElement& e)
{
    removeAttribute(e, IS_REPLACEMENT);
}

QString XMLPacketable::getXMLTagNameFromDATATAG(int tag)
{
    return QLatin1Char('_') + numberText(tag, 16);
}

QString XMLPacketable::getDATATAGFromXMLTagName(const QString& name)
{
    return name.mid(1);
}

QDomElement XMLPacketable::createListElement(QDomElement& parent, const QString& size)
{
    QDomElement list = createElement(parent, LIST);
    setAttribute(list, SIZE, size);
    return list;
}

void XMLPacketable::createListElementV(QDomElement& parent, const QString& size)
{
    createListElement(parent, size);
}

QDomElement XMLPacketable::createItemElement(QDomElement& parent, const QString& datatype)
{
    QDomElement item = createElement(parent, ITEM);
    setAttribute(item, DATATYPE, datatype);
    return item;
}

void XMLPacketable::createItemElementV(QDomElement& parent, const QString& datatype)
{
    createItemElement(parent, datatype);
}

QDomElement XMLPacketable::createSimpleElement(QDomElement& parent, const QString& name, const QString& value)
{
    QDomElement e = createElement(parent, name);
    setAttribute(e, VALUE, value);
    return e;
}

void XMLPacketable::createSimpleElementV(QDomElement& parent, const QString& name, const QString& value)
{
    createSimpleElement(parent, name, value);
}

QDomElement XMLPacketable::createKXKEYElement(QDomElement& parent, const QString& name, const QString& text)
{
    QDomElement e = createElement(parent, name);
    const QStringList words = text.split(kBlank, Qt::SkipEmptyParts);
    if (words.size() == 2) {
        setAttribute(e, KEY, words.at(0));
        setAttribute(e, HKEY, words.at(1));
    }
    return e;
}

void XMLPacketable::createKXKEYElementV(QDomElement& parent, const QString& name, const QString& text)
{
    createKXKEYElement(parent, name, text);
}

QDomElement XMLPacketable::createNumberArrayElement(QDomElement& parent, const QString& name, const QString& text)
{
    QDomElement e = createElement(parent, name);
    const QStringList words = text.split(kBlank, Qt::SkipEmptyParts);
    if (words.isEmpty())
        return e;
    bool ok = false;
    const unsigned int count = toUInt(words.first(), &ok, 16);
    if (!ok || static_cast<qint64>(words.size()) - 1 != static_cast<qint64>(count))
        return e;
    setAttribute(e, SIZE, count, 16);
    for (qsizetype i = 1; i < words.size(); ++i)
        appendValueElement(e, words.at(i));
    return e;
}

void XMLPacketable::createNumberArrayElementV(QDomElement& parent, const QString& name, const QString& text)
{
    createNumberArrayElement(parent, name, text);
}

QDomElement XMLPacketable::createStringArrayElement(QDomElement& parent, const QString& name, const QString& text)
{
    QDomElement e = createElement(parent, name);
    const qsizetype blank = text.indexOf(kBlank);
    bool ok = false;
    const unsigned int count = toUInt(QStringView(text).left(blank < 0 ? text.size() : blank), &ok, 16);
    if (!ok)
        return e;
    setAttribute(e, SIZE, count, 16);
    const QString rest = blank < 0 ? QString() : text.mid(blank + 1);
    const QStringList strings = rest.split(kCarriageReturn, Qt::SkipEmptyParts);
    if (static_cast<qint64>(strings.size()) != static_cast<qint64>(count))
        return e;
    for (const QString& s : strings)
        appendValueElement(e, s);
    return e;
}

void XMLPacketable::createStringArrayElementV(QDomElement& parent, const QString& name, const QString& text)
{
    createStringArrayElement(parent, name, text);
}

QDomElement XMLPacketable::createBinaryDataElement(QDomElement& parent, const QString& name, const QString& text)
{
    QDomElement e = createElement(parent, name);
    const qsizetype blank = text.indexOf(kBlank);
    setAttribute(e, SIZE, blank < 0 ? text : text.left(blank));
    createTextNodeV(e, blank < 0 ? QString() : text.mid(blank + 1));
    return e;
}

void XMLPacketable::createBinaryDataElementV(QDomElement& parent, const QString& name, const QString& text)
{
    createBinaryDataElement(parent, name, text);
}

QDomElement XMLPacketable::getTagNode(const QDomElement& e, int tag)
{
    const QString name = getXMLTagNameFromDATATAG(tag);
    return firstDescendant(e, [&name](const QDomElement& d) { return d.tagName() == name; });
}

QString XMLPacketable::getTagAttribute(const QDomElement& e, int tag, QString attribute)
{
    const QDomElement found = getTagNode(e, tag);
    return found.isNull() ? QString() : getAttribute(found, attribute);
}

QDomElement XMLPacketable::getEmptyNodeOfType(QDomElement& parent, PACKETDATATYPES dataType)
{
    QDomElement root = parent.ownerDocument().createElement(rootNodeName(XMLOBJECT_PACKETABLE));
    setType(root, dataType);
    parent.appendChild(root);
    QDomElement item = createElement(root, ITEM);
    setType(item, dataType);
    return root;
}

QDomElement XMLPacketable::getPacketableItemNode(const QDomElement& e)
{
    if (!XMLObject::isXMLPacketable(e))
        return {};
    const PACKETDATATYPES dataType = getType(e);
    return firstDescendant(e, [dataType](const QDomElement& d) { return d.tagName() == ITEM && getType(d) == dataType; });
}

QDomNodeList XMLPacketable::getPacketableItemTagNodes(const QDomElement& e)
{
    const QDomElement item = getPacketableItemNode(e);
    return item.isNull() ? QDomNodeList() : item.childNodes();
}

QDomElement XMLPacketable::getFirstPacketableNodeOfType(const QDomElement& e, PACKETDATATYPES dataType)
{
    std::list<QDomNode> roots;
    getNodesOfType(e, XMLOBJECT_PACKETABLE, roots);
    for (const QDomNode& root : roots) {
        if (getType(root.toElement()) == dataType)
            return root.toElement();
    }
    return {};
}

int XMLPacketable::getPacketableNodesOfType(const QDomElement& e, PACKETDATATYPES dataType, std::list<QDomNode>& out)
{
    std::list<QDomNode> roots;
    getNodesOfType(e, XMLOBJECT_PACKETABLE, roots);
    int appended = 0;
    for (const QDomNode& root : roots) {
        if (getType(root.toElement()) == dataType) {
            out.push_back(root);
            ++appended;
        }
    }
    return appended;
}

CONVERTSTRUCTELEMENTINFO* XMLPacketable::getConvStructFromDataTag(CONVERTSTRUCTELEMENTINFO* table, unsigned int tag)
{
    if (!table)
        return nullptr;
    for (CONVERTSTRUCTELEMENTINFO* row = table; row->type != 0; ++row) {
        if (row->tag == tag)
            return row;
    }
    return nullptr;
}

void XMLPacketable::setData(const KXPacketable& packet)
{
    clearCache();
    setType(packet.datatype);
    setDBkey(packet.key);
    if (packet.name) {
        setName(QString::fromUtf8(packet.name));
    } else if (packet.datatype == PDT_DBENTRY) {
        if (const char* recordName = kxxmlhost::attachedRecordName(packet))
            setName(QString::fromUtf8(recordName));
    }

    unsigned int length = 0;
    char* text = packet.toPacket(length);
    if (!text)
        return;
    QStringList lines = QString::fromUtf8(text, static_cast<qsizetype>(length)).split(kLineFeed, Qt::SkipEmptyParts);
    toDom(node, lines, 0);
    // The host's buffer goes back before the packet is rebuilt from the new XML.
    KX_free(text);
    getDataConst();
}

void XMLPacketable::setData(const QDomNode& n)
{
    clearCache();
    node = n.isElement() ? importTree(document, n).toElement() : QDomElement();
}

const KXPacketable* XMLPacketable::getDataConst() const
{
    if (m_packet)
        return m_packet.get();
    QByteArray text = toPacket(node).toUtf8();
    m_packet.reset(PacketableUtil::getPacketable(getType()));
    if (!m_packet)
        return nullptr;
    if (!m_packet->fromPacket(text.data(), static_cast<unsigned int>(text.size()), false, true)) {
        clearCache();
        return nullptr;
    }
    m_packet->setName(getName().toUtf8().constData());
    const KXKEY_ELEMENT key = getDBkey();
    if (KXKEY_CC::isValid(key))
        m_packet->key = key;
    return m_packet.get();
}

KXPacketable* XMLPacketable::getData() const
{
    const KXPacketable* cached = getDataConst();
    if (!cached)
        return nullptr;
    std::unique_ptr<KXPacketable> copy(PacketableUtil::getPacketable(getType()));
    if (!copy)
        return nullptr;
    *copy = *cached;
    return copy.release();
}

unsigned int XMLPacketable::toDom(QDomElement& parent, QStringList& lines, unsigned int start)
{
    const LevelTable top = tableOf(parent);
    if (top.stop)
        return start;

    // One entry per open level, where the algorithm would recurse. A level past MaxNesting
    // has a null element: its lines are read through, with the same rules, and build nothing.
    struct Level
    {
        QDomElement element;
        CONVERTSTRUCTELEMENTINFO* table;
        QStringRef tag;   // the level's last cut, onto `line`; null until one was made
        QStringRef value;
    };
    std::vector<Level> levels;
    levels.push_back({parent, top.table, {}, {}});

    const auto count = static_cast<unsigned int>(lines.size());
    QString line;
    unsigned int i = start;
    for (;;) {
        if (i >= count) {
            // Out of lines: the level stops here and its caller goes on after it.
            levels.pop_back();
            if (levels.empty())
                return i;
            ++i;
            continue;
        }
        Level& level = levels.back();
        line = lines.at(static_cast<qsizetype>(i)).trimmed();
        getTagValuePair(line, level.tag, level.value);
        if (level.tag.string() == nullptr) {
            ++i;
            continue;
        }
        const QStringView tag = cutText(line, level.tag);
        const QStringView value = cutText(line, level.value);

        if (tag == END_ITEM || tag == END_LIST) {
            // Either closes whatever level is open (deliberate).
            levels.pop_back();
            if (levels.empty())
                return i;
            ++i;
            continue;
        }
        const bool isList = tag == START_LIST;
        if (isList || tag == START_ITEM) {
            QDomElement child;
            if (!level.element.isNull() && levels.size() <= static_cast<size_t>(MaxNesting)) {
                child = isList ? createListElement(level.element, value.toString())
                               : createItemElement(level.element, value.toString());
            }
            const LevelTable table = isList ? LevelTable() : tableOfClass(toUInt(value, nullptr, 16));
            if (table.stop) {
                // The item stops at its first inner line, which this level then passes
                // over; its other lines are read here (deliberate).
                i += 2;
                continue;
            }
            levels.push_back({child, table.table, {}, {}});
            ++i;
            continue;
        }
        if (!level.element.isNull())
            appendDataElement(level.element, level.table, tag, value);
        ++i;
    }
}

void XMLPacketable::getTagValuePair(QString& line, QStringRef& tag, QStringRef& value)
{
    const qsizetype blank = line.indexOf(kBlank);
    if (blank < 0)
        return;
    tag = QStringRef(&line, 0, static_cast<int>(blank));
    value = QStringRef(&line, static_cast<int>(blank + 1), static_cast<int>(line.size() - blank - 1));
}

QString XMLPacketable::toPacket(const QDomElement& e)
{
    QString out;
    if (!e.hasChildNodes())
        return out;
    out.reserve(kTextFormReserve);
    const LevelTable top = tableOf(e);
    if (top.stop)
        return out;

    // One entry per open list or item: the next child to write and the line that closes it.
    struct Level
    {
        QDomNode next;
        CONVERTSTRUCTELEMENTINFO* table;
        const QString* endTag; // null for e itself
    };
    std::vector<Level> levels;
    levels.push_back({e.firstChild(), top.table, nullptr});
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.next.isNull()) {
            if (level.endTag)
                out += *level.endTag % QLatin1String(" 0\n");
            levels.pop_back();
            continue;
        }
        const QDomElement child = level.next.toElement();
        level.next = level.next.nextSibling();
        if (child.isNull())
            continue;
        const QString name = child.tagName();
        const bool isList = name == LIST;
        if (isList || name == ITEM) {
            if (levels.size() > static_cast<size_t>(MaxNesting))
                continue; // deeper than the limit: left out with everything below it
            const QString attribute = getAttribute(child, isList ? SIZE : DATATYPE);
            out += (isList ? START_LIST : START_ITEM) % kBlank % attribute % kLineFeed;
            // An item's table, as tableOf(child) finds it, from the datatype just read.
            const LevelTable table = isList ? LevelTable() : tableOfClass(toUInt(attribute, nullptr, 16));
            levels.push_back({table.stop ? QDomNode() : child.firstChild(), table.table,
                              isList ? &END_LIST : &END_ITEM});
            continue;
        }
        appendDataLine(out, child, name, level.table);
    }
    return out;
}

void XMLPacketable::appendSimpleValuePacket(QString& out, const QDomElement& e)
{
    appendSimpleLine(out, dataTagOf(e), e);
}

QString XMLPacketable::toSimpleValuePacket(const QDomElement& e)
{
    QString out;
    appendSimpleValuePacket(out, e);
    return out;
}

QString XMLPacketable::toKXKEYValuePacket(const QDomElement& e)
{
    QString out;
    appendKeyLine(out, dataTagOf(e), e);
    return out;
}

QString XMLPacketable::toNumberArrayValuePacket(const QDomElement& e)
{
    QString out;
    appendArrayLine(out, dataTagOf(e), e, kBlank);
    return out;
}

QString XMLPacketable::toStringArrayValuePacket(const QDomElement& e)
{
    QString out;
    appendArrayLine(out, dataTagOf(e), e, kCarriageReturn);
    return out;
}

void XMLPacketable::appendBinaryDataPacket(QString& out, const QDomElement& e)
{
    appendBinaryLine(out, dataTagOf(e), e);
}

void XMLPacketable::clearCache() const
{
    m_packet.reset();
}

XMLPacketable* XMLPacketable::fromArchiveNode(KXCommServer& server, ArchiveNode* archiveNode)
{
    if (!archiveNode)
        return nullptr;
    auto packetable = std::make_unique<XMLPacketable>();
    packetable->setData(server, archiveNode);
    return packetable.release();
}

void XMLPacketable::setData(KXCommServer& server, const ArchiveNode* archiveNode)
{
    if (!archiveNode || !archiveNode->getPacket())
        return;
    clearCache();
    ArchiveInliner(server).fillFrom(*this, *archiveNode);
}

void XMLPacketable::insertInlineData(KXCommServer& server, const ArchiveNode* archiveNode)
{
    if (!m_packet || !archiveNode)
        return;
    ArchiveInliner(server).insertInto(*this, *archiveNode);
}

int XMLPacketable::getXPKReferences(QList<XPKReference*>& out) const
{
    const QDomElement item = isXMLPacketable(node) ? getPacketableItemNode(node) : node;
    if (!item.hasChildNodes())
        return 0;
    const LevelTable level = tableOf(item);
    if (level.stop || !level.table)
        return 0;
    int appended = 0;
    for (QDomElement e = item.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
        if (e.tagName() == LIST || e.tagName() == ITEM)
            continue;
        const unsigned int mapped = mappedTypeOf(level.table, dataTagOf(e), nullptr);
        if (mapped != KXET_NAMEREF && mapped != KXET_KEYREF)
            continue;
        const QDomElement inlined = e.firstChildElement();
        if (inlined.isNull())
            continue;
        auto packetable = std::make_unique<XMLPacketable>();
        packetable->setData(inlined);
        out.append(mapped == KXET_NAMEREF ? new XPKReference(packetable.release(), getAttribute(e, VALUE))
                                          : new XPKReference(packetable.release(), getDBkey(e)));
        appended = 1;
    }
    return appended;
}

void XMLPacketable::nullifyReference(XPKReference*)
{
    // Deliberately a no-op: references own their packetables and are released by deleting them.
}
