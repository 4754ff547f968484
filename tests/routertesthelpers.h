// An observer shared by the router's tests: each event as one line of text.

#pragma once

#include <kxxml/messaging/xmlrouterobserver.h>

#include <QString>

namespace TestHelpers {

/// Hands each event on as text: "accepted 1->2", "refused repetition 1->2", "refused
/// unregistered 77->1", "delivered 1->2", "undeliverable 1->2", "registered 3 type 1",
/// "unregistered 3 type 1", "broker 8 -> 3"; with the packet for packet events.
class TextObserver : public XMLRouterObserver
{
public:
    virtual void event(quint64 sequence, const QString& text, const XMLPacket* packet) = 0;

    void packetAccepted(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst) override
    {
        event(n, QStringLiteral("accepted %1->%2").arg(src).arg(dst), &p);
    }
    void packetRefused(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst, Refusal reason) override
    {
        const char* why = reason == Refusal::Repetition ? "repetition" : "unregistered";
        event(n, QStringLiteral("refused %1 %2->%3").arg(QLatin1String(why)).arg(src).arg(dst), &p);
    }
    void packetDelivered(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst) override
    {
        event(n, QStringLiteral("delivered %1->%2").arg(src).arg(dst), &p);
    }
    void packetUndeliverable(const XMLRouter&, quint64 n, const XMLPacket& p, int src, int dst) override
    {
        event(n, QStringLiteral("undeliverable %1->%2").arg(src).arg(dst), &p);
    }
    void agentRegistered(const XMLRouter&, quint64 n, int id, int type) override
    {
        event(n, QStringLiteral("registered %1 type %2").arg(id).arg(type), nullptr);
    }
    void agentUnregistered(const XMLRouter&, quint64 n, int id, int type) override
    {
        event(n, QStringLiteral("unregistered %1 type %2").arg(id).arg(type), nullptr);
    }
    void brokerAsked(const XMLRouter&, quint64 n, int type, int id) override
    {
        event(n, QStringLiteral("broker %1 -> %2").arg(type).arg(id), nullptr);
    }
};

} // namespace TestHelpers
