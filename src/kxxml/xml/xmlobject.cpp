#include "xmlobject.h"

#include "xmlwriter_p.h"

#include <QDomImplementation>

namespace {

const QString kDummyDocument = QStringLiteral("dummydoc");

bool nameMatches(const QDomNode& child, const QString& name)
{
    return child.nodeName() == name;
}

// Attribute text for a non-empty key; the null string otherwise.
QString attributeText(const QDomElement& e, const QString& key)
{
    return key.isEmpty() ? QString() : e.attribute(key, QString());
}

// Text of the property element, or the null string when there is none.
QString propertyText(const QDomElement& e, const QString& key)
{
    const QDomElement p = e.namedItem(key).toElement();
    return p.isNull() ? QString() : p.text();
}

QString doubleText(double value, int precision)
{
    return QString::number(value, 'g', precision);
}

QString boolText(bool value)
{
    return value ? QStringLiteral("1") : QStringLiteral("0");
}

bool boolFrom(const QString& text)
{
    bool ok = false;
    const int v = text.toInt(&ok, 10);
    return ok && v == 1;
}

template <typename T, typename Convert>
T convertOr(const QString& text, T failure, Convert convert)
{
    bool ok = false;
    const T v = convert(text, &ok);
    return ok ? v : failure;
}

int intFrom(const QString& text)
{
    return convertOr<int>(text, 0, [](const QString& t, bool* ok) { return t.toInt(ok, 10); });
}

unsigned int uintFrom(const QString& text, int base)
{
    return convertOr<unsigned int>(text, 0u, [base](const QString& t, bool* ok) { return t.toUInt(ok, base); });
}

long longFrom(const QString& text)
{
    return convertOr<long>(text, 0L, [](const QString& t, bool* ok) { return t.toLong(ok, 10); });
}

unsigned long ulongFrom(const QString& text, int base)
{
    return convertOr<unsigned long>(text, 0UL, [base](const QString& t, bool* ok) { return t.toULong(ok, base); });
}

double doubleFrom(const QString& text)
{
    return convertOr<double>(text, 0.0, [](const QString& t, bool* ok) { return t.toDouble(ok); });
}

// Bases that numbers can be written in; Qt's own formatting fails outside them.
bool isNumberBase(int base)
{
    return base >= 2 && base <= 36;
}

template <typename List>
QString listText(const List& values, int base)
{
    QString text;
    if (!isNumberBase(base))
        return text;
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        if (it != values.cbegin())
            text += XMLObject::NUMLIST_SEP;
        text += XMLObject::numberText(*it, base);
    }
    return text;
}

// Splits at the separator, skipping empty parts, and keeps the low 32 bits of each item that
// parses. Reports through allOk whether every part parsed.
template <typename Item, typename Convert>
QList<Item> parseList(const QString& text, bool& allOk, Convert convert)
{
    QList<Item> items;
    allOk = true;
    const QStringList parts = text.split(XMLObject::NUMLIST_SEP, Qt::SkipEmptyParts, Qt::CaseSensitive);
    items.reserve(parts.size());
    for (const QString& part : parts) {
        bool itemOk = false;
        const auto v = convert(part, &itemOk);
        if (itemOk)
            items.append(static_cast<Item>(v));
        allOk = allOk && itemOk;
    }
    return items;
}

QList<int> parseLongList(const QString& text, bool& allOk, int base)
{
    return parseList<int>(text, allOk, [base](const QString& t, bool* ok) { return t.toLong(ok, base); });
}

QList<unsigned int> parseULongList(const QString& text, bool& allOk, int base)
{
    return parseList<unsigned int>(text, allOk, [base](const QString& t, bool* ok) { return t.toULong(ok, base); });
}

} // namespace

const QString XMLObject::KX_NAMESPACE = QStringLiteral("http://kxxml.org/xml/");
const QString XMLObject::NUMLIST_SEP = QStringLiteral(" ");

XMLObject::XMLObject(XMLOBJECT_TYPE t)
    : QObject(nullptr)
    , type(t)
    , document(createDocument(QLatin1String(""), kDummyDocument))
{
    QDomElement dummy = document.documentElement();
    node = createElement(dummy, rootNodeName(type));
}

XMLObject::~XMLObject()
{
    node.clear();
    document.clear();
}

QString XMLObject::rootNodeName() const
{
    return rootNodeName(type);
}

bool XMLObject::isXMLPacketable() const { return type == XMLOBJECT_PACKETABLE; }
bool XMLObject::isXMLAction() const { return type == XMLOBJECT_ACTION; }
bool XMLObject::isXMLUI() const { return type == XMLOBJECT_UI; }
bool XMLObject::isXMLImage() const { return type == XMLOBJECT_IMAGE; }
bool XMLObject::isXMLMessage() const { return type == XMLOBJECT_MESSAGE; }

void XMLObject::setNode(const QDomElement& e)
{
    node = document.importNode(e, true).toElement();
}

QDomElement XMLObject::getNode() const
{
    return node.cloneNode(true).toElement();
}

const QDomElement& XMLObject::getNodeConst() const
{
    return node;
}

