#pragma once

#include <kxxml/packetable/hostlib.h>
#include <kxxml/xml/xmlobject.h>

#include <QRect>

class XMLActionGroup;
class XMLPacketable;

/// One user-interface action, described by an "action" element that travels in packets.
///
/// Everything that must reach another agent lives in the element: the attributes "name",
/// "type" and "originator", and a property per value (job ids, page, keys, channel, colour,
/// position, sorting, visibility, check state). Two rectangles and the exclusive group the
/// action belongs to live only in the object and are never written to the element.
///
/// Each value has a setter, a getter and a presence test (hasX: the property exists). Every
/// getter answers a fixed default when its value is absent, and the typed read otherwise (so
/// a present but unparsable value reads 0 or false); three defaults are not zero on purpose:
/// "colour" is 0xFFFFFF, "enabled" and "visible" are true.
class KXXML_EXPORT XMLAction : public XMLObject
{
    Q_OBJECT

public:
    /// An empty "action" element, null rectangles and no group.
    XMLAction();
    /// Writes the attributes "name", "type" and "originator", in that order.
    XMLAction(const QString& name, int actionType, int originator);
    /// Does not leave the group: the group learns of it through destroyed().
    ~XMLAction() override;

    /// @name In-memory values
    /// Two rectangles and the group: never part of the element.
    /// @{
    /// Stores QRect(x, y, w, h).
    void setRect(int x, int y, int w, int h);
    QRect rect() const;
    void setTextRect(int x, int y, int w, int h);
    QRect textRect() const;
    /// Set and cleared by XMLActionGroup itself; the group is not owned.
    void setActionGroup(XMLActionGroup* group);
    XMLActionGroup* actionGroup() const;
    /// @}

    /// @name Attributes
    /// The attributes "name", "type" and "originator" of the element.
    /// @{
    void setName(const QString& name);
    /// Writes the attribute "name" of @p e, an action element in someone else's tree.
    static void setName(QDomElement& e, const QString& name);
    QString getName() const;
    void setType(int actionType);
    int getType() const;
    void setOriginator(int originator);
    /// Non-const, unlike every other getter; the signature is kept as it is (deliberate).
    int getOriginator();
    /// @}

    /// @name Properties
    /// A setter, a getter and a presence test per value, as described above.
    /// @{
    void setSelected(bool selected);
    bool isSelected() const;
    bool hasSelected() const;
    void setOrgName(const QString& orgName);
    /// Writes the property "org_name" of @p e, an action element in someone else's tree.
    static void setOrgName(QDomElement& e, const QString& orgName);
    /// The property "org_name"; the null string when absent.
    QString getOrgName() const;

    /// Replaces the "kxjobids" list by the single @p id: one property, two views.
    void setKXJobID(int id);
    /// The first item of the "kxjobids" list; 0 when absent, empty or unparsable.
    int getKXJobID() const;
    bool hasKXJobID() const;
    void setKXJobIDs(const QList<int>& ids);
    QList<int> getKXJobIDs() const;
    bool hasKXJobIDs() const;

    void setPageNumber(int page);
    int getPageNumber() const;
    bool hasPageNumber() const;

    /// Writes "kxkey_hkey" then "kxkey_key", in hexadecimal.
    void setKXKEY(const KXKEY_ELEMENT& key);
    /// The key, without a presence test: a missing member reads 0.
    KXKEY_ELEMENT getKXKEY() const;
    /// True only when both members are present.
    bool hasKXKEY() const;
    /// Writes "kxkey_hkey_list" then "kxkey_key_list"; null entries are skipped.
    void setKXKEYList(const QList<KXKEY_ELEMENT*>& keys);
    /// New records pairing the items of both lists, as many as the shorter list holds.
    /// The caller owns the records and deletes them.
    QList<KXKEY_ELEMENT*> getKXKEYList() const;
    /// True only when both lists are present.
    bool hasKXKEYList() const;

