#include "xmlpacket.h"

#include <kxxml/ui/xmlaction.h>
#include <kxxml/ui/xmlui.h>
#include <kxxml/xml/xmlimage.h>
#include <kxxml/xml/xmlmessage.h>
#include <kxxml/xml/xmlwriter_p.h>
#include <kxxml/packetable/xmlpacketable.h>

#include <cstdio>

const QString XMLPacket::HEADER = QStringLiteral("header");
const QString XMLPacket::SOURCE = QStringLiteral("src");
const QString XMLPacket::DESTINATION = QStringLiteral("dst");
const QString XMLPacket::BODY = QStringLiteral("body");
const QString XMLPacket::AGENT_ID = QStringLiteral("agent_id");
const QString XMLPacket::PAGE = QStringLiteral("page");
const QString XMLPacket::PAGE_NUMBER = QStringLiteral("number");
const QString XMLPacket::MORE_PAGES = QStringLiteral("more");

XMLPacket::XMLPacket()
    : XMLObject(XMLOBJECT_PACKET)
{
    buildEmpty();
}

XMLPacket::~XMLPacket()
{
    packetDocument.clear();
}

void XMLPacket::setSourceAgentID(int id)
{
    setAttribute(source, AGENT_ID, id);
}

int XMLPacket::getSourceAgentID() const
{
    return getAttributeInt(source, AGENT_ID);
}

void XMLPacket::setDestinationAgentID(int id)
{
    setAttribute(destination, AGENT_ID, id);
}

int XMLPacket::getDestinationAgentID() const
{
    return getAttributeInt(destination, AGENT_ID);
}

void XMLPacket::setPage(int number, bool more)
{
    QDomElement page = getElement(header, PAGE);
    if (page.isNull())
        page = createElement(header, PAGE);
    setAttribute(page, PAGE_NUMBER, number);
    setAttribute(page, MORE_PAGES, more);
}

bool XMLPacket::hasPage() const
{
    return !getElement(header, PAGE).isNull();
}

int XMLPacket::getPage() const
{
    return getAttributeInt(getElement(header, PAGE), PAGE_NUMBER);
}

bool XMLPacket::getMorePages() const
{
    return getAttributeBool(getElement(header, PAGE), MORE_PAGES);
}

QDomElement XMLPacket::append(XMLMessage& message)
{
    return appendCopy(message);
}

QDomElement XMLPacket::append(XMLImage& image)
{
    return appendCopy(image);
}

QDomElement XMLPacket::append(XMLAction& action)
{
    return appendCopy(action);
}

QDomElement XMLPacket::append(XMLUI& ui)
{
    return appendCopy(ui);
}

QDomElement XMLPacket::append(XMLPacketable& packetable)
{
    return appendCopy(packetable);
}

void XMLPacket::appendV(XMLMessage& message)
{
    appendOwn(message);
}

void XMLPacket::appendV(XMLImage& image)
{
    appendOwn(image);
}

void XMLPacket::appendV(XMLAction& action)
{
    appendOwn(action);
}

void XMLPacket::appendV(XMLUI& ui)
{
    appendOwn(ui);
}

void XMLPacket::appendV(XMLPacketable& packetable)
{
    appendOwn(packetable);
}

QDomElement XMLPacket::append(KXPacketable& packet, bool current)
{
    // The temporary's element lives on in the body: DOM nodes are shared.
    XMLPacketable packetable;
    packetable.setData(packet);
    if (current)
        packetable.setCurrent(true);
    appendOwn(packetable);
    return packetable.getNodeConst();
}

void XMLPacket::appendV(KXPacketable& packet, bool current)
{
    append(packet, current);
}

bool XMLPacket::hasNodesOfType(XMLObject::XMLOBJECT_TYPE t) const
{
    return XMLObject::hasNodesOfType(body, t);
}

int XMLPacket::getNodesOfType(XMLObject::XMLOBJECT_TYPE t, std::list<QDomNode>& out) const
{
    return XMLObject::getNodesOfType(body, t, out);
}

bool XMLPacket::isEmpty() const
{
    return !body.hasChildNodes();
}

void XMLPacket::print() const
{
    std::fputs(packetText().toUtf8().constData(), stdout);
}

QString XMLPacket::packetText() const
{
    return XMLObject::toString(packetDocument);
}

XMLPacket& XMLPacket::operator=(const XMLPacket& other)
{
    copyFrom(other);
    return *this;
}

bool XMLPacket::operator==(const XMLPacket& other) const
{
    // The same answer as comparing the two texts, without writing them whole.
    return XMLWriter::sameText(packetDocument, other.packetDocument);
}

bool XMLPacket::operator!=(const XMLPacket& other) const
{
    return !(*this == other);
}

void XMLPacket::init(const XMLPacket* other)
{
    if (other)
        copyFrom(*other);
    else
        buildEmpty();
}

QDomElement XMLPacket::appendCopy(const XMLObject& object)
{
    // A deep copy made by the packet's own document, so it shares nothing with the object.
    return body.appendChild(packetDocument.importNode(object.getNodeConst(), true)).toElement();
}

void XMLPacket::appendOwn(const XMLObject& object)
{
    body.appendChild(object.getNodeConst());
}

void XMLPacket::buildEmpty()
{
    packetDocument = createDocument(KX_NAMESPACE, rootNodeName());
    root = packetDocument.documentElement();
    header = createElement(root, HEADER);
    source = createElement(header, SOURCE);
    destination = createElement(header, DESTINATION);
    body = createElement(root, BODY);
}

void XMLPacket::copyFrom(const XMLPacket& other)
{
    packetDocument = other.packetDocument.cloneNode(true).toDocument();
    root = packetDocument.documentElement();
    header = root.namedItem(HEADER).toElement();
    source = header.namedItem(SOURCE).toElement();
    destination = header.namedItem(DESTINATION).toElement();
    body = root.namedItem(BODY).toElement();
}
