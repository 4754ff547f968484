#include "xmlaction.h"
#include "xmlaction_p.h"

#include <kxxml/packetable/xmlpacketable.h>

#include <algorithm>
#include <cstdio>

namespace {

// Unsigned values, keys and id lists of actions are always written in hexadecimal.
constexpr int kHex = 16;

const QString kName = QStringLiteral("name");
const QString kType = QStringLiteral("type");
const QString kOriginator = QStringLiteral("originator");
const QString kSelected = QStringLiteral("selected");
const QString kOrgName = QStringLiteral("org_name");
const QString kKXJobIds = QStringLiteral("kxjobids");
const QString kPageNumber = QStringLiteral("pagenum");
const QString kKeyHkey = QStringLiteral("kxkey_hkey");
const QString kKeyKey = QStringLiteral("kxkey_key");
const QString kKeyHkeyList = QStringLiteral("kxkey_hkey_list");
const QString kKeyKeyList = QStringLiteral("kxkey_key_list");
const QString kJobIds = QStringLiteral("jobids");
const QString kChannelId = QStringLiteral("channel_id");
const QString kColour = QStringLiteral("colour");
const QString kIndex = QStringLiteral("index");
const QString kX = QStringLiteral("x");
const QString kY = QStringLiteral("y");
const QString kXDouble = QStringLiteral("x_double");
const QString kYDouble = QStringLiteral("y_double");
const QString kNeedUpdate = QStringLiteral("need_update");
const QString kExcludePublications = QStringLiteral("exclude_publications");
const QString kPaintPixmap = QStringLiteral("paint_pixmap");
const QString kSortAscending = QStringLiteral("sort_ascending");
const QString kSortType = QStringLiteral("sort_type");
const QString kShowNewestPage = QStringLiteral("show_newest_page");
const QString kPageSize = QStringLiteral("page_size");
const QString kEnabled = QStringLiteral("enabled");
const QString kChecked = QStringLiteral("checked");
const QString kCheckable = QStringLiteral("checkable");
const QString kVisible = QStringLiteral("visible");

// The property @p key of @p e read with @p read (given @p args after the key), or @p absent
// when there is no such property: the presence test comes first, so a default is answered
// only for a missing value, never for one that fails to parse.
template <typename T, typename Read, typename... Args>
T propertyOr(const QDomElement& e, const QString& key, T absent, Read read, Args... args)
{
    return XMLObject::hasProperty(e, key) ? static_cast<T>(read(e, key, args...)) : absent;
}

} // namespace

XMLAction::XMLAction()
    : XMLObject(XMLOBJECT_ACTION)
{
}

XMLAction::XMLAction(const QString& name, int actionType, int originator)
    : XMLAction()
{
    setName(name);
    setType(actionType);
    setOriginator(originator);
}

XMLAction::~XMLAction() = default;

void XMLAction::setRect(int x, int y, int w, int h)
{
    m_rect = QRect(x, y, w, h);
}

QRect XMLAction::rect() const
{
    return m_rect;
}

void XMLAction::setTextRect(int x, int y, int w, int h)
{
    m_textRect = QRect(x, y, w, h);
}

QRect XMLAction::textRect() const
{
    return m_textRect;
}

KXXML_NO_SANITIZE_VPTR void XMLAction::setActionGroup(XMLActionGroup* group)
{
    m_group = group;
}

XMLActionGroup* XMLAction::actionGroup() const
{
    return m_group;
}

void XMLAction::setName(const QString& name)
{
    setName(node, name);
}

void XMLAction::setName(QDomElement& e, const QString& name)
{
    setAttribute(e, kName, name);
}

QString XMLAction::getName() const
{
    return getAttribute(node, kName);
}

void XMLAction::setType(int actionType)
{
    setAttribute(node, kType, actionType);
}

int XMLAction::getType() const
{
    return getAttributeInt(node, kType);
}

void XMLAction::setOriginator(int originator)
{
    setAttribute(node, kOriginator, originator);
}

