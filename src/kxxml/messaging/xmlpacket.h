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

    /// An empty envelope; both agent ids read 0 until set.
    XMLPacket();
    ~XMLPacket() override;

    void setSourceAgentID(int id);
    /// The source agent id; 0 when absent or not a number.
    int getSourceAgentID() const;
    void setDestinationAgentID(int id);
    int getDestinationAgentID() const;

    /// Appends a deep copy of the object's element to the body and returns the copy; later
    /// changes to the object do not reach the packet.
    QDomElement append(XMLMessage& message);
    QDomElement append(XMLImage& image);
    QDomElement append(XMLPacketable& packetable);
    QDomElement append(XMLAction& action);
    QDomElement append(XMLUI& ui);
    /// Moves the object's own element into the body (no copy): later changes made through
    /// the object show in the packet.
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

    bool hasNodesOfType(XMLObject::XMLOBJECT_TYPE t) const;
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
    virtual bool operator!=(const XMLPacket& other) const;
    /// Copies @p other, or resets to an empty envelope when @p other is null.
    void init(const XMLPacket* other);

protected:
    QDomElement appendCopy(const XMLObject& object);
    void appendOwn(const XMLObject& object);

    QDomDocument packetDocument;
    QDomElement root;
    QDomElement header;
    QDomElement source;
    QDomElement destination;
    QDomElement body;

private:
    void buildEmpty();
    void copyFrom(const XMLPacket& other);
};
