#pragma once

#include <kxxml/kxxmlqt.h>
#include <kxxml/packetable/hostlib.h>
#include <kxxml/xml/xmlobject.h>

#include <QDomNodeList>
#include <QList>
#include <QStringList>

#include <list>
#include <memory>

class ArchiveInliner;
class XPKReference;

/// A host packet (KXPacketable) as XML.
///
/// The root element ("packetable") carries the packet's metadata as attributes: `name`,
/// `datatype` (hexadecimal), `key` and `hkey` (hexadecimal) and the optional booleans
/// `is_current` and `is_replacement`. The packet's data sits in an `item` whose `datatype` is
/// its storage class; an item holds data elements, `list`s and nested items in the order of
/// the packet's text form. A data element is named after its data tag (`_1a`) and holds a
/// simple value, a key, a number array, a string array or binary data, as the item's
/// conversion table says.
///
///     <packetable name="Letter" datatype="1f" key="12" hkey="3">
///      <item datatype="1f">
///       <_10 value="Dear sir"/>
///       <_11 key="a0" hkey="2"/>
///       <_12 size="3"><value>1</value><value>2</value><value>3</value></_12>
///       <list size="2"><item datatype="5">…</item><item datatype="5">…</item></list>
///      </item>
///     </packetable>
///
/// Conversions go through the host's text form in both directions: setData(const
/// KXPacketable&) reads it into XML (toDom) and getDataConst() writes it back (toPacket) for
/// a fresh host packet to parse. The object owns the host packet it built last (its cache).
///
/// Nesting limit: both directions keep at most MaxNesting levels of lists and items below
/// the element they start from. Deeper content is skipped, the way anything else that
/// cannot be placed is skipped, so input nested any depth costs neither stack nor more than
/// linear time.
///
/// Archive packets: setData(KXCommServer&, const ArchiveNode*) fills the object from a node of
/// the host's archive and places each packet it refers to (by key or by name) inside the data
/// element that refers to it, and the packets those refer to inside the copies, to any depth
/// and without recursion. The archive is expected to be acyclic; when it is not, a packet is
/// never inlined inside itself: the reference that would do so is left as it stands and the
/// others are inlined. getXPKReferences() hands the inlined packets out again. (Qt itself
/// copies and destroys DOM trees recursively, so very long reference chains still cost stack
/// there.)
class KXXML_EXPORT XMLPacketable : public XMLObject
{
public:
    static const QString NAME;           ///< "name": root attribute, the packet's name
    static const QString DATATYPE;       ///< "datatype": root and item attribute, hexadecimal
    static const QString KEY;            ///< "key": root and key-element attribute
    static const QString HKEY;           ///< "hkey": root and key-element attribute
    static const QString IS_CURRENT;     ///< "is_current": root attribute, boolean
    static const QString IS_REPLACEMENT; ///< "is_replacement": root attribute, boolean
    static const QString VALUE;          ///< "value": simple-element attribute; array entry element
    static const QString LIST;           ///< "list"
    static const QString ITEM;           ///< "item"
    static const QString SIZE;           ///< "size": of lists, arrays and binary data
    static const QString START_LIST;     ///< "SL": text form, opens a list
    static const QString END_LIST;       ///< "TL": text form, closes a list
    static const QString START_ITEM;     ///< "SI": text form, opens an item
    static const QString END_ITEM;       ///< "TI": text form, closes an item

    /// Levels of lists and items that the conversions keep; deeper content is skipped.
    static constexpr int MaxNesting = 256;

    /// An empty "packetable" element and no cached packet.
    XMLPacketable();
    /// Deletes the cached packet.
    ~XMLPacketable() override;

    XMLPacketable(const XMLPacketable&) = delete;
    XMLPacketable& operator=(const XMLPacketable&) = delete;

    // Metadata of the object's own element; the statics below do the same on any element.
    /// Writes the boolean attribute `is_current`.
    virtual void setCurrent(bool current);
    /// Reads `is_current`; false when missing.
    virtual bool isCurrent() const;
    /// Writes the attribute `name`.
    virtual void setName(const QString& name);
    /// Reads `name`; empty when missing.
    virtual QString getName() const;
    /// Writes `key` and `hkey` in hexadecimal.
    virtual void setDBkey(const KXKEY_ELEMENT& key);
    /// Reads `key` and `hkey` in hexadecimal; a missing attribute reads 0.
    virtual KXKEY_ELEMENT getDBkey() const;
    /// Writes `datatype` in hexadecimal.
    virtual void setType(PACKETDATATYPES dataType);
    /// Reads `datatype` in hexadecimal; 0 when missing.
    virtual PACKETDATATYPES getType() const;
    /// Writes the boolean attribute `is_replacement`.
    void setReplacement(bool replacement);
    /// Reads `is_replacement`; false when missing.
    bool isReplacement() const;
    /// Removes the attribute `is_replacement`.
    void clearReplacement();