int XMLAction::getOriginator()
{
    return getAttributeInt(node, kOriginator);
}

void XMLAction::setSelected(bool selected)
{
    setProperty(node, kSelected, selected);
}

bool XMLAction::isSelected() const
{
    return propertyOr(node, kSelected, false, &XMLObject::getPropertyBool);
}

bool XMLAction::hasSelected() const
{
    return hasProperty(node, kSelected);
}

void XMLAction::setOrgName(const QString& orgName)
{
    setOrgName(node, orgName);
}

void XMLAction::setOrgName(QDomElement& e, const QString& orgName)
{
    setProperty(e, kOrgName, orgName);
}

QString XMLAction::getOrgName() const
{
    return getProperty(node, kOrgName);
}

void XMLAction::setKXJobID(int id)
{
    setIdList(kKXJobIds, {id});
}

int XMLAction::getKXJobID() const
{
    return idList(kKXJobIds).value(0);
}

bool XMLAction::hasKXJobID() const
{
    return hasProperty(node, kKXJobIds);
}

void XMLAction::setKXJobIDs(const QList<int>& ids)
{
    setIdList(kKXJobIds, ids);
}

QList<int> XMLAction::getKXJobIDs() const
{
    return idList(kKXJobIds);
}

bool XMLAction::hasKXJobIDs() const
{
    return hasProperty(node, kKXJobIds);
}

void XMLAction::setPageNumber(int page)
{
    setProperty(node, kPageNumber, page);
}

int XMLAction::getPageNumber() const
{
    return propertyOr(node, kPageNumber, 0, &XMLObject::getPropertyLong);
}

bool XMLAction::hasPageNumber() const
{
    return hasProperty(node, kPageNumber);
}

void XMLAction::setKXKEY(const KXKEY_ELEMENT& key)
{
    setProperty(node, kKeyHkey, key.hkey, kHex);
    setProperty(node, kKeyKey, key.key, kHex);
}

KXKEY_ELEMENT XMLAction::getKXKEY() const
{
    KXKEY_ELEMENT key;
    key.hkey = static_cast<unsigned int>(getPropertyULong(node, kKeyHkey, kHex));
    key.key = static_cast<unsigned int>(getPropertyULong(node, kKeyKey, kHex));
    return key;
}

bool XMLAction::hasKXKEY() const
{
    return hasProperty(node, kKeyHkey) && hasProperty(node, kKeyKey);
}

void XMLAction::setKXKEYList(const QList<KXKEY_ELEMENT*>& keys)
{
    QList<unsigned int> hkeys;
    QList<unsigned int> plainKeys;
    for (const KXKEY_ELEMENT* key : keys) {
        if (!key)
            continue;
        hkeys.append(key->hkey);
        plainKeys.append(key->key);
    }
    setProperty(node, kKeyHkeyList, hkeys, kHex);
    setProperty(node, kKeyKeyList, plainKeys, kHex);
}

QList<KXKEY_ELEMENT*> XMLAction::getKXKEYList() const
{
    const QList<unsigned int> hkeys = getPropertyULongList(node, kKeyHkeyList, kHex);
    const QList<unsigned int> plainKeys = getPropertyULongList(node, kKeyKeyList, kHex);
    const qsizetype count = std::min(hkeys.size(), plainKeys.size());
    QList<KXKEY_ELEMENT*> keys;
    keys.reserve(count);
    for (qsizetype i = 0; i < count; ++i) {
        auto* key = new KXKEY_ELEMENT;
        key->hkey = hkeys.at(i);
        key->key = plainKeys.at(i);
        keys.append(key);
    }
    return keys;
}

bool XMLAction::hasKXKEYList() const
{
    return hasProperty(node, kKeyHkeyList) && hasProperty(node, kKeyKeyList);
}

void XMLAction::setJobID(int id)
{
    setIdList(kJobIds, {id});
}

int XMLAction::getJobID() const
{
    return idList(kJobIds).value(0);
}

bool XMLAction::hasJobID() const
{
    return hasProperty(node, kJobIds);
}

