#pragma once

#include <kxxml/kxxml_export.h>

#include <QDomDocument>
#include <QDomElement>
#include <QList>
#include <QObject>
#include <QString>

#include <list>

/// The common base of every XML-backed object that agents exchange.
///
/// Each object owns a small DOM document of its own and one element in it, its node, under
/// which all of its content lives. The class also carries the static DOM utilities and the
/// typed attribute and property functions that every kind of object builds its vocabulary
/// with, so their text forms (decimal, hexadecimal, booleans, doubles, number lists) are the
/// one wire format of the library.
class KXXML_EXPORT XMLObject : public QObject
{
public:
    /// The kind of an object; fixes the name of its root element.
    enum XMLOBJECT_TYPE : int { // fixed type: values outside the list are valid and name "nobody"
        XMLOBJECT_PACKET = 0,      ///< "kxxml"
        XMLOBJECT_PACKETABLE = 1,  ///< "packetable"
        XMLOBJECT_ACTION = 2,      ///< "action"
        XMLOBJECT_UI = 3,          ///< "ui"
        XMLOBJECT_IMAGE = 4,       ///< "img"
        XMLOBJECT_MESSAGE = 5      ///< "msg"
    };

    /// The library's XML namespace; the packet envelope's document element lives in it.
    static const QString KX_NAMESPACE;
    /// Separates the items of number lists: a single space.
    static const QString NUMLIST_SEP;

    /// Builds a "dummydoc" document holding one empty element named after @p type.
    explicit XMLObject(XMLOBJECT_TYPE type);
    ~XMLObject() override;

    /// Root element name of this object's own type.
    QString rootNodeName() const;
    bool isXMLPacketable() const; ///< Whether the object is of type XMLOBJECT_PACKETABLE.
    bool isXMLAction() const;     ///< Whether the object is of type XMLOBJECT_ACTION.
    bool isXMLUI() const;         ///< Whether the object is of type XMLOBJECT_UI.
    bool isXMLImage() const;      ///< Whether the object is of type XMLOBJECT_IMAGE.
    bool isXMLMessage() const;    ///< Whether the object is of type XMLOBJECT_MESSAGE.

    /// Makes a deep copy of @p e, imported into the object's own document, the object's node.
    /// The previous node stays where it was in the document but is no longer designated.
    virtual void setNode(const QDomElement& e);
    /// A deep copy of the node, owned by the same document, without a parent.
    QDomElement getNode() const;
    /// The node itself (a shared handle): appending it elsewhere moves the object's element.
    const QDomElement& getNodeConst() const;
    /// The node as XML text (see toString(const QDomNode&)).
    QString toString() const;

    // Static DOM utilities.
    /// Root element name of @p t: "kxxml", "packetable", "action", "ui", "img", "msg", else "nobody".
    static QString rootNodeName(XMLOBJECT_TYPE t);
    /// Whether @p parent has a direct child named rootNodeName(@p t).
    static bool hasNodesOfType(const QDomElement& parent, XMLOBJECT_TYPE t);
    /// Appends every direct child named rootNodeName(@p t) to @p out (which is not cleared);
    /// returns how many this call appended.
    static int getNodesOfType(const QDomElement& parent, XMLOBJECT_TYPE t, std::list<QDomNode>& out);
    /// Removes every direct child named rootNodeName(@p t).
    static void removeNodesOfType(QDomElement& parent, XMLOBJECT_TYPE t);
    /// Whether the tag name of @p e is exactly "packetable".
    static bool isXMLPacketable(const QDomElement& e);
    /// The first direct child named @p name, as an element; null if none or not an element.
    static QDomElement getElement(const QDomElement& parent, const QString& name);
    /// The document element of @p doc.
    static QDomElement getDocumentRoot(const QDomDocument& doc);
    /// A new document whose element is @p qualifiedName in namespace @p nsURI, without a document type.
    static QDomDocument createDocument(const QString& nsURI, const QString& qualifiedName);
    /// Builds the same document as createDocument and discards it: it has no effect (deliberate).
    static void createDocumentV(const QString& nsURI, const QString& qualifiedName);
    /// A new element @p name appended as the last child of @p parent; returns it.
    static QDomElement createElement(QDomElement& parent, const QString& name);
    /// createElement without the result.
    static void createElementV(QDomElement& parent, const QString& name);
    /// A new text node appended as the last child of @p parent; returns it.
    static QDomText createTextNode(QDomElement& parent, const QString& text);
    /// createTextNode without the result.
    static void createTextNodeV(QDomElement& parent, const QString& text);
    /// @p n as XML text: Qt's one-space-indented format with each element's attributes in
    /// order of their names, written without recursion. No XML declaration.
    static QString toString(const QDomNode& n);

