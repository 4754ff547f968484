#pragma once

#include <kxxml/kxxml_export.h>

#include <QList>
#include <QObject>

class XMLAction;

/// An exclusive group of actions: whenever a member announces a toggle, the group unchecks
/// every other member. The group neither owns nor deletes its actions.
class KXXML_EXPORT XMLActionGroup : public QObject
{
    Q_OBJECT

public:
    /// An empty group named @p name (Latin-1).
    XMLActionGroup(QObject* parent, const char* name);
    /// Leaves the members as they are: their group pointers are not cleared.
    ~XMLActionGroup() override;

    /// The members in order of addition (a copy; the group keeps ownership of nothing).
    QList<XMLAction*> actions() const;
    /// Appends @p action, points it at this group and connects its toggled() and destroyed().
    /// Nothing is checked for duplicates: an action added twice is listed twice. Returns
    /// @p action; null for a null @p action, which changes nothing.
    XMLAction* addAction(XMLAction* action);
    /// The first member whose "selected" property is true, not "checked" (deliberate); null
    /// when there is none.
    XMLAction* checkedAction() const;
    /// Toggles @p action when it is an unchecked member; a group only switches members on.
    void toggleAction(XMLAction* action);

Q_SIGNALS:
    /// Offered to the application; the library never emits it.
    void triggered(XMLAction* action);

protected Q_SLOTS:
    /// Unchecks every member but the sender; direct calls and re-entered calls do nothing.
    void updateActions();
    /// Takes @p action, or the sender when null, out of the group: clears its group pointer,
    /// cuts all its connections to the group, then drops its first entry from the list. The
    /// pointer and connections go even when it was no member (deliberate).
    void removeAction(XMLAction* action = nullptr);
    /// Writes false when a checked member asks, true for any other sender or a direct call.
    void approveToggle(bool& approved);

private:
    QList<XMLAction*> m_actions;
    bool m_updating = false;
};