    /// Writes `is_current` on @p e.
    static void setCurrent(QDomElement& e, bool current);
    /// Reads `is_current` of @p e.
    static bool isCurrent(const QDomElement& e);
    /// Writes `name` on @p e.
    static void setName(QDomElement& e, const QString& name);
    /// Reads `name` of @p e.
    static QString getName(const QDomElement& e);
    /// Writes `key` and `hkey` on @p e.
    static void setDBkey(QDomElement& e, const KXKEY_ELEMENT& key);
    /// Reads `key` and `hkey` of @p e, starting from the host's null key.
    static KXKEY_ELEMENT getDBkey(const QDomElement& e);
    /// Writes `datatype` on @p e.
    static void setType(QDomElement& e, PACKETDATATYPES dataType);
    /// Reads `datatype` of @p e.
    static PACKETDATATYPES getType(const QDomElement& e);
    /// Writes `is_replacement` on @p e.
    static void setReplacement(QDomElement& e, bool replacement);
    /// Reads `is_replacement` of @p e.
    static bool isReplacement(const QDomElement& e);
    /// Removes `is_replacement` from @p e.
    static void clearReplacement(QDomElement& e);

    // Data-tag naming.
    /// The element name of data tag @p tag: an underscore and the tag in lower-case
    /// hexadecimal (0x1a2 gives "_1a2"; a negative tag keeps its minus sign: "_-1a").
    static QString getXMLTagNameFromDATATAG(int tag);
    /// @p name less its first character: the hexadecimal digits of a data element's name.
    /// The first character is not checked ("list" gives "ist", which is no number).
    static QString getDATATAGFromXMLTagName(const QString& name);

    /// @name Element builders
    /// Each appends a new element to @p parent; the plain forms return it, the V forms do not.
    /// @{
    /// A `list` whose `size` is @p size.
    static QDomElement createListElement(QDomElement& parent, const QString& size);
    static void createListElementV(QDomElement& parent, const QString& size);
    /// An `item` whose `datatype` is @p datatype.
    static QDomElement createItemElement(QDomElement& parent, const QString& datatype);
    static void createItemElementV(QDomElement& parent, const QString& datatype);
    /// Element @p name whose `value` is @p value (no attribute for an empty value).
    static QDomElement createSimpleElement(QDomElement& parent, const QString& name, const QString& value);
    static void createSimpleElementV(QDomElement& parent, const QString& name, const QString& value);
    /// Element @p name with `key` and `hkey` from the two blank-separated words of @p text;
    /// without attributes unless there are exactly two words.
    static QDomElement createKXKEYElement(QDomElement& parent, const QString& name, const QString& text);
    static void createKXKEYElementV(QDomElement& parent, const QString& name, const QString& text);
    /// Element @p name from "<count in hex> <entry> <entry>…": `size` and one `value` child per
    /// entry; left empty when the count is no number or disagrees with the entries.
    static QDomElement createNumberArrayElement(QDomElement& parent, const QString& name, const QString& text);
    static void createNumberArrayElementV(QDomElement& parent, const QString& name, const QString& text);
    /// Element @p name from "<count in hex> <s1>\r<s2>…": `size`, then one `value` child per
    /// non-empty string when their number equals the count (else `size` alone).
    static QDomElement createStringArrayElement(QDomElement& parent, const QString& name, const QString& text);
    static void createStringArrayElementV(QDomElement& parent, const QString& name, const QString& text);
    /// Element @p name from "<size> <data>": `size` and one text node, both as they stand.
    static QDomElement createBinaryDataElement(QDomElement& parent, const QString& name, const QString& text);
    static void createBinaryDataElementV(QDomElement& parent, const QString& name, const QString& text);
    /// @}

    // Node finders.
    /// The first descendant of @p e, in document order, named after data tag @p tag; null if none.
    static QDomElement getTagNode(const QDomElement& e, int tag);
    /// Attribute @p attribute of getTagNode(@p e, @p tag); empty when there is none.
    static QString getTagAttribute(const QDomElement& e, int tag, QString attribute);
    /// Appends to @p parent a new packetable root of data type @p dataType holding one empty item
    /// of the same type, and returns the root (it belongs to @p parent's document).
    static QDomElement getEmptyNodeOfType(QDomElement& parent, PACKETDATATYPES dataType);
    /// For a packetable root @p e, the first descendant item with the root's data type; null
    /// otherwise.
    static QDomElement getPacketableItemNode(const QDomElement& e);
    /// The children of getPacketableItemNode(@p e); empty when there is no such item.
    static QDomNodeList getPacketableItemTagNodes(const QDomElement& e);
    /// The first packetable child of @p e of data type @p dataType; null if none.
    static QDomElement getFirstPacketableNodeOfType(const QDomElement& e, PACKETDATATYPES dataType);
    /// Appends the packetable children of @p e of data type @p dataType to @p out (not cleared);
    /// returns how many this call appended.
    static int getPacketableNodesOfType(const QDomElement& e, PACKETDATATYPES dataType, std::list<QDomNode>& out);
    /// The first row of @p table (before its terminating zero row) whose data tag is @p tag;
    /// null for a null table or no match. The row belongs to the host.
    static CONVERTSTRUCTELEMENTINFO* getConvStructFromDataTag(CONVERTSTRUCTELEMENTINFO* table, unsigned int tag);

