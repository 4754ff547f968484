// Small helpers shared by the host stand-in's tests (tst_kxhost_*).

#pragma once

#include <kxhost/kxhost.h>

#include <QByteArray>
#include <QByteArrayList>
#include <QString>
#include <QStringList>

#include <memory>
#include <string>

namespace hosttest {

// The packet class PacketableUtil gives for @p type; null when there is none.
inline std::unique_ptr<KXPacketable> packetOf(unsigned int type)
{
    return std::unique_ptr<KXPacketable>(PacketableUtil::getPacketable(static_cast<PACKETDATATYPES>(type)));
}

// The packet's text form; null when toPacket gives none.
inline QByteArray textOf(const KXPacketable& packet)
{
    unsigned int length = 0;
    char* text = packet.toPacket(length);
    const QByteArray result = text ? QByteArray(text, static_cast<int>(length)) : QByteArray();
    KX_free(text);
    return result;
}

// Strict fromPacket on a writable copy of @p text.
inline bool parse(KXPacketable& packet, QByteArray text)
{
    return packet.fromPacket(text.data(), static_cast<unsigned int>(text.size()), false, true);
}

// The names of a record list, in list order, separated by commas.
template<typename T>
QByteArray names(const T* head)
{
    QByteArrayList result;
    for (; head; head = head->next)
        result << QByteArray(head->name);
    return result.join(',');
}

// A connection on the dataset @p json (source name "test.json"); null and @p error set when refused.
inline std::unique_ptr<KXCommServer> openJson(const QByteArray& json, std::string* error = nullptr)
{
    return KXCommServer::openData(json.toStdString(), "test.json", error);
}

// The calls @p f makes into the host, in order, as CallJournal::Entry::text() gives them;
// only those of the operations in @p only, or all when it is empty.
template <typename F>
QStringList hostCalls(F f, const QStringList& only = {})
{
    kxhost::CallJournal::start();
    f();
    kxhost::CallJournal::stop();
    QStringList calls;
    for (const kxhost::CallJournal::Entry& entry : kxhost::CallJournal::entries()) {
        if (only.isEmpty() || only.contains(QString::fromStdString(entry.operation)))
            calls << QString::fromStdString(entry.text());
    }
    return calls;
}

} // namespace hosttest
