#include "xmlactiongroup.h"

#include <kxxml/ui/xmlaction.h>
#include "xmlaction_p.h"

#include <algorithm>

XMLActionGroup::XMLActionGroup(QObject* parent, const char* name)
    : QObject(parent)
{
    setObjectName(QString::fromLatin1(name));
}

XMLActionGroup::~XMLActionGroup() = default;

QList<XMLAction*> XMLActionGroup::actions() const
{
    return m_actions;
}

XMLAction* XMLActionGroup::addAction(XMLAction* action)
{
    if (!action)
        return nullptr;
    m_actions.append(action);
    action->setActionGroup(this);
    connect(action, &XMLAction::toggled, this, &XMLActionGroup::updateActions);
    // By name: destroyed(QObject*) reaches removeAction() through its no-argument form, the
    // action then being only a QObject.
    connect(action, SIGNAL(destroyed(QObject*)), this, SLOT(removeAction()));
    return action;
}

XMLAction* XMLActionGroup::checkedAction() const
{
    const auto it = std::find_if(m_actions.cbegin(), m_actions.cend(),
                                 [](const XMLAction* action) { return action && action->isSelected(); });
    return it != m_actions.cend() ? *it : nullptr;
}

void XMLActionGroup::toggleAction(XMLAction* action)
{
    if (!action || !m_actions.contains(action) || action->isChecked())
        return;
    action->toggle();
}

void XMLActionGroup::updateActions()
{
    QObject* const toggledAction = sender();
    if (!toggledAction || m_updating)
        return;
    m_updating = true;
    // A copy: a slot connected to a member's toggled() may change the list.
    const QList<XMLAction*> members = m_actions;
    for (XMLAction* action : members) {
        // Every call announces toggled(false) and re-enters this slot, which returns at once.
        if (action && action != toggledAction)
            action->setChecked(false);
    }
    m_updating = false;
}

KXXML_NO_SANITIZE_VPTR void XMLActionGroup::removeAction(XMLAction* action)
{
    if (!action)
        action = static_cast<XMLAction*>(sender());
    if (!action)
        return;
    // When reached from destroyed(), the group pointer is the only XMLAction member touched.
    action->setActionGroup(nullptr);
    disconnect(action, nullptr, this, nullptr);
    m_actions.removeOne(action);
}

void XMLActionGroup::approveToggle(bool& approved)
{
    const QObject* const asking = sender();
    const auto member = std::find(m_actions.cbegin(), m_actions.cend(), asking);
    approved = !(asking && member != m_actions.cend() && (*member)->isChecked());
}
