#pragma once

// Internal to XMLPacketable: not installed.

#include <kxxml/packetable/hostlib.h>

#include <QDomElement>

#include <vector>

class XMLPacketable;

/// Places the XML of referred archive packets inside the data elements that refer to them,
/// and the packets those refer to inside their copies in turn, without recursion.
///
/// A packet is never inlined inside itself: when a reference leads to a packet that is
/// already being inlined further up the same path (a cyclic archive, which the host does not
/// expect), that one reference is left as it stands and inlining goes on with the others.
class ArchiveInliner
{
public:
    /// Colour profiles are loaded from @p server, which must outlive the inliner.
    explicit ArchiveInliner(KXCommServer& server);

    /// Fills @p packetable from @p node's packet (appending, as XMLPacketable::setData does);
    /// a colour profile's data is loaded from the server first. @p node must hold a packet.
    void fill(XMLPacketable& packetable, const ArchiveNode& node) const;

    /// The nodes of @p node's archive that @p packetable's cached packet refers to, in the
    /// order of its references; references the archive cannot resolve are left out. The
    /// nodes belong to the archive.
    static std::vector<const ArchiveNode*> referredNodes(const XMLPacketable& packetable,
                                                         const ArchiveNode& node);

    /// Inlines each of @p referred into the packetable root @p root, which was filled from
    /// @p source (null when unknown), and the packets those refer to inside the copies, to
    /// any depth. The copies are created in @p root's document.
    void inlineInto(const QDomElement& root, const ArchiveNode* source,
                    std::vector<const ArchiveNode*> referred) const;

private:
    KXCommServer& m_server;
};
