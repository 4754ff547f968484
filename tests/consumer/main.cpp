// Builds a small packet through the installed headers and checks what it holds; with the D-Bus
// component, makes an exporter too.
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
    bool ok = packet.getSourceAgentID() == 3 && packet.getDestinationAgentID() == 7
            && packet.hasNodesOfType(XMLObject::XMLOBJECT_MESSAGE);
#if KXXML_HAS_DBUS
    // The D-Bus component links as the rest: a router published nowhere.
    XMLRouter router(nullptr, nullptr, "consumer");
    XMLBusExporter exporter(&router);
    ok = ok && !exporter.isPublished() && XMLBusExporter::INTERFACE == QStringLiteral("org.kxxml.Router1");
#endif
    std::puts(ok ? "consumer ok" : "consumer FAILED");
    return ok ? 0 : 1;
}
