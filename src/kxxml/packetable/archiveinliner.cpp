#include "archiveinliner_p.h"

#include "xmlpacketable.h"

#include <QDomDocument>
#include <QList>

#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace {

using ReferenceChain = std::unique_ptr<KXDB_REFERENCE, void (*)(KXDB_REFERENCE*)>;

// The references of @p packetable's cached packet as it stands: a packetable without one
// refers to nothing (it is not rebuilt for the purpose).
ReferenceChain referencesOf(const KXPacketable* cached)
{
    return ReferenceChain(cached ? cached->getReferences() : nullptr, &KXFreeReferences);
}

// The data elements of @p root's packet item that refer to @p packet: by key when its key is
// valid, else by name.
QList<QDomElement> referringElements(const XMLPacketable& packetable, const QDomElement& root,
                                     const KXPacketable& packet)
{
    QList<QDomElement> found;
    const KXKEY_ELEMENT key = packet.key;
    const QString name = packet.name ? QString::fromUtf8(packet.name) : QString();
    const bool byKey = KXKEY_CC::isValid(key);
    if ((key.key == 0 || key.hkey == 0) && name.isEmpty())
        return found;

    const PACKETDATATYPES dataType = packetable.getType();
    for (QDomElement item = root.firstChildElement(XMLPacketable::ITEM); !item.isNull();
         item = item.nextSiblingElement(XMLPacketable::ITEM)) {
        if (XMLPacketable::getType(item) != dataType)
            continue;
        for (QDomElement e = item.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
            const bool matches = byKey
                    ? e.hasAttribute(XMLPacketable::HKEY) && e.hasAttribute(XMLPacketable::KEY)
                              && XMLObject::getAttributeUInt(e, XMLPacketable::HKEY, 16) == key.hkey
                              && XMLObject::getAttributeUInt(e, XMLPacketable::KEY, 16) == key.key
                    : XMLObject::getAttribute(e, XMLPacketable::VALUE) == name;
            if (matches)
                found.append(e);
        }
    }
    return found;
}

} // namespace

// One packetable whose references are being inlined: where the recursive description would
// have a call of its own.
struct ArchiveInliner::Frame
{
    const XMLPacketable* packetable;        // whose cached packet lists the references
    std::unique_ptr<XMLPacketable> owned;   // the temporary; null for the starting packetable
    QDomElement root;                       // where its references go: the starting root, or
                                            // the temporary's copy in the starting document
    QDomElement attachTo;                   // the element the copy joins when it is complete
    const ArchiveNode* node = nullptr;      // filled from (null when unknown); references are
                                            // looked up from here
    ReferenceChain chain{nullptr, &KXFreeReferences};
    const KXDB_REFERENCE* nextReference = nullptr;
    const ArchiveNode* referred = nullptr;  // the node being inlined now
    QList<QDomElement> matches;             // its referring elements, in document order
    qsizetype nextMatch = 0;
};

ArchiveInliner::ArchiveInliner(KXCommServer& server)
    : m_server(server)
{
}

void ArchiveInliner::fillFrom(XMLPacketable& packetable, const ArchiveNode& node) const
{
    fill(packetable, node);
    Frame start;
    start.packetable = &packetable;
    start.root = packetable.getNodeConst();
    start.node = &node;
    start.chain = referencesOf(packetable.m_packet.get());
    start.nextReference = start.chain.get();
    run(std::move(start));
}

void ArchiveInliner::insertInto(XMLPacketable& packetable, const ArchiveNode& node) const
{
    if (!packetable.m_packet || !node.getPacket())
        return;
    Frame start;
    start.packetable = &packetable;
    start.root = packetable.getNodeConst();
    start.referred = &node;
    start.matches = referringElements(packetable, start.root, *node.getPacket());
    run(std::move(start));
}

void ArchiveInliner::fill(XMLPacketable& packetable, const ArchiveNode& node) const
{
    KXPacketable* packet = node.getPacket();
    if (packet->datatype == PDT_ICCPROFILE) {
        if (auto* profile = dynamic_cast<ICCPROFILEDATA_CC*>(packet)) {
            std::string host = m_server.getConnectedHostname();
            profile->load(host, m_server.getConnectedPortnum());
        }
    }
    packetable.setData(*packet);
}

void ArchiveInliner::run(Frame start) const
{
    // A copy is attached to its referring element only when it is complete: Qt's appendChild
    // walks up from the parent, so attaching to a detached, shallow parent keeps every append
    // cheap however deep the finished tree becomes.
    QDomDocument document = start.root.ownerDocument();
    std::vector<Frame> frames;
    std::unordered_map<const ArchiveNode*, int> onPath;
    if (start.node)
        ++onPath[start.node];
    frames.push_back(std::move(start));

    while (!frames.empty()) {
        Frame& top = frames.back();
        if (top.nextMatch < top.matches.size()) {
            // A packetable of its own for each referring element, with its references inlined.
            Frame copy;
            copy.attachTo = top.matches.at(top.nextMatch++);
            copy.node = top.referred;
            copy.owned = std::make_unique<XMLPacketable>();
            fill(*copy.owned, *copy.node);
            copy.packetable = copy.owned.get();
            copy.root = document.importNode(copy.owned->getNodeConst(), true).toElement();
            copy.chain = referencesOf(copy.owned->m_packet.get());
            copy.nextReference = copy.chain.get();
            ++onPath[copy.node];
            frames.push_back(std::move(copy)); // `top` is stale from here on
            continue;
        }
        if (top.nextReference) {
            const KXDB_REFERENCE* reference = top.nextReference;
            top.nextReference = reference->next;
            const ArchiveNode* found = top.node->findNode(reference);
            top.matches.clear();
            top.nextMatch = 0;
            if (!found || !found->getPacket() || onPath.count(found) != 0)
                continue; // unresolved, nothing to inline, or it would be inlined inside itself
            top.referred = found;
            top.matches = referringElements(*top.packetable, top.root, *found->getPacket());
            continue;
        }
        top.chain.reset();
        if (!top.attachTo.isNull())
            top.attachTo.appendChild(top.root);
        if (top.node && --onPath[top.node] == 0)
            onPath.erase(top.node);
        frames.pop_back(); // the temporary goes with its frame
    }
}
