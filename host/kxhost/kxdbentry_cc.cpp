#include <kxhost/kxdbentry_cc.h>

#include "journalscope_p.h"

#include "kxitem_p.h"
#include "kxrecords_p.h"

#include <cstdlib>

KXDBENTRY_CC::KXDBENTRY_CC()
    : KXPacketable(PDT_DBENTRY)
    , dbentry(nullptr)
{
}

KXDBENTRY_CC::KXDBENTRY_CC(const KXDBENTRY_CC& other)
    : KXPacketable(other)
    , dbentry(kxhost::copyDBEntry(other.dbentry))
{
}

KXDBENTRY_CC::~KXDBENTRY_CC()
{
    kxhost::freeDBEntry(dbentry);
}

KXDBENTRY_CC& KXDBENTRY_CC::operator=(const KXDBENTRY_CC& other)
{
    KXPacketable::operator=(other);
    return *this;
}

void KXDBENTRY_CC::setData(unsigned char* data)
{
    auto* entry = reinterpret_cast<KXDBENTRY*>(data);
    const kxhost::JournalScope journal(this, "setData", [&] { return kxhost::journalArguments(static_cast<const KXDBENTRY*>(entry)); });
    if (entry != dbentry) {
        kxhost::freeDBEntry(dbentry);
        dbentry = entry;
    }
    if (dbentry) {
        key = dbentry->key;
        kxhost::itemFromDBEntry(*dbentry, item());
    } else {
        item().clear(PDT_DBENTRY);
    }
}

void KXDBENTRY_CC::copyFrom(const KXPacketable& other)
{
    KXPacketable::copyFrom(other);
    const auto* entryPacket = dynamic_cast<const KXDBENTRY_CC*>(&other);
    KXDBENTRY* copy = entryPacket ? kxhost::copyDBEntry(entryPacket->dbentry) : nullptr;
    kxhost::freeDBEntry(dbentry);
    dbentry = copy;
}

void KXDBENTRY_CC::packetParsed()
{
    kxhost::freeDBEntry(dbentry);
    dbentry = static_cast<KXDBENTRY*>(std::calloc(1, sizeof(KXDBENTRY)));
    dbentry->key = key;
    dbentry->name = kxhost::copyString(getText(0x1));
    long long number = 0;
    if (getInteger(0x2, number))
        dbentry->kind = static_cast<int>(number);
    if (getInteger(0x3, number))
        dbentry->id = static_cast<int>(number);
}
