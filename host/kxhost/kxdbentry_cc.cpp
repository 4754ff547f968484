#include <kxhost/kxdbentry_cc.h>

#include "journalscope_p.h"

#include "kxitem_p.h"
#include "kxrecords_p.h"

#include <cstdlib>

KXDBENTRY_CC::KXDBENTRY_CC()
    : KXPacketable(PDT_DBENTRY)
    , m_entry(nullptr)
{
}

KXDBENTRY_CC::KXDBENTRY_CC(const KXDBENTRY_CC& other)
    : KXPacketable(other)
    , m_entry(kxhost::copyDBEntry(other.m_entry))
{
}

KXDBENTRY_CC::~KXDBENTRY_CC()
{
    kxhost::freeDBEntry(m_entry);
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
    if (entry != m_entry) {
        kxhost::freeDBEntry(m_entry);
        m_entry = entry;
    }
    if (m_entry) {
        key = m_entry->key;
        kxhost::itemFromDBEntry(*m_entry, item());
    } else {
        item().clear(PDT_DBENTRY);
    }
}

const KXDBENTRY* KXDBENTRY_CC::getEntry() const
{
    // The key member is public and written directly (a rebuilt packet gets its key after the
    // parse), so the record takes it up whenever it is looked at.
    if (m_entry)
        m_entry->key = key;
    return m_entry;
}

void KXDBENTRY_CC::copyFrom(const KXPacketable& other)
{
    KXPacketable::copyFrom(other);
    const auto* entryPacket = dynamic_cast<const KXDBENTRY_CC*>(&other);
    KXDBENTRY* copy = entryPacket ? kxhost::copyDBEntry(entryPacket->m_entry) : nullptr;
    kxhost::freeDBEntry(m_entry);
    m_entry = copy;
}

void KXDBENTRY_CC::packetParsed()
{
    kxhost::freeDBEntry(m_entry);
    m_entry = static_cast<KXDBENTRY*>(std::calloc(1, sizeof(KXDBENTRY)));
    m_entry->key = key;
    m_entry->name = kxhost::copyString(getText(0x1));
    long long number = 0;
    if (getInteger(0x2, number))
        m_entry->kind = static_cast<int>(number);
    if (getInteger(0x3, number))
        m_entry->id = static_cast<int>(number);
}
