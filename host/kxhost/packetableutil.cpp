#include <kxhost/packetableutil.h>

#include "journalscope_p.h"

#include <kxhost/book_cc.h>
#include <kxhost/iccprofiledata_cc.h>
#include <kxhost/kxdbentry_cc.h>
#include <kxhost/kxjob_cc.h>
#include <kxhost/kxpacketable.h>

KXPacketable* PacketableUtil::getPacketable(PACKETDATATYPES type)
{
    const kxhost::JournalScope journal(nullptr, "getPacketable", [&] { return kxhost::journalArguments(static_cast<unsigned int>(type)); });
    switch (type) {
    case PDT_SECTION:
    case PDT_OPAQUE:
    case PDT_LETTER:
        return new KXPacketable(type);
    case PDT_DBENTRY:
        return new KXDBENTRY_CC;
    case PDT_JOB:
        return new KXJOB_CC;
    case PDT_ICCPROFILE:
        return new ICCPROFILEDATA_CC;
    case PDT_BOOK:
        return new BOOK_CC;
    default:
        return nullptr;
    }
}
