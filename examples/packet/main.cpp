// Builds a packet from agent 3 to agent 7 carrying a message and an image, and prints it.
#include <kxxml/kxxml.h>

#include <cstdio>

int main()
{
    XMLPacket packet;
    packet.setSourceAgentID(3);
    packet.setDestinationAgentID(7);

    XMLMessage message(QStringLiteral("Proofs for the Morning Post are ready"));
    packet.append(message);

    XMLImage image(QStringLiteral("front page"));
    image.setURL(QStringLiteral("file:///var/spool/proofs/front.png"));
    packet.append(image);

    packet.print();
    return 0;
}
