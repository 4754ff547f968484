#pragma once

#include <kxhost/kxhost_export.h>
#include <kxhost/kxrecords.h>

#include <cstddef>
#include <memory>
#include <vector>

class KXPacketable;

/// A node of the archive tree: it holds one packet (the root of a tree may hold none) and
/// any number of child nodes, which it owns.
class KXHOST_EXPORT ArchiveNode
{
public:
    /// A node holding @p packet, which it takes over (null for a root that holds none).
    explicit ArchiveNode(KXPacketable* packet = nullptr);
    /// Deletes the packet and all child nodes.
    ~ArchiveNode();
    ArchiveNode(const ArchiveNode&) = delete;
    ArchiveNode& operator=(const ArchiveNode&) = delete;

    /// Appends @p child, which the node takes over; returns it. A child that already has a
    /// parent, a null child or this node itself is refused (null).
    ArchiveNode* appendChild(ArchiveNode* child);

    /// The node's packet, owned by the node; null for a root that holds none.
    KXPacketable* getPacket() const;
    /// The parent node; null for the root.
    ArchiveNode* getParent() const;
    /// The root of the tree this node belongs to.
    ArchiveNode* getRoot() const;
    /// The number of child nodes.
    std::size_t getChildCount() const;
    /// Child @p index, owned by this node; null when out of range.
    ArchiveNode* getChild(std::size_t index) const;

    /// The node a reference designates: searches the whole tree this node belongs to, depth
    /// first from the root, for the first node whose packet has the reference's key (when the
    /// key is valid) or else its name (the packet's name, or a database entry's record name).
    /// Null for a null reference, a reference without a valid key or a non-empty name, or when
    /// no node matches. Owned by the tree.
    ArchiveNode* findNode(KXDB_REFERENCE const* reference) const;

private:
    std::unique_ptr<KXPacketable> m_packet;
    std::vector<ArchiveNode*> m_children;
    ArchiveNode* m_parent = nullptr;
};
