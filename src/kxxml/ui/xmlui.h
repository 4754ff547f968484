#pragma once

#include <kxxml/xml/xmlobject.h>

class XMLAction;

/// A named collection of action descriptions: a "ui" element whose direct "action" children
/// are the actions of one user-interface surface. Other children are ignored.
///
/// Actions are picked for in-place editing by the pair of their "type" and "originator"
/// attributes; several children may share a pair, and every one of them is edited.
class KXXML_EXPORT XMLUI : public XMLObject
{
public:
    /// An empty "ui" element without a name.
    XMLUI();
    /// A "ui" element named @p name.
    explicit XMLUI(const QString& name);

    /// Writes the attribute "name".
    void setName(const QString& name);
    /// The attribute "name"; empty when absent.
    QString getName() const;

    /// Appends a deep copy of @p action's element as the last child and returns it. The
    /// action's rectangles and group are not carried.
    QDomElement append(XMLAction& action);
    /// Appends a new XMLAction per "action" child, in document order, to @p actions (which is
    /// not cleared); returns how many this call appended. The caller owns the new actions;
    /// they are copies, and changing them leaves the collection as it is.
    int getActions(QList<XMLAction*>& actions) const;
    /// The same, keeping only visible actions when @p visibleOnly is true.
    int getActions(QList<XMLAction*>& actions, bool visibleOnly) const;

    /// Writes the attribute "name" of every action child with this type and originator.
    void setActionName(int actionType, int originator, const QString& name);
    /// Writes the property "org_name" of every action child with this type and originator.
    void setActionOrgName(int actionType, int originator, const QString& orgName);
    /// Writes the property "visible" of every action child with this type and originator.
    void setActionVisible(int actionType, int originator, bool visible);
    /// The number of action children that are visible (a missing "visible" counts).
    int visibleActionCount() const;
};