void XMLAction::setJobIDs(const QList<int>& ids)
{
    setIdList(kJobIds, ids);
}

QList<int> XMLAction::getJobIDs() const
{
    return idList(kJobIds);
}

bool XMLAction::hasJobIDs() const
{
    return hasProperty(node, kJobIds);
}

void XMLAction::setChannelID(unsigned int id)
{
    setProperty(node, kChannelId, id, kHex);
}

unsigned int XMLAction::getChannelID() const
{
    return propertyOr(node, kChannelId, 0u, &XMLObject::getPropertyULong, kHex);
}

bool XMLAction::hasChannelID() const
{
    return hasProperty(node, kChannelId);
}

void XMLAction::setColour(unsigned int colour)
{
    setProperty(node, kColour, colour, kHex);
}

unsigned int XMLAction::getColour() const
{
    return propertyOr(node, kColour, 0xFFFFFFu, &XMLObject::getPropertyUInt, kHex);
}

bool XMLAction::hasColour() const
{
    return hasProperty(node, kColour);
}

void XMLAction::setIndex(int index)
{
    setProperty(node, kIndex, index);
}

int XMLAction::getIndex() const
{
    return propertyOr(node, kIndex, 0, &XMLObject::getPropertyInt);
}

bool XMLAction::hasIndex() const
{
    return hasProperty(node, kIndex);
}

void XMLAction::setX(int x)
{
    setProperty(node, kX, x);
}

int XMLAction::getX() const
{
    return propertyOr(node, kX, 0, &XMLObject::getPropertyInt);
}

bool XMLAction::hasX() const
{
    return hasProperty(node, kX);
}

void XMLAction::setY(int y)
{
    setProperty(node, kY, y);
}

int XMLAction::getY() const
{
    return propertyOr(node, kY, 0, &XMLObject::getPropertyInt);
}

bool XMLAction::hasY() const
{
    return hasProperty(node, kY);
}

void XMLAction::setXDouble(double x)
{
    setProperty(node, kXDouble, x);
}

double XMLAction::getXDouble() const
{
    return propertyOr(node, kXDouble, 0.0, &XMLObject::getPropertyDouble);
}

bool XMLAction::hasXDouble() const
{
    return hasProperty(node, kXDouble);
}

void XMLAction::setYDouble(double y)
{
    setProperty(node, kYDouble, y);
}

double XMLAction::getYDouble() const
{
    return propertyOr(node, kYDouble, 0.0, &XMLObject::getPropertyDouble);
}

bool XMLAction::hasYDouble() const
{
    return hasProperty(node, kYDouble);
}

void XMLAction::setNeedUpdate(bool needUpdate)
{
    setProperty(node, kNeedUpdate, needUpdate);
}

bool XMLAction::getNeedUpdate() const
{
    return propertyOr(node, kNeedUpdate, false, &XMLObject::getPropertyBool);
}

bool XMLAction::hasNeedUpdate() const
{
    return hasProperty(node, kNeedUpdate);
}

void XMLAction::setExcludePublications(bool exclude)
{
    setProperty(node, kExcludePublications, exclude);
}

bool XMLAction::getExcludePublications() const
{
    return propertyOr(node, kExcludePublications, false, &XMLObject::getPropertyBool);
}

bool XMLAction::hasExcludePublications() const
{
    return hasProperty(node, kExcludePublications);
}

void XMLAction::setPaintPixmap(bool paint)
{
    setProperty(node, kPaintPixmap, paint);
}

bool XMLAction::getPaintPixmap() const
{
    return propertyOr(node, kPaintPixmap, false, &XMLObject::getPropertyBool);
}

bool XMLAction::hasPaintPixmap() const
{
    return hasProperty(node, kPaintPixmap);
}

void XMLAction::setSortAscending(bool ascending)
{
    setProperty(node, kSortAscending, ascending);
}

bool XMLAction::getSortAscending() const
{
    return propertyOr(node, kSortAscending, false, &XMLObject::getPropertyBool);
}

