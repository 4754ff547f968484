#pragma once

#include <kxhost/kxhost_export.h>
#include <kxhost/kxtypes.h>

class KXPacketable;

/// Creates packets by data type.
class KXHOST_EXPORT PacketableUtil
{
public:
    /// A new, empty packet of the class for @p type, owned by the caller: KXPacketable for
    /// 5, 6 and 31, KXDBENTRY_CC for 8, KXJOB_CC for 21, ICCPROFILEDATA_CC for 48, BOOK_CC for
    /// 86. Null for 15, 85 and every other value.
    static KXPacketable* getPacketable(PACKETDATATYPES type);
};