    /// @name Typed attributes
    /// Attribute @p key of @p e as text, a number (in @p base where given), a boolean or a
    /// double. Every function does nothing (writers) or answers the neutral value (readers)
    /// for an empty key.
    /// @{
    static QString getAttribute(const QDomElement& e, const QString& key);
    static int getAttributeInt(const QDomElement& e, const QString& key);
    static unsigned int getAttributeUInt(const QDomElement& e, const QString& key, int base);
    static long getAttributeLong(const QDomElement& e, const QString& key);
    static unsigned long getAttributeULong(const QDomElement& e, const QString& key, int base);
    /// True only for text that parses as the decimal integer 1.
    static bool getAttributeBool(const QDomElement& e, const QString& key);
    static double getAttributeDouble(const QDomElement& e, const QString& key);
    /// Writes only a non-empty value: an empty value leaves an existing attribute as it is
    /// (deliberate; use removeAttribute).
    static void setAttribute(QDomElement& e, const QString& key, const QString& value);
    static void setAttribute(QDomElement& e, const QString& key, int value);
    /// Nothing is written for a base outside 2 to 36.
    static void setAttribute(QDomElement& e, const QString& key, unsigned int value, int base);
    static void setAttribute(QDomElement& e, const QString& key, bool value);
    /// Written with 12 significant digits (a property keeps only 6; deliberate).
    static void setAttribute(QDomElement& e, const QString& key, double value);
    static void removeAttribute(QDomElement& e, const QString& key);
    /// @}

    /// @name Typed properties
    /// A property is the first direct child element of @p e named @p key, holding text; as
    /// text, a number (in @p base where given), a boolean, a double or a list of numbers.
    /// @{
    static bool hasProperty(const QDomElement& e, const QString& key);
    static QString getProperty(const QDomElement& e, const QString& key);
    static int getPropertyInt(const QDomElement& e, const QString& key);
    static unsigned int getPropertyUInt(const QDomElement& e, const QString& key, int base);
    static long getPropertyLong(const QDomElement& e, const QString& key);
    static unsigned long getPropertyULong(const QDomElement& e, const QString& key, int base);
    static bool getPropertyBool(const QDomElement& e, const QString& key);
    static double getPropertyDouble(const QDomElement& e, const QString& key);
    /// The list, or an empty list when any item fails to parse (stricter than toLongList).
    static QList<int> getPropertyLongList(const QDomElement& e, const QString& key, int base);
    static QList<unsigned int> getPropertyULongList(const QDomElement& e, const QString& key, int base);
    /// Replaces the text of an existing property's first text child, or creates the property.
    /// An existing property without a text child is left unchanged (deliberate).
    static void setProperty(QDomElement& e, const QString& key, const QString& value);
    static void setProperty(QDomElement& e, const QString& key, int value);
    /// Nothing is written for a base outside 2 to 36 (also by the list forms below).
    static void setProperty(QDomElement& e, const QString& key, unsigned int value, int base);
    static void setProperty(QDomElement& e, const QString& key, bool value);
    /// Written with 6 significant digits (an attribute keeps 12; deliberate).
    static void setProperty(QDomElement& e, const QString& key, double value);
    static void setProperty(QDomElement& e, const QString& key, const QList<int>& values, int base);
    static void setProperty(QDomElement& e, const QString& key, const QList<unsigned int>& values, int base);
    /// @}

    /// @name Number text
    /// The one place where the library formats and parses numbers for the wire.
    /// Numbers are written in bases 2 to 36 only: for any other base the writers here and the
    /// typed setters that take a base write nothing (a null text, no attribute, no property).
    /// @{
    /// Items joined by NUMLIST_SEP; empty for an empty list.
    static QString toString(const QList<int>& values, int base);
    static QString toString(const QList<unsigned int>& values, int base);
    /// Lenient: items that fail are left out and reported through @p ok; an empty text
    /// returns an empty list and leaves @p ok as it was.
    static QList<int> toLongList(const QString& text, bool* ok, int base);
    static QList<unsigned int> toULongList(const QString& text, bool* ok, int base);
    /// A signed number in @p base, negative numbers with a minus sign in every base.
    static QString numberText(int value, int base = 10);
    static QString numberText(unsigned int value, int base = 10);
    /// Parses an unsigned number in @p base; 0 and *ok false when it does not parse.
    static unsigned int toUInt(QStringView text, bool* ok, int base);
    /// @}

protected:
    XMLOBJECT_TYPE type;   ///< The kind of object, fixed at construction.
    QDomDocument document; ///< The object's own document.
    QDomElement node;      ///< The object's element in #document.
};
