#pragma once

// The one header through which kxxml sees the host libraries: their packets, keys,
// conversion tables, records and server connection. A deployment against the host's own
// libraries points the include below at them, and binds the adapter at the end of this file
// to the host's own members; nothing else in kxxml includes host headers or names a host
// class that is not listed here.
//
// What a host must provide, and all that kxxml uses of it:
//
// Values and records
//   KXKEY_ELEMENT            two unsigned 32-bit words `key` then `hkey`, passed by value
//   PACKETDATATYPES          the packet data types (an unsigned enumeration); KXQUEUE,
//                            SORTTYPE, SORTORDER with the values 3, 4 and 0
//   CONVERTSTRUCTELEMENTINFO conversion-table rows: type code (first field), data tag
//                            (second), width in bytes (fifth); a row of type code 0 ends a table
//   KXLPCOMMANDS, BM_MESSAGE_ID  a query's command record and message id (locals of the caller)
//   KXDBENTRY                database entry: `next`, `key`
//   KXJOB                    job: `next`, `name`, `publicationName` (null for none),
//                            `publicationNumber`
//   KXBOOK                   book: `next`, `name`
//   KXDB_REFERENCE           one reference a packet holds: `next`, `key`, `name`
//
// Packets
//   KXPacketable             polymorphic, virtual destructor; public members `datatype`,
//                            `key` and `name` (UTF-8, may be null), read and (key) written
//                            directly; toPacket(unsigned&) const, a malloc'ed UTF-8 text form
//                            or null; fromPacket(char*, unsigned, bool, bool); setName(const
//                            char*); setData(unsigned char*) adopting a record;
//                            operator=(const KXPacketable&); getReferences() const, the chain
//                            of references of the packet's item, freed with KXFreeReferences
//   KXJOB_CC, BOOK_CC        the packet classes of jobs and books (default-constructible);
//                            KXJOB_CC::pageNumber(const KXJOB*), KXJOB_CC::trimLists(KXJOB*)
//   ICCPROFILEDATA_CC        the colour-profile packet class (data type 48):
//                            load(std::string& host, unsigned short port)
//   PacketableUtil::getPacketable(PACKETDATATYPES)  a new packet of a data type, or null
//   KXKEY_CC::getNullKey(), KXKEY_CC::isValid(const KXKEY_ELEMENT&)
//   ArchiveNode              getPacket() const; findNode(KXDB_REFERENCE const*) const
//   the record attached to a packet of data type 8: see attachedRecordName() below
//
// Plain functions
//   KXGetSystemStorageClassConv(unsigned), KX_free(void*), KXFreeReferences(KXDB_REFERENCE*),
//   and for each of the three record kinds AddListList(head&, list),
//   RemoveItemFromList(head&, item), KXPacketFreeItem(item, type), KXPacketFreeList(head&, type)
//
// Server connection (KXCommServer)
//   getDBList(KXLPCOMMANDS&, BM_MESSAGE_ID&, PACKETDATATYPES), iserror(KXLPCOMMANDS&),
//   getidfromkxkey(const KXKEY_ELEMENT&), getJobqueue(KXLPCOMMANDS&, BM_MESSAGE_ID&, KXQUEUE,
//   SORTTYPE, SORTORDER, int), getBooks(KXLPCOMMANDS&, BM_MESSAGE_ID&, SORTTYPE, SORTORDER,
//   const KXKEY_ELEMENT&), getConnectedHostname(), getConnectedPortnum()
#include <kxhost/kxhost.h>

namespace kxxmlhost {

/// The name (UTF-8, may be null) of the record attached to @p packet, a packet of data type 8
/// (a database entry); null when it has no record. kxxml asks only for packets of data type
/// 8. Against the stand-in, that packet class is KXDBENTRY_CC and the record its getEntry(); a
/// real host binds this to its own data-type-8 packet's attached-record member.
inline const char* attachedRecordName(const KXPacketable& packet)
{
    const auto* entry = dynamic_cast<const KXDBENTRY_CC*>(&packet);
    const KXDBENTRY* record = entry ? entry->getEntry() : nullptr;
    return record ? record->name : nullptr;
}

} // namespace kxxmlhost
