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

// A packet of class @p type read from @p text; null when there is no such class or the text
// is refused.
inline std::unique_ptr<KXPacketable> packetOf(unsigned int type, const QByteArray& text)
{
    std::unique_ptr<KXPacketable> packet = packetOf(type);
    return packet && parse(*packet, text) ? std::move(packet) : nullptr;
}

// Text forms that hold every tag of the job's and of the letter's table.
inline constexpr char everyJobTag[] =
    "SI 15\n01 Front\n02 Morning Post\n03 7\n04 -3\n05 A 1\n06 3 0 128 255\n07 2 0 65535\n08 1 4294967295\n"
    "09 2 0 18446744073709551615\n0A 2 first proof\rsecond\n0B 3 00FF10\n0C DEADBEEF\n0D 1\n0E -5\n0F 1700000000\n"
    "10 -2147483648\n11 4294967295\n12 Coated\n13 anything\nSL 1\nSI 5\n01 News\n02 1\n03 8\n04 1 note\nTI 0\nTL 0\n"
    "SL 0\nTL 0\nTI 0\n";
inline constexpr char everyLetterTag[] =
    "SI 1F\n10 Dear sir\n11 A0 2\n12 3 1 2 3\n13 2 first line\rsecond\n14 2 CAFE\n15 18446744073709551615\n"
    "16 100% %1 done\n17 3 -1 0 2147483647\n18 -9223372036854775808\n19 2 -9223372036854775808 9223372036854775807\n"
    "1A extension\n1B Coated\n1C -9223372036854775808\n1D 1 18446744073709551615\n"
    "SL 1\nSI 5\n01 A\nTI 0\nTL 0\nSL 2\nSI 5\nTI 0\nSI 5\n01 B\nTI 0\nTL 0\nTI 0\n";

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

// A connection on a dataset the test wrote itself: a refusal is a fault in the test.
inline std::unique_ptr<KXCommServer> openOwnJson(const QByteArray& json)
{
    std::string error;
    std::unique_ptr<KXCommServer> server = openJson(json, &error);
    if (!server)
        qFatal("dataset refused: %s", error.c_str());
    return server;
}

// The first archive node under @p archive named @p name.
inline ArchiveNode* nodeNamed(const ArchiveNode& archive, const char* name)
{
    QByteArray text(name);
    const KXDB_REFERENCE reference{nullptr, KXKEY_CC::getNullKey(), text.data()};
    return archive.findNode(&reference);
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
