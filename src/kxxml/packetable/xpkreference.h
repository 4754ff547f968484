#pragma once

#include <kxxml/packetable/hostlib.h>
#include <kxxml/packetable/xmlpacketable.h>

#include <QString>

/// One packet that another packet refers to, handed out as a packetable of its own
/// (XMLPacketable::getXPKReferences), with the key or the name it was referred to by.
///
/// A reference by key carries the key and a null name; a reference by name carries the name
/// and the host's null key. The reference owns its packetable.
class KXXML_EXPORT XPKReference
{
public:
    /// A reference by @p key to @p packetable, which the reference takes over (may be null).
    XPKReference(XMLPacketable* packetable, KXKEY_ELEMENT key);
    /// A reference by @p name to @p packetable, which the reference takes over (may be null).
    XPKReference(XMLPacketable* packetable, const QString& name);
    /// Deletes the packetable.
    ~XPKReference();

    XPKReference(const XPKReference&) = delete;
    XPKReference& operator=(const XPKReference&) = delete;

    KXKEY_ELEMENT key;         ///< the referred packet's key; null key when by name
    QString name;              ///< the referred packet's name; null when by key
    XMLPacketable* packetable; ///< the referred packet as XML, owned here (deleted with the reference)
};