bool XMLAction::hasSortAscending() const
{
    return hasProperty(node, kSortAscending);
}

void XMLAction::setSortType(int sortType)
{
    setProperty(node, kSortType, sortType);
}

int XMLAction::getSortType() const
{
    return propertyOr(node, kSortType, 0, &XMLObject::getPropertyInt);
}

bool XMLAction::hasSortType() const
{
    return hasProperty(node, kSortType);
}

void XMLAction::setShowNewestPage(bool show)
{
    setProperty(node, kShowNewestPage, show);
}

bool XMLAction::getShowNewestPage() const
{
    return propertyOr(node, kShowNewestPage, false, &XMLObject::getPropertyBool);
}

bool XMLAction::hasShowNewestPage() const
{
    return hasProperty(node, kShowNewestPage);
}

void XMLAction::setPageSize(int pageSize)
{
    setProperty(node, kPageSize, pageSize);
}

int XMLAction::getPageSize() const
{
    return propertyOr(node, kPageSize, 0, &XMLObject::getPropertyInt);
}

bool XMLAction::hasPageSize() const
{
    return hasProperty(node, kPageSize);
}

bool XMLAction::isEnabled() const
{
    return propertyOr(node, kEnabled, true, &XMLObject::getPropertyBool);
}

bool XMLAction::hasEnabled() const
{
    return hasProperty(node, kEnabled);
}

bool XMLAction::isChecked() const
{
    return propertyOr(node, kChecked, false, &XMLObject::getPropertyBool);
}

bool XMLAction::hasChecked() const
{
    return hasProperty(node, kChecked);
}

void XMLAction::setCheckable(bool checkable)
{
    setProperty(node, kCheckable, checkable);
}

bool XMLAction::isCheckable() const
{
    return propertyOr(node, kCheckable, false, &XMLObject::getPropertyBool);
}

bool XMLAction::hasCheckable() const
{
    return hasProperty(node, kCheckable);
}

void XMLAction::setVisible(bool visible)
{
    setVisible(node, visible);
}

void XMLAction::setVisible(QDomElement& e, bool visible)
{
    setProperty(e, kVisible, visible);
}

bool XMLAction::getVisible() const
{
    return propertyOr(node, kVisible, true, &XMLObject::getPropertyBool);
}

bool XMLAction::hasVisible() const
{
    return hasProperty(node, kVisible);
}

QDomElement XMLAction::append(XMLPacketable& packetable)
{
    return node.appendChild(document.importNode(packetable.getNodeConst(), true)).toElement();
}

QDomElement XMLAction::append(KXPacketable& packet)
{
    XMLPacketable packetable;
    packetable.setData(packet);
    return append(packetable);
}

bool XMLAction::hasNodesOfType(XMLOBJECT_TYPE t) const
{
    return XMLObject::hasNodesOfType(node, t);
}

int XMLAction::getNodesOfType(XMLOBJECT_TYPE t, std::list<QDomNode>& out) const
{
    return XMLObject::getNodesOfType(node, t, out);
}

void XMLAction::removeNodesOfType(XMLOBJECT_TYPE t)
{
    XMLObject::removeNodesOfType(node, t);
}

void XMLAction::print(const QString& title) const
{
    std::fprintf(stdout, "-- %s --\n%s\n", title.toUtf8().constData(), toString().toUtf8().constData());
}

void XMLAction::toggle()
{
    setProperty(node, kChecked, !isChecked());
    Q_EMIT toggled(isChecked());
}

void XMLAction::setChecked(bool b)
{
    setProperty(node, kChecked, b);
    Q_EMIT toggled(isChecked());
}

void XMLAction::setEnabled(bool b)
{
    setProperty(node, kEnabled, b);
}

void XMLAction::setIdList(const QString& key, const QList<int>& ids)
{
    setProperty(node, key, ids, kHex);
}

QList<int> XMLAction::idList(const QString& key) const
{
    return propertyOr(node, key, QList<int>(), &XMLObject::getPropertyLongList, kHex);
}