QString XMLObject::toString() const
{
    return toString(node);
}

QString XMLObject::rootNodeName(XMLOBJECT_TYPE t)
{
    switch (t) {
    case XMLOBJECT_PACKET: return QStringLiteral("kxxml");
    case XMLOBJECT_PACKETABLE: return QStringLiteral("packetable");
    case XMLOBJECT_ACTION: return QStringLiteral("action");
    case XMLOBJECT_UI: return QStringLiteral("ui");
    case XMLOBJECT_IMAGE: return QStringLiteral("img");
    case XMLOBJECT_MESSAGE: return QStringLiteral("msg");
    }
    return QStringLiteral("nobody");
}

bool XMLObject::hasNodesOfType(const QDomElement& parent, XMLOBJECT_TYPE t)
{
    return parent.hasChildNodes() && !parent.namedItem(rootNodeName(t)).isNull();
}

int XMLObject::getNodesOfType(const QDomElement& parent, XMLOBJECT_TYPE t, std::list<QDomNode>& out)
{
    if (!hasNodesOfType(parent, t))
        return 0;
    const QString name = rootNodeName(t);
    int count = 0;
    for (QDomNode child = parent.firstChild(); !child.isNull(); child = child.nextSibling()) {
        if (nameMatches(child, name)) {
            out.push_back(child);
            ++count;
        }
    }
    return count;
}

void XMLObject::removeNodesOfType(QDomElement& parent, XMLOBJECT_TYPE t)
{
    if (!hasNodesOfType(parent, t))
        return;
    const QString name = rootNodeName(t);
    QDomNode child = parent.firstChild();
    while (!child.isNull()) {
        const QDomNode next = child.nextSibling();
        if (nameMatches(child, name))
            parent.removeChild(child);
        child = next;
    }
}

bool XMLObject::isXMLPacketable(const QDomElement& e)
{
    return e.tagName() == rootNodeName(XMLOBJECT_PACKETABLE);
}

QDomElement XMLObject::getElement(const QDomElement& parent, const QString& name)
{
    return parent.namedItem(name).toElement();
}

QDomElement XMLObject::getDocumentRoot(const QDomDocument& doc)
{
    return doc.documentElement();
}

QDomDocument XMLObject::createDocument(const QString& nsURI, const QString& qualifiedName)
{
    return QDomImplementation().createDocument(nsURI, qualifiedName, QDomDocumentType());
}

void XMLObject::createDocumentV(const QString& nsURI, const QString& qualifiedName)
{
    createDocument(nsURI, qualifiedName);
}

QDomElement XMLObject::createElement(QDomElement& parent, const QString& name)
{
    QDomElement e = parent.ownerDocument().createElement(name);
    parent.appendChild(e);
    return e;
}

void XMLObject::createElementV(QDomElement& parent, const QString& name)
{
    createElement(parent, name);
}

QDomText XMLObject::createTextNode(QDomElement& parent, const QString& text)
{
    QDomText t = parent.ownerDocument().createTextNode(text);
    parent.appendChild(t);
    return t;
}

void XMLObject::createTextNodeV(QDomElement& parent, const QString& text)
{
    createTextNode(parent, text);
}

QString XMLObject::toString(const QDomNode& n)
{
    return XMLWriter::write(n);
}

// Attributes

QString XMLObject::getAttribute(const QDomElement& e, const QString& key)
{
    return attributeText(e, key);
}

int XMLObject::getAttributeInt(const QDomElement& e, const QString& key)
{
    return intFrom(attributeText(e, key));
}

unsigned int XMLObject::getAttributeUInt(const QDomElement& e, const QString& key, int base)
{
    return uintFrom(attributeText(e, key), base);
}

long XMLObject::getAttributeLong(const QDomElement& e, const QString& key)
{
    return longFrom(attributeText(e, key));
}

unsigned long XMLObject::getAttributeULong(const QDomElement& e, const QString& key, int base)
{
    return ulongFrom(attributeText(e, key), base);
}

bool XMLObject::getAttributeBool(const QDomElement& e, const QString& key)
{
    return boolFrom(attributeText(e, key));
}

double XMLObject::getAttributeDouble(const QDomElement& e, const QString& key)
{
    return doubleFrom(attributeText(e, key));
}

void XMLObject::setAttribute(QDomElement& e, const QString& key, const QString& value)
{
    if (!key.isEmpty() && !value.isEmpty())
        e.setAttribute(key, value);
}

void XMLObject::setAttribute(QDomElement& e, const QString& key, int value)
{
    if (!key.isEmpty())
        e.setAttribute(key, numberText(value));
}

void XMLObject::setAttribute(QDomElement& e, const QString& key, unsigned int value, int base)
{
    if (!key.isEmpty() && isNumberBase(base))
        e.setAttribute(key, numberText(value, base));
}

void XMLObject::setAttribute(QDomElement& e, const QString& key, bool value)
{
    if (!key.isEmpty())
        e.setAttribute(key, boolText(value));
}

