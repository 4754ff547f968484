// Builds a small packet through the installed headers and checks what it holds.
#include <kxxml/kxxml.h>
#include <kxxml/messaging/xmlpacket.h>

#include <cstdio>

int main()
{
    XMLPacket packet;
    packet.setSourceAgentID(3);
    packet.setDestinationAgentID(7);
    XMLMessage message(QStringLiteral("hello"));
    packet.append(message);
    const bool ok = packet.getSourceAgentID() == 3 && packet.getDestinationAgentID() == 7
            && packet.hasNodesOfType(XMLObject::XMLOBJECT_MESSAGE);
    std::puts(ok ? "consumer ok" : "consumer FAILED");
    return ok ? 0 : 1;
}
