#include <kxhost/book_cc.h>

#include "journalscope_p.h"

#include "kxitem_p.h"
#include "kxrecords_p.h"

BOOK_CC::BOOK_CC()
    : KXPacketable(PDT_BOOK)
    , m_book(nullptr)
{
}

BOOK_CC::BOOK_CC(const BOOK_CC& other)
    : KXPacketable(other)
    , m_book(kxhost::copyBook(other.m_book))
{
}

BOOK_CC::~BOOK_CC()
{
    kxhost::freeBook(m_book);
}

BOOK_CC& BOOK_CC::operator=(const BOOK_CC& other)
{
    KXPacketable::operator=(other);
    return *this;
}

void BOOK_CC::setData(unsigned char* data)
{
    auto* book = reinterpret_cast<KXBOOK*>(data);
    const kxhost::JournalScope journal(this, "setData", [&] { return kxhost::journalArguments(static_cast<const KXBOOK*>(book)); });
    if (book != m_book) {
        kxhost::freeBook(m_book);
        m_book = book;
    }
    if (m_book)
        kxhost::itemFromBook(*m_book, item());
    else
        item().clear(PDT_BOOK);
}

const KXBOOK* BOOK_CC::getBook() const
{
    return m_book;
}

void BOOK_CC::copyFrom(const KXPacketable& other)
{
    KXPacketable::copyFrom(other);
    const auto* bookPacket = dynamic_cast<const BOOK_CC*>(&other);
    KXBOOK* copy = bookPacket ? kxhost::copyBook(bookPacket->m_book) : nullptr;
    kxhost::freeBook(m_book);
    m_book = copy;
}

void BOOK_CC::packetParsed()
{
    kxhost::freeBook(m_book);
    m_book = nullptr;
}