void XMLObject::setAttribute(QDomElement& e, const QString& key, double value)
{
    if (!key.isEmpty())
        e.setAttribute(key, doubleText(value, 12));
}

void XMLObject::removeAttribute(QDomElement& e, const QString& key)
{
    if (!key.isEmpty())
        e.removeAttribute(key);
}

// Properties

bool XMLObject::hasProperty(const QDomElement& e, const QString& key)
{
    return !e.namedItem(key).toElement().isNull();
}

QString XMLObject::getProperty(const QDomElement& e, const QString& key)
{
    return propertyText(e, key);
}

int XMLObject::getPropertyInt(const QDomElement& e, const QString& key)
{
    return intFrom(propertyText(e, key));
}

unsigned int XMLObject::getPropertyUInt(const QDomElement& e, const QString& key, int base)
{
    return uintFrom(propertyText(e, key), base);
}

long XMLObject::getPropertyLong(const QDomElement& e, const QString& key)
{
    return longFrom(propertyText(e, key));
}

unsigned long XMLObject::getPropertyULong(const QDomElement& e, const QString& key, int base)
{
    return ulongFrom(propertyText(e, key), base);
}

bool XMLObject::getPropertyBool(const QDomElement& e, const QString& key)
{
    return boolFrom(propertyText(e, key));
}

double XMLObject::getPropertyDouble(const QDomElement& e, const QString& key)
{
    return doubleFrom(propertyText(e, key));
}

QList<int> XMLObject::getPropertyLongList(const QDomElement& e, const QString& key, int base)
{
    const QString text = propertyText(e, key);
    if (text.isEmpty())
        return {};
    bool allOk = false;
    QList<int> items = parseLongList(text, allOk, base);
    return allOk ? items : QList<int>();
}

QList<unsigned int> XMLObject::getPropertyULongList(const QDomElement& e, const QString& key, int base)
{
    const QString text = propertyText(e, key);
    if (text.isEmpty())
        return {};
    bool allOk = false;
    QList<unsigned int> items = parseULongList(text, allOk, base);
    return allOk ? items : QList<unsigned int>();
}

void XMLObject::setProperty(QDomElement& e, const QString& key, const QString& value)
{
    QDomElement p = e.namedItem(key).toElement();
    if (!p.isNull()) {
        for (QDomNode child = p.firstChild(); !child.isNull(); child = child.nextSibling()) {
            if (child.isText()) {
                child.toText().setData(value);
                return;
            }
        }
        return; // a property without a text child keeps what it holds (deliberate)
    }
    QDomElement created = createElement(e, key);
    createTextNodeV(created, value);
}

void XMLObject::setProperty(QDomElement& e, const QString& key, int value)
{
    setProperty(e, key, numberText(value));
}

void XMLObject::setProperty(QDomElement& e, const QString& key, unsigned int value, int base)
{
    if (isNumberBase(base))
        setProperty(e, key, numberText(value, base));
}

void XMLObject::setProperty(QDomElement& e, const QString& key, bool value)
{
    setProperty(e, key, boolText(value));
}

void XMLObject::setProperty(QDomElement& e, const QString& key, double value)
{
    setProperty(e, key, doubleText(value, 6));
}

void XMLObject::setProperty(QDomElement& e, const QString& key, const QList<int>& values, int base)
{
    if (isNumberBase(base))
        setProperty(e, key, toString(values, base));
}

void XMLObject::setProperty(QDomElement& e, const QString& key, const QList<unsigned int>& values, int base)
{
    if (isNumberBase(base))
        setProperty(e, key, toString(values, base));
}

// Number text

QString XMLObject::toString(const QList<int>& values, int base)
{
    return listText(values, base);
}

QString XMLObject::toString(const QList<unsigned int>& values, int base)
{
    return listText(values, base);
}

QList<int> XMLObject::toLongList(const QString& text, bool* ok, int base)
{
    if (text.isEmpty())
        return {};
    bool allOk = false;
    QList<int> items = parseLongList(text, allOk, base);
    if (ok)
        *ok = allOk;
    return items;
}

QList<unsigned int> XMLObject::toULongList(const QString& text, bool* ok, int base)
{
    if (text.isEmpty())
        return {};
    bool allOk = false;
    QList<unsigned int> items = parseULongList(text, allOk, base);
    if (ok)
        *ok = allOk;
    return items;
}

QString XMLObject::numberText(int value, int base)
{
    if (!isNumberBase(base))
        return {};
    // Qt 5 writes a negative number in a base other than 10 as its two's complement; the
    // wire form is the minus sign and the magnitude, with every Qt.
    if (value < 0 && base != 10)
        return QLatin1Char('-') + QString::number(-static_cast<qlonglong>(value), base);
    return QString::number(value, base);
}

QString XMLObject::numberText(unsigned int value, int base)
{
    if (!isNumberBase(base))
        return {};
    return QString::number(value, base);
}

unsigned int XMLObject::toUInt(QStringView text, bool* ok, int base)
{
    bool parsed = false;
    const unsigned int v = text.toUInt(&parsed, base);
    if (ok)
        *ok = parsed;
    return parsed ? v : 0u;
}
