#include "xmlui.h"

#include <kxxml/ui/xmlaction.h>

#include <memory>

namespace {

const QString kName = QStringLiteral("name");

// Calls @p write on every direct "action" child of @p ui whose type and originator match.
// Each child is read through one scratch action, but written in @p ui's own tree.
template <typename Write>
void editActions(const QDomElement& ui, int type, int originator, Write write)
{
    const QString actionName = XMLObject::rootNodeName(XMLObject::XMLOBJECT_ACTION);
    XMLAction scratch;
    for (QDomNode child = ui.firstChild(); !child.isNull(); child = child.nextSibling()) {
        if (child.nodeName() != actionName)
            continue;
        QDomElement element = child.toElement();
        scratch.setNode(element);
        if (scratch.getType() == type && scratch.getOriginator() == originator)
            write(element);
    }
}

} // namespace

XMLUI::XMLUI()
    : XMLObject(XMLOBJECT_UI)
{
}

XMLUI::XMLUI(const QString& name)
    : XMLUI()
{
    setName(name);
}

void XMLUI::setName(const QString& name)
{
    setAttribute(node, kName, name);
}

QString XMLUI::getName() const
{
    return getAttribute(node, kName);
}

QDomElement XMLUI::append(XMLAction& action)
{
    return node.appendChild(document.importNode(action.getNodeConst(), true)).toElement();
}

int XMLUI::getActions(QList<XMLAction*>& actions) const
{
    return getActions(actions, false);
}

int XMLUI::getActions(QList<XMLAction*>& actions, bool visibleOnly) const
{
    std::list<QDomNode> children;
    getNodesOfType(node, XMLOBJECT_ACTION, children);
    int appended = 0;
    for (const QDomNode& child : children) {
        auto action = std::make_unique<XMLAction>();
        action->setNode(child.toElement());
        if (visibleOnly && !action->getVisible())
            continue;
        actions.append(action.release());
        ++appended;
    }
    return appended;
}

void XMLUI::setActionName(int actionType, int originator, const QString& name)
{
    editActions(node, actionType, originator, [&name](QDomElement& e) { XMLAction::setName(e, name); });
}

void XMLUI::setActionOrgName(int actionType, int originator, const QString& orgName)
{
    editActions(node, actionType, originator, [&orgName](QDomElement& e) { XMLAction::setOrgName(e, orgName); });
}

void XMLUI::setActionVisible(int actionType, int originator, bool visible)
{
    editActions(node, actionType, originator, [visible](QDomElement& e) { XMLAction::setVisible(e, visible); });
}

int XMLUI::visibleActionCount() const
{
    QList<XMLAction*> visible;
    const int count = getActions(visible, true);
    qDeleteAll(visible);
    return count;
}
