#include "xmlbusproxyagent_p.h"

#include "xmlbusexporter_p.h"

XMLBusProxyAgent::XMLBusProxyAgent(int type, XMLBusExporterPrivate* exporter, const QString& peer)
    : XMLAgent(type)
    , m_exporter(exporter)
    , m_peer(peer)
{
}

XMLBusProxyAgent::~XMLBusProxyAgent() = default;

void XMLBusProxyAgent::receive(XMLPacket* packet)
{
    m_exporter->forward(m_peer, packet);
}
