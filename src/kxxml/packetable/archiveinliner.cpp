#include "archiveinliner_p.h"

#include "xmlpacketable.h"

#include <QList>

#include <memory>
#include <string>
#include <unordered_map>

namespace {

// The data elements of @p root's packet item that refer to @p packet: by key when its key is
// valid, else by name; none for an invalid key without a name.
QList<QDomElement> referringElements(const QDomElement& root, const KXPacketable& packet)
{
    QList<QDomElement> found;
    const KXKEY_ELEMENT key = packet.key;
    const bool byKey = KXKEY_CC::isValid(key);
    const QString name = packet.name ? QString::fromUtf8(packet.name) : QString();
    if (!byKey && name.isEmpty())
        return found;

    const PACKETDATATYPES dataType = XMLPacketable::getType(root);
    for (QDomElement item = root.firstChildElement(XMLPacketable::ITEM); !item.isNull();
         item = item.nextSiblingElement(XMLPacketable::ITEM)) {
        if (XMLPacketable::getType(item) != dataType)
            continue;
        for (QDomElement e = item.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
            const bool matches = byKey
                    ? e.hasAttribute(XMLPacketable::KEY) && e.hasAttribute(XMLPacketable::HKEY)
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

ArchiveInliner::ArchiveInliner(KXCommServer& server)
    : m_server(server)
{
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

std::vector<const ArchiveNode*> ArchiveInliner::referredNodes(const XMLPacketable& packetable,
                                                              const ArchiveNode& node)
{
    std::vector<const ArchiveNode*> nodes;
    const KXPacketable* cached = packetable.getDataConst();
    if (!cached)
        return nodes;
    const std::unique_ptr<KXDB_REFERENCE, void (*)(KXDB_REFERENCE*)> chain(cached->getReferences(),
                                                                            &KXFreeReferences);
    for (const KXDB_REFERENCE* reference = chain.get(); reference; reference = reference->next) {
        if (const ArchiveNode* found = node.findNode(reference))
            nodes.push_back(found);
    }
    return nodes;
}

void ArchiveInliner::inlineInto(const QDomElement& root, const ArchiveNode* source,
                                std::vector<const ArchiveNode*> referred) const
{
    // One frame per packetable copy still to be filled with its references. The frames below
    // the top are its ancestors on the path, or copies of the same packet beside it.
    //
    // A copy is attached to its referring element only when it is complete: Qt's appendChild
    // walks up from the parent, so attaching to a detached, shallow parent keeps every append
    // cheap however deep the finished tree becomes.
    struct Frame
    {
        QDomElement root;
        QDomElement attachTo; // null for the starting root, which stays where it is
        const ArchiveNode* source;
        std::vector<const ArchiveNode*> referred;
        std::size_t next;
    };
    QDomDocument document = root.ownerDocument();
    std::vector<Frame> frames;
    std::unordered_map<const ArchiveNode*, int> onPath;
    frames.push_back({root, QDomElement(), source, std::move(referred), 0});
    if (source)
        ++onPath[source];

    while (!frames.empty()) {
        Frame& top = frames.back();
        if (top.next == top.referred.size()) {
            if (top.source && --onPath[top.source] == 0)
                onPath.erase(top.source);
            if (!top.attachTo.isNull())
                top.attachTo.appendChild(top.root);
            frames.pop_back();
            continue;
        }
        const ArchiveNode* node = top.referred[top.next++];
        if (!node->getPacket() || onPath.count(node) != 0)
            continue; // nothing to inline, or it would be inlined inside itself
        const QList<QDomElement> elements = referringElements(top.root, *node->getPacket());
        if (elements.isEmpty())
            continue;

        XMLPacketable copy;
        fill(copy, *node);
        const std::vector<const ArchiveNode*> nested = referredNodes(copy, *node);
        // Pushed last to first, so that the copies are filled in document order.
        for (auto e = elements.crbegin(); e != elements.crend(); ++e) {
            QDomElement element = *e;
            const QDomElement inlined = document.importNode(copy.getNodeConst(), true).toElement();
            if (nested.empty()) {
                element.appendChild(inlined);
                continue;
            }
            frames.push_back({inlined, element, node, nested, 0}); // `top` is stale from here on
            ++onPath[node];
        }
    }
}
