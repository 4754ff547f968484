#pragma once

#include <kxxml/messaging/xmlagent.h>

#include <QString>

class XMLBusExporterPrivate;

/// The agent that stands for another process in the router: it has the type the process
/// registered with, and hands what it receives to the exporter, which sends it on. Owned by
/// the exporter.
class XMLBusProxyAgent : public XMLAgent
{
public:
    /// The proxy, of agent type @p type, of the process with the unique bus name @p peer.
    XMLBusProxyAgent(int type, XMLBusExporterPrivate* exporter, const QString& peer);
    ~XMLBusProxyAgent() override;

    /// Passes @p packet on to the process, through the exporter.
    void receive(XMLPacket* packet) override;

private:
    XMLBusExporterPrivate* m_exporter;
    QString m_peer;
};
