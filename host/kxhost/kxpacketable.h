#pragma once

#include <kxhost/kxhost_export.h>
#include <kxhost/kxrecords.h>
#include <kxhost/kxtypes.h>

#include <memory>
#include <string>

namespace kxhost {
struct Item;
}

/// A host packet: one item of typed data elements of its data type's storage class, plus
/// the packet's data type, key and name. Packets of data types 5, 6 and 31 are of this class
/// itself; data types 8, 21, 48 and 86 have their own subclasses (PacketableUtil).
///
/// The text form (toPacket/fromPacket) frames the item between `SI <class>` and `TI 0`; data
/// lines come in table order, then the item's lists (`SL <count>` ... `TL 0`) of nested items.
class KXHOST_EXPORT KXPacketable
{
public:
    /// Deepest nesting of items and lists that the text form may have; the data model stays
    /// well within it (a packet's item, its lists, the sections in them).
    static constexpr int MaxNesting = 256;

    /// An empty packet of data type @p type (no name, null key, an empty item).
    explicit KXPacketable(PACKETDATATYPES type = PDT_OPAQUE);
    /// A copy of everything @p other holds.
    KXPacketable(const KXPacketable& other);
    /// Frees the name and the elements.
    virtual ~KXPacketable();

    /// Copies everything from @p other: data type, key, name, elements and, when both are of
    /// the same packet class, the attached record (a deep copy). Works through base references.
    KXPacketable& operator=(const KXPacketable& other);

    /// The packet's text form in UTF-8, malloc'ed (free it with KX_free), its byte count in
    /// @p length. Null (length 0) for data type 6, for types without a conversion table and
    /// when a value cannot be written (lastError() then says why).
    virtual char* toPacket(unsigned int& length) const;

    /// Parses @p length bytes of text form into this packet. Strict: on any fault it returns
    /// false, leaves the packet unchanged and records the reason, naming the line, in
    /// lastError(). Missing elements are fine. The two flags are accepted for compatibility
    /// and have no effect.
    virtual bool fromPacket(char* text, unsigned int length, bool, bool);

    /// Why the last fromPacket or toPacket failed; empty after a success. Owned by the packet.
    const char* lastError() const;

    /// Sets the packet's name (copied); null clears it.
    void setName(const char* name);

    /// Adopts a record as the packet's data. Generic packets (data types 5, 6, 31) hold no
    /// record: this does nothing and the caller keeps @p data. Subclasses take it over.
    virtual void setData(unsigned char* data);

    /// The references the packet's item holds: one per element of type 14 (by key) and 9
    /// (by name), in table order; nested lists are not looked at. Null when there are none.
    /// The caller frees the chain with KXFreeReferences.
    virtual KXDB_REFERENCE* getReferences() const;

    /// True when the packet's item holds an element with data tag @p tag.
    bool hasElement(unsigned int tag) const;
    /// The text of element @p tag when it holds text (types 1, 9, 11, 25, 40, 48); null
    /// otherwise. Owned by the packet, valid until it changes.
    const char* getText(unsigned int tag) const;
    /// The value of integer element @p tag (types 2, 3, 13, 20, 21, 24, 28) in @p value;
    /// false when there is no such element.
    bool getInteger(unsigned int tag, long long& value) const;

    PACKETDATATYPES datatype; ///< the packet's data type
    KXKEY_ELEMENT key;        ///< the packet's own database key
    char* name;               ///< UTF-8, owned by the packet (use setName), may be null

protected:
    /// The copy hook behind operator=: subclasses copy what they add after calling the base.
    virtual void copyFrom(const KXPacketable& other);
    /// Called after a successful fromPacket: subclasses bring their record in line.
    virtual void packetParsed();

    /// The packet's item.
    kxhost::Item& item();
    const kxhost::Item& item() const;

private:
    std::unique_ptr<kxhost::Item> m_item;
    mutable std::string m_lastError;
};
