#pragma once

// Internal to XMLPacketable: not installed.

#include <kxxml/packetable/hostlib.h>

class XMLPacketable;

/// Places the XML of referred archive packets inside the data elements that refer to them,
/// and the packets those refer to inside their copies in turn, without recursion.
///
/// The walk makes its host calls in the order of the recursive description: a packet's
/// references are looked up one after the other, each inlined (to its full depth) before the
/// next is looked up, and every matching element gets a packetable built afresh from the
/// archive for it alone.
///
/// A packet is never inlined inside itself: when a reference leads to a packet that is
/// already being inlined further up the same path (a cyclic archive, which the host does not
/// expect), that one reference is left as it stands and inlining goes on with the others.
class ArchiveInliner
{
public:
    /// Colour profiles are loaded from @p server, which must outlive the inliner.
    explicit ArchiveInliner(KXCommServer& server);

    /// Fills @p packetable from @p node's packet (appending, as XMLPacketable::setData does),
    /// then inlines the packets its cached packet refers to, found in @p node's archive.
    /// @p node must hold a packet.
    void fillFrom(XMLPacketable& packetable, const ArchiveNode& node) const;

    /// Appends a copy of @p node's packet, with its own references inlined, to every data
    /// element of @p packetable's item that refers to it. Nothing while @p packetable has no
    /// cached packet, or when @p node holds no packet.
    void insertInto(XMLPacketable& packetable, const ArchiveNode& node) const;

private:
    struct Frame;

    void fill(XMLPacketable& packetable, const ArchiveNode& node) const;
    void run(Frame start) const;

    KXCommServer& m_server;
};