    /// Replaces the "jobids" list by the single @p id: one property, two views.
    void setJobID(int id);
    /// The first item of the "jobids" list; 0 when absent, empty or unparsable.
    int getJobID() const;
    bool hasJobID() const;
    void setJobIDs(const QList<int>& ids);
    QList<int> getJobIDs() const;
    bool hasJobIDs() const;

    void setChannelID(unsigned int id);
    unsigned int getChannelID() const;
    bool hasChannelID() const;
    void setColour(unsigned int colour);
    /// 0xFFFFFF when absent.
    unsigned int getColour() const;
    bool hasColour() const;
    void setIndex(int index);
    int getIndex() const;
    bool hasIndex() const;
    void setX(int x);
    int getX() const;
    bool hasX() const;
    void setY(int y);
    int getY() const;
    bool hasY() const;
    /// Kept with 6 significant digits, as every double property.
    void setXDouble(double x);
    double getXDouble() const;
    bool hasXDouble() const;
    void setYDouble(double y);
    double getYDouble() const;
    bool hasYDouble() const;
    void setNeedUpdate(bool needUpdate);
    bool getNeedUpdate() const;
    bool hasNeedUpdate() const;
    void setExcludePublications(bool exclude);
    bool getExcludePublications() const;
    bool hasExcludePublications() const;
    void setPaintPixmap(bool paint);
    bool getPaintPixmap() const;
    bool hasPaintPixmap() const;
    void setSortAscending(bool ascending);
    bool getSortAscending() const;
    bool hasSortAscending() const;
    void setSortType(int sortType);
    int getSortType() const;
    bool hasSortType() const;
    void setShowNewestPage(bool show);
    bool getShowNewestPage() const;
    bool hasShowNewestPage() const;
    /// The most packetables one reply packet may hold: a list request (1000 to 1003) that
    /// carries it is answered in pages (XMLPacket::getPage()). 0 when absent; a value below 1
    /// asks for no paging.
    void setPageSize(int pageSize);
    int getPageSize() const;
    bool hasPageSize() const;
    /// True when absent.
    bool isEnabled() const;
    bool hasEnabled() const;
    bool isChecked() const;
    bool hasChecked() const;
    void setCheckable(bool checkable);
    bool isCheckable() const;
    bool hasCheckable() const;
    void setVisible(bool visible);
    /// Writes the property "visible" of @p e, an action element in someone else's tree.
    static void setVisible(QDomElement& e, bool visible);
    /// True when absent.
    bool getVisible() const;
    bool hasVisible() const;
    /// @}

    /// Appends a deep copy of @p packetable's element as the last child and returns it;
    /// @p packetable stays independent of the action.
    QDomElement append(XMLPacketable& packetable);
    /// Converts @p packet to a temporary XMLPacketable and appends a copy of its element.
    QDomElement append(KXPacketable& packet);
    /// Whether the element has a direct child of kind @p t.
    bool hasNodesOfType(XMLOBJECT_TYPE t) const;
    /// Appends the direct children of kind @p t to @p out; returns how many.
    int getNodesOfType(XMLOBJECT_TYPE t, std::list<QDomNode>& out) const;
    /// Removes the direct children of kind @p t.
    void removeNodesOfType(XMLOBJECT_TYPE t);
    /// Writes "-- title --", the element's text and a newline to standard output.
    void print(const QString& title) const;

public Q_SLOTS:
    /// Inverts "checked" and emits toggled() with the value read back from the element.
    void toggle();
    /// Writes "checked" and emits toggled(), even when the value did not change (deliberate).
    void setChecked(bool b);
    /// Writes "enabled"; emits nothing.
    void setEnabled(bool b);

Q_SIGNALS:
    /// Emitted by toggle() and setChecked() with the new value of "checked".
    void toggled(bool checked);
    /// Never emitted by the library: offered to the application, e.g. for
    /// XMLActionGroup::approveToggle().
    void toggling(bool& cancel);

private:
    void setIdList(const QString& key, const QList<int>& ids);
    QList<int> idList(const QString& key) const;

    QRect m_rect;
    QRect m_textRect;
    XMLActionGroup* m_group = nullptr;
};
