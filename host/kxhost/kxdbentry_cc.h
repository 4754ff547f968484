#pragma once

#include <kxhost/kxpacketable.h>

/// The packet class of database entries (data type 8). Its attached record is a KXDBENTRY.
class KXHOST_EXPORT KXDBENTRY_CC : public KXPacketable
{
public:
    /// An empty database-entry packet (data type 8) without a record.
    KXDBENTRY_CC();
    /// A copy, including a deep copy of the attached record.
    KXDBENTRY_CC(const KXDBENTRY_CC& other);
    /// Frees the attached record.
    ~KXDBENTRY_CC() override;
    /// Copies everything, as KXPacketable::operator= does.
    KXDBENTRY_CC& operator=(const KXDBENTRY_CC& other);

    /// Adopts a KXDBENTRY (its `next` is ignored, not followed): frees the record held so far,
    /// takes over the key and builds the elements (name, kind, id) from the record.
    void setData(unsigned char* data) override;

    /// The attached record, owned by the packet; null when none. After fromPacket it is a new
    /// record built from the elements (named after element 1). Its key is the packet's `key`
    /// as it stands, also when that was written after the record was made.
    const KXDBENTRY* getEntry() const;

protected:
    void copyFrom(const KXPacketable& other) override;
    void packetParsed() override;

private:
    KXDBENTRY* m_entry;
};
