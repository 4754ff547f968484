#include <kxhost/archivenode.h>

#include "journalscope_p.h"

#include <kxhost/kxdbentry_cc.h>
#include <kxhost/kxkey_cc.h>
#include <kxhost/kxpacketable.h>

#include <cstring>

namespace {

// The name a packet is found by: its own, or for a database entry its record's.
const char* packetName(const KXPacketable& packet)
{
    if (packet.name)
        return packet.name;
    if (const auto* entry = dynamic_cast<const KXDBENTRY_CC*>(&packet)) {
        if (entry->getEntry())
            return entry->getEntry()->name;
    }
    return nullptr;
}

bool matches(const KXPacketable& packet, const KXDB_REFERENCE& reference, bool byKey)
{
    if (byKey)
        return KXKEY_CC::isEqual(packet.key, reference.key);
    const char* name = packetName(packet);
    return name && std::strcmp(name, reference.name) == 0;
}

} // namespace

ArchiveNode::ArchiveNode(KXPacketable* packet)
    : m_packet(packet)
{
}

ArchiveNode::~ArchiveNode()
{
    // Deep trees are taken apart level by level, without recursion.
    std::vector<ArchiveNode*> pending;
    pending.swap(m_children);
    while (!pending.empty()) {
        ArchiveNode* node = pending.back();
        pending.pop_back();
        pending.insert(pending.end(), node->m_children.begin(), node->m_children.end());
        node->m_children.clear();
        delete node;
    }
}

ArchiveNode* ArchiveNode::appendChild(ArchiveNode* child)
{
    // A root with children might be this node's own root; a leaf can only be this node.
    if (!child || child == this || child->m_parent
        || (!child->m_children.empty() && child == getRoot()))
        return nullptr;
    child->m_parent = this;
    m_children.push_back(child);
    return child;
}

KXPacketable* ArchiveNode::getPacket() const
{
    return m_packet.get();
}

ArchiveNode* ArchiveNode::getParent() const
{
    return m_parent;
}

ArchiveNode* ArchiveNode::getRoot() const
{
    const ArchiveNode* node = this;
    while (node->m_parent)
        node = node->m_parent;
    return const_cast<ArchiveNode*>(node);
}

std::size_t ArchiveNode::getChildCount() const
{
    return m_children.size();
}

ArchiveNode* ArchiveNode::getChild(std::size_t index) const
{
    return index < m_children.size() ? m_children[index] : nullptr;
}

ArchiveNode* ArchiveNode::findNode(KXDB_REFERENCE const* reference) const
{
    const kxhost::JournalScope journal(nullptr, "findNode", [&] { return kxhost::journalArguments(reference); });
    if (!reference)
        return nullptr;
    const bool byKey = KXKEY_CC::isValid(reference->key);
    if (!byKey && (!reference->name || !*reference->name))
        return nullptr;
    std::vector<ArchiveNode*> pending{getRoot()};
    while (!pending.empty()) {
        ArchiveNode* node = pending.back();
        pending.pop_back();
        if (node->m_packet && matches(*node->m_packet, *reference, byKey))
            return node;
        pending.insert(pending.end(), node->m_children.rbegin(), node->m_children.rend());
    }
    return nullptr;
}