    // Packet to XML.
    /// Writes @p packet's metadata on the root, appends its data converted from its text form
    /// (existing children stay) and rebuilds the cached packet from the new XML.
    void setData(const KXPacketable& packet);
    /// Deletes the cached packet and makes a deep copy of @p node the object's element (a null
    /// element when @p node is no element). The copy is made without recursion, so a tree of
    /// any depth can be handed in; Qt still destroys it recursively.
    void setData(const QDomNode& node);
    /// The packet built from the XML, built on first use and cached; null when the host cannot
    /// build it. The object keeps ownership; it reflects the XML of the moment it was built.
    const KXPacketable* getDataConst() const;
    /// A new copy of the cached packet, owned by the caller; null when there is none.
    KXPacketable* getData() const;
    /// Reads @p lines from @p start into children of @p parent and returns the index where it
    /// stopped: the line that closes @p parent's level, or past the end.
    /// An item of storage class 6 or without a table returns @p start at once, so its caller
    /// reads the item's lines at its own level (deliberate).
    static unsigned int toDom(QDomElement& parent, QStringList& lines, unsigned int start);
    /// Cuts @p line at its first blank into @p tag and @p value (both refer to @p line). A line
    /// without a blank leaves both as they were, so the previous cut positions apply to the
    /// line they refer to (deliberate).
    static void getTagValuePair(QString& line, QStringRef& tag, QStringRef& value);

    // XML to packet text.
    /// The text form of @p e's children; empty when it has none.
    static QString toPacket(const QDomElement& e);
    /// Appends "<tag> <value>\n" to @p out; nothing when `value` is empty or missing.
    static void appendSimpleValuePacket(QString& out, const QDomElement& e);
    /// "<tag> <value>\n"; empty when `value` is empty or missing.
    static QString toSimpleValuePacket(const QDomElement& e);
    /// "<tag> <key> <hkey>\n".
    static QString toKXKEYValuePacket(const QDomElement& e);
    /// "<tag> <count in hex> <entries joined by blanks>\n", counting the `value` children.
    static QString toNumberArrayValuePacket(const QDomElement& e);
    /// "<tag> <count in hex> <strings joined by carriage returns>\n".
    static QString toStringArrayValuePacket(const QDomElement& e);
    /// Appends "<tag> <size> <text>\n" to @p out, also when they are empty.
    static void appendBinaryDataPacket(QString& out, const QDomElement& e);

    // Archive nodes and references.
    /// A new packetable filled from @p node as setData(KXCommServer&, const ArchiveNode*)
    /// does, owned by the caller; null for a null node. The node stays the archive's.
    static XMLPacketable* fromArchiveNode(KXCommServer& server, ArchiveNode* node);
    /// Fills the object from @p node's packet (as setData(const KXPacketable&), after loading a
    /// colour profile's data from @p server) and inlines the packets it refers to, found in
    /// @p node's archive. Nothing for a null node or a node without a packet.
    void setData(KXCommServer& server, const ArchiveNode* node);
    /// Appends a copy of @p node's packet, with its own references inlined, to every data
    /// element of the object's item that refers to it: by key when the packet's key is valid,
    /// else by name; nothing for an invalid key without a name. Nothing either for a null node
    /// or while the object has no cached packet.
    void insertInlineData(KXCommServer& server, const ArchiveNode* node);
    /// Appends to @p out one new reference, owned by the caller, per inlined packet directly
    /// under the packet's item: name references (type 9) by the element's `value`, key
    /// references (type 14) by its `key` and `hkey`. Nested lists and items are not looked at.
    /// Returns 1 when it appended any, else 0 (a flag, not a count).
    int getXPKReferences(QList<XPKReference*>& out) const;
    /// Does nothing; the reference and its packetable stay as they are.
    void nullifyReference(XPKReference* reference);

private:
    friend class ArchiveInliner; // reads the cached packet as it stands, without rebuilding it

    void clearCache() const;

    // Built lazily by the const getDataConst(), hence mutable.
    mutable std::unique_ptr<KXPacketable> m_packet;
};
