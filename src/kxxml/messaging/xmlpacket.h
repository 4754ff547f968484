#pragma once

#include <kxxml/xml/xmlobject.h>

class XMLAction;
class KXPacketable;
class XMLImage;
class XMLMessage;
class XMLPacketable;
class XMLUI;

/// The envelope that agents exchange through the router: a header naming the source and
/// destination agents by id, and a body holding the elements of any number of XML objects.
///
///     <kxxml xmlns="KX_NAMESPACE">
///      <header>
///       <src agent_id="3"/>
///       <dst agent_id="7"/>
///      </header>
///      <body>…</body>
///     </kxxml>
class KXXML_EXPORT XMLPacket : public XMLObject
{
public:
    static const QString HEADER;       ///< "header"
    static const QString SOURCE;       ///< "src"
    static const QString DESTINATION;  ///< "dst"
    static const QString BODY;         ///< "body"
    static const QString AGENT_ID;     ///< "agent_id"
    static const QString PAGE;         ///< "page", in the header of a paged reply's packets
    static const QString PAGE_NUMBER;  ///< "number", of PAGE
    static const QString MORE_PAGES;   ///< "more", of PAGE

    /// An empty envelope; both agent ids read 0 until set.
    XMLPacket();
    ~XMLPacket() override;

    /// Writes the source agent id into the header.
    void setSourceAgentID(int id);
    /// The source agent id; 0 when absent or not a number.
    int getSourceAgentID() const;
    /// Writes the destination agent id into the header.
    void setDestinationAgentID(int id);
    /// The destination agent id; 0 when absent or not a number.
    int getDestinationAgentID() const;

    /// @name Pages of a paged reply
    /// A list request whose action has a page size (XMLAction::setPageSize) is answered with
    /// a sequence of packets, each marked in its header with `<page number="N" more="1"/>`:
    /// its number, from 1 upwards, and whether more pages follow (`more="0"` on the last).
    /// Packets of unpaged replies carry no such mark.
    /// @{
    /// Marks the packet as page @p number of a reply, followed by more when @p more is true.
    void setPage(int number, bool more);
    /// Whether the packet is one page of a paged reply.
    bool hasPage() const;
    /// The page number, from 1 upwards; 0 when the packet is not a page.
    int getPage() const;
    /// Whether more pages of the same reply follow; false when the packet is not a page.
    bool getMorePages() const;
    /// @}

    /// @name Appending objects
    /// append() adds a deep copy of the object's element to the body and returns the copy;
    /// later changes to the object do not reach the packet. appendV() moves the object's own
    /// element into the body (no copy): later changes made through the object show in the
    /// packet.
    /// @{
    QDomElement append(XMLMessage& message);
    QDomElement append(XMLImage& image);
    QDomElement append(XMLPacketable& packetable);
    QDomElement append(XMLAction& action);
    QDomElement append(XMLUI& ui);
    void appendV(XMLMessage& message);
    void appendV(XMLImage& image);
    void appendV(XMLPacketable& packetable);
    void appendV(XMLAction& action);
    void appendV(XMLUI& ui);

    /// Converts the host packet @p packet (only read) into a "packetable" element, marked
    /// `is_current` when @p current is true, appends it to the body and returns it.
    QDomElement append(KXPacketable& packet, bool current);
    /// The same as append(KXPacketable&, bool), without result.
    void appendV(KXPacketable& packet, bool current);
    /// @}

    /// Whether the body has a direct child of kind @p t.
    bool hasNodesOfType(XMLObject::XMLOBJECT_TYPE t) const;
    /// Appends the body's direct children of kind @p t to @p out; returns how many.
    int getNodesOfType(XMLObject::XMLOBJECT_TYPE t, std::list<QDomNode>& out) const;
    /// True when the body has no child nodes; the header is not looked at.
    bool isEmpty() const;
    /// Writes the packet's text to standard output, without a newline of its own.
    void print() const;
    /// The envelope as XML text, one space of indentation per level.
    QString packetText() const;

    /// A deep copy of the other packet's envelope; nothing of the object's own node is copied.
    virtual XMLPacket& operator=(const XMLPacket& other);
    /// Packets are equal when the texts of their envelopes are equal.
    virtual bool operator==(const XMLPacket& other) const;
    /// The negation of operator==().
    virtual bool operator!=(const XMLPacket& other) const;
    /// Copies @p other, or resets to an empty envelope when @p other is null.
    void init(const XMLPacket* other);

protected:
    /// Appends a deep copy of @p object's element to the body and returns it.
    QDomElement appendCopy(const XMLObject& object);
    /// Moves @p object's own element into the body.
    void appendOwn(const XMLObject& object);

    QDomDocument packetDocument; ///< The envelope's own document.
    QDomElement root;            ///< The document element, "kxxml" in KX_NAMESPACE.
    QDomElement header;          ///< "header", holding source and destination.
    QDomElement source;          ///< "src", whose AGENT_ID is the source agent id.
    QDomElement destination;     ///< "dst", whose AGENT_ID is the destination agent id.
    QDomElement body;            ///< "body", holding the objects.

private:
    void buildEmpty();
    void copyFrom(const XMLPacket& other);
};
