#pragma once

#include <kxhost/kxpacketable.h>

/// The packet class of books (data type 86). Its attached record is a KXBOOK.
class KXHOST_EXPORT BOOK_CC : public KXPacketable
{
public:
    /// An empty book packet (data type 86) without a record.
    BOOK_CC();
    /// A copy, including a deep copy of the attached record.
    BOOK_CC(const BOOK_CC& other);
    /// Frees the attached record.
    ~BOOK_CC() override;
    /// Copies everything, as KXPacketable::operator= does.
    BOOK_CC& operator=(const BOOK_CC& other);

    /// Adopts a KXBOOK (its `next` is ignored): frees the record held so far and builds the
    /// elements (name, page numbers, database key, profile name) from it. The key is left as it is.
    void setData(unsigned char* data) override;

    /// The attached record, owned by the packet; null when none (also after fromPacket).
    const KXBOOK* getBook() const;

protected:
    void copyFrom(const KXPacketable& other) override;
    void packetParsed() override;

private:
    KXBOOK* m_book;
};
