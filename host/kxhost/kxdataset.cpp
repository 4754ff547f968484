// The dataset loader: reads a "kxhost-dataset/1" JSON document into a connection's data.
// Strict: unknown members, wrong types, out-of-range numbers, control characters, duplicate
// databases or profiles, archive texts the packet parser refuses and cyclic archive
// references all fail with one message naming the JSON path.

#include "kxcommserver_p.h"
#include "kxrecords_p.h"

#include <kxhost/kxkey_cc.h>
#include <kxhost/kxlib.h>
#include <kxhost/kxpacketable.h>
#include <kxhost/packetableutil.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QJsonValue>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <map>

namespace {

const char* const datasetFormat = "kxhost-dataset/1";

std::string member(const std::string& path, const char* name)
{
    return path.empty() ? std::string(name) : path + '.' + name;
}

std::string element(const std::string& path, qsizetype index)
{
    return path + '[' + std::to_string(index) + ']';
}

std::string keyText(const KXKEY_ELEMENT& key)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%x:%x", key.key, key.hkey);
    return buffer;
}

bool parseHex(const QString& text, unsigned int& out)
{
    if (text.isEmpty() || text.size() > 8)
        return false;
    for (QChar c : text) {
        if (!((c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F')))
            return false;
    }
    bool ok = false;
    out = text.toUInt(&ok, 16);
    return ok;
}

// What a dataset does with a packet that makes a cycle: names it as people know it.
std::string describe(const KXPacketable& packet, const std::string& path)
{
    std::string text = packet.name ? std::string("\"") + packet.name + '"' : path;
    if (KXKEY_CC::isValid(packet.key))
        text += " (" + keyText(packet.key) + ')';
    return text;
}

class Loader
{
public:
    explicit Loader(KXCommServerPrivate& out)
        : m_out(out)
    {
    }

    bool load(const QJsonObject& root);
    std::string error;

private:
    bool fail(const std::string& path, const std::string& problem)
    {
        error = path + ": " + problem;
        return false;
    }

    bool asObject(const QJsonValue& value, const std::string& path, QJsonObject& out);
    bool arrayMember(const QJsonObject& parent, const std::string& path, const char* name, QJsonArray& out);
    bool onlyMembers(const QJsonObject& object, const std::string& path,
                     std::initializer_list<const char*> allowed);
    bool asText(const QJsonValue& value, const std::string& path, bool singleLine, std::string& out);
    bool stringMember(const QJsonObject& object, const std::string& path, const char* name,
                bool required, std::string& out, bool* present = nullptr);
    bool asInteger(const QJsonValue& value, const std::string& path, long long minimum,
                 long long maximum, long long& out);
    bool asInteger(const QJsonObject& object, const std::string& path, const char* name,
                 bool required, long long minimum, long long maximum, long long& out,
                 bool* present = nullptr);
    bool keyMember(const QJsonObject& object, const std::string& path, const char* name, bool required,
             KXKEY_ELEMENT& out, bool* present = nullptr);

    bool loadConnection(const QJsonObject& root);
    bool loadFailingQueries(const QJsonObject& root);
    bool loadDatabase(const QJsonValue& value, const std::string& path, int kind);
    bool loadJob(const QJsonValue& value, const std::string& path, const KXDBENTRY& database, KXJOB*& job);
    bool loadSections(const QJsonObject& object, const std::string& path, const char* name, KXSECTION*& out);
    bool loadBook(const QJsonValue& value, const std::string& path, const KXDBENTRY& database, KXBOOK*& book);
    bool loadProfile(const QJsonValue& value, const std::string& path);
    bool loadArchiveEntry(const QJsonValue& value, const std::string& path, ArchiveNode& parent);
    bool checkCycles();

    KXCommServerPrivate& m_out;
    std::map<std::pair<unsigned int, unsigned int>, std::string> m_keys; // database key -> path
    std::map<long long, std::string> m_ids;                              // database id -> path
    std::map<std::string, std::string> m_profiles;                       // profile name -> path
    std::map<const ArchiveNode*, std::string> m_nodePaths;
};

bool Loader::asObject(const QJsonValue& value, const std::string& path, QJsonObject& out)
{
    if (!value.isObject())
        return fail(path, "expected an object");
    out = value.toObject();
    return true;
}

bool Loader::arrayMember(const QJsonObject& parent, const std::string& path, const char* name, QJsonArray& out)
{
    out = QJsonArray();
    const QJsonValue value = parent.value(QLatin1String(name));
    if (value.isUndefined())
        return true;
    if (!value.isArray())
        return fail(member(path, name), "expected an array");
    out = value.toArray();
    return true;
}

bool Loader::onlyMembers(const QJsonObject& object, const std::string& path,
                         std::initializer_list<const char*> allowed)
{
    for (auto it = object.begin(); it != object.end(); ++it) {
        bool known = false;
        for (const char* name : allowed)
            known = known || it.key() == QLatin1String(name);
        if (known)
            continue;
        std::string name;
        for (QChar c : it.key()) {
            if (c.unicode() < 0x20) {
                char buffer[16];
                std::snprintf(buffer, sizeof buffer, "\\u%04x", c.unicode());
                name += buffer;
            } else {
                name += QString(c).toStdString();
            }
        }
        return fail(member(path, name.c_str()), "unknown member");
    }
    return true;
}

bool Loader::asText(const QJsonValue& value, const std::string& path, bool singleLine, std::string& out)
{
    if (!value.isString())
        return fail(path, "expected a string");
    const QString string = value.toString();
    for (QChar c : string) {
        const char16_t code = c.unicode();
        if (code >= 0x20 || code == u'\t')
            continue;
        if ((code == u'\n' || code == u'\r') && singleLine)
            return fail(path, "line breaks are not allowed here");
        if (code != u'\n' && code != u'\r') {
            char buffer[64];
            std::snprintf(buffer, sizeof buffer, "control character U+%04X is not allowed", code);
            return fail(path, buffer);
        }
    }
    out = string.toStdString();
    return true;
}

bool Loader::stringMember(const QJsonObject& object, const std::string& path, const char* name,
                    bool required, std::string& out, bool* present)
{
    const QJsonValue value = object.value(QLatin1String(name));
    if (present)
        *present = !value.isUndefined();
    if (value.isUndefined())
        return required ? fail(member(path, name), "missing") : true;
    return asText(value, member(path, name), true, out);
}

bool Loader::asInteger(const QJsonValue& value, const std::string& path, long long minimum,
                     long long maximum, long long& out)
{
    const double number = value.toDouble();
    if (!value.isDouble() || !std::isfinite(number) || number != std::floor(number))
        return fail(path, "expected an integer");
    if (number < static_cast<double>(minimum) || number > static_cast<double>(maximum))
        return fail(path, "expected an integer from " + std::to_string(minimum) + " to "
                              + std::to_string(maximum));
    out = static_cast<long long>(number);
    return true;
}

bool Loader::asInteger(const QJsonObject& object, const std::string& path, const char* name,
                     bool required, long long minimum, long long maximum, long long& out,
                     bool* present)
{
    const QJsonValue value = object.value(QLatin1String(name));
    if (present)
        *present = !value.isUndefined();
    if (value.isUndefined())
        return required ? fail(member(path, name), "missing") : true;
    return asInteger(value, member(path, name), minimum, maximum, out);
}

bool Loader::keyMember(const QJsonObject& object, const std::string& path, const char* name,
                 bool required, KXKEY_ELEMENT& out, bool* present)
{
    const QJsonValue value = object.value(QLatin1String(name));
    if (present)
        *present = !value.isUndefined();
    if (value.isUndefined())
        return required ? fail(member(path, name), "missing") : true;
    const QStringList words = value.toString().split(u':');
    if (!value.isString() || words.size() != 2 || !parseHex(words[0], out.key)
        || !parseHex(words[1], out.hkey))
        return fail(member(path, name), "expected a key \"<key>:<hkey>\" in hexadecimal");
    return true;
}

bool Loader::load(const QJsonObject& root)
{
    if (!onlyMembers(root, std::string(),
                     {"format", "connection", "failingQueries", "outputs", "books", "profiles", "archive"}))
        return false;
    std::string format;
    if (!stringMember(root, std::string(), "format", true, format))
        return false;
    if (format != datasetFormat)
        return fail("format", std::string("expected \"") + datasetFormat + '"');
    if (!loadConnection(root) || !loadFailingQueries(root))
        return false;

    QJsonArray list;
    if (!arrayMember(root, std::string(), "outputs", list))
        return false;
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (!loadDatabase(list.at(i), element("outputs", i), KXDBKIND_OUTPUT))
            return false;
    }
    if (!arrayMember(root, std::string(), "books", list))
        return false;
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (!loadDatabase(list.at(i), element("books", i), KXDBKIND_BOOK))
            return false;
    }
    if (!arrayMember(root, std::string(), "profiles", list))
        return false;
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (!loadProfile(list.at(i), element("profiles", i)))
            return false;
    }
    if (!arrayMember(root, std::string(), "archive", list))
        return false;
    for (qsizetype i = 0; i < list.size(); ++i) {
        if (!loadArchiveEntry(list.at(i), element("archive", i), *m_out.archive))
            return false;
    }
    return checkCycles();
}

bool Loader::loadConnection(const QJsonObject& root)
{
    QJsonObject connection;
    if (!root.contains(QLatin1String("connection")))
        return fail("connection", "missing");
    if (!asObject(root.value(QLatin1String("connection")), "connection", connection)
        || !onlyMembers(connection, "connection", {"host", "port"}))
        return false;
    long long port = 0;
    if (!stringMember(connection, "connection", "host", true, m_out.host)
        || !asInteger(connection, "connection", "port", true, 1, 65535, port))
        return false;
    if (m_out.host.empty())
        return fail("connection.host", "expected a host name");
    m_out.port = static_cast<unsigned short>(port);
    return true;
}

bool Loader::loadFailingQueries(const QJsonObject& root)
{
    QJsonArray list;
    if (!arrayMember(root, std::string(), "failingQueries", list))
        return false;
    for (qsizetype i = 0; i < list.size(); ++i) {
        const QJsonValue value = list.at(i);
        if (value == QJsonValue(QLatin1String("outputs")))
            m_out.outputsFail = true;
        else if (value == QJsonValue(QLatin1String("books")))
            m_out.booksFail = true;
        else
            return fail(element("failingQueries", i), "expected \"outputs\" or \"books\"");
    }
    return true;
}

bool Loader::loadDatabase(const QJsonValue& value, const std::string& path, int kind)
{
    QJsonObject object;
    const char* listName = kind == KXDBKIND_OUTPUT ? "jobs" : "books";
    if (!asObject(value, path, object) || !onlyMembers(object, path, {"name", "key", "id", listName}))
        return false;
    std::string name;
    KXKEY_ELEMENT dbKey{0, 0};
    long long id = 0;
    if (!stringMember(object, path, "name", true, name) || !keyMember(object, path, "key", true, dbKey)
        || !asInteger(object, path, "id", true, 1, INT_MAX, id))
        return false;
    const auto usedKey = m_keys.find({dbKey.key, dbKey.hkey});
    if (usedKey != m_keys.end())
        return fail(member(path, "key"), "key " + keyText(dbKey) + " is already used by " + usedKey->second);
    const auto usedId = m_ids.find(id);
    if (usedId != m_ids.end())
        return fail(member(path, "id"), "id " + std::to_string(id) + " is already used by " + usedId->second);
    m_keys[{dbKey.key, dbKey.hkey}] = path;
    m_ids[id] = path;

    KXCommServerPrivate::Database database;
    database.entry = static_cast<KXDBENTRY*>(std::calloc(1, sizeof(KXDBENTRY)));
    database.entry->key = dbKey;
    database.entry->name = kxhost::copyString(name.c_str());
    database.entry->id = static_cast<int>(id);
    database.entry->kind = kind;
    // Owned by the connection data from here on, so that a failure below frees it.
    std::vector<KXCommServerPrivate::Database>& databases
        = kind == KXDBKIND_OUTPUT ? m_out.outputs : m_out.bookDatabases;
    databases.push_back(database);
    const std::size_t index = databases.size() - 1;

    QJsonArray list;
    if (!arrayMember(object, path, listName, list))
        return false;
    // Records are appended at the last one loaded, not at the end found from the head,
    // so that a database of n records loads in O(n).
    KXJOB* lastJob = nullptr;
    KXBOOK* lastBook = nullptr;
    for (qsizetype i = 0; i < list.size(); ++i) {
        const std::string itemPath = element(member(path, listName), i);
        if (kind == KXDBKIND_OUTPUT) {
            KXJOB* record = nullptr;
            const bool ok = loadJob(list.at(i), itemPath, *databases[index].entry, record);
            AddListList(lastJob ? lastJob->next : databases[index].jobs, record);
            if (record)
                lastJob = record;
            if (!ok)
                return false;
        } else {
            KXBOOK* record = nullptr;
            const bool ok = loadBook(list.at(i), itemPath, *databases[index].entry, record);
            AddListList(lastBook ? lastBook->next : databases[index].books, record);
            if (record)
                lastBook = record;
            if (!ok)
                return false;
        }
    }
    return true;
}

bool Loader::loadJob(const QJsonValue& value, const std::string& path, const KXDBENTRY& database, KXJOB*& record)
{
    QJsonObject object;
    if (!asObject(value, path, object)
        || !onlyMembers(object, path, {"name", "page", "key", "queue", "publication", "colours",
                                       "comments", "sections", "history", "profile"}))
        return false;
    record = static_cast<KXJOB*>(std::calloc(1, sizeof(KXJOB)));
    record->dbKey = database.key;
    record->queue = KXQUEUE_ACTIVE;

    std::string text;
    long long number = 0;
    if (!stringMember(object, path, "name", true, text))
        return false;
    record->name = kxhost::copyString(text.c_str());
    if (!asInteger(object, path, "page", true, SHRT_MIN, SHRT_MAX, number))
        return false;
    record->pageNumber = static_cast<int>(number);
    if (!keyMember(object, path, "key", true, record->key))
        return false;
    bool present = false;
    if (!asInteger(object, path, "queue", false, INT_MIN, INT_MAX, number, &present))
        return false;
    if (present)
        record->queue = static_cast<int>(number);

    if (object.contains(QLatin1String("publication"))) {
        const std::string publicationPath = member(path, "publication");
        QJsonObject publication;
        if (!asObject(object.value(QLatin1String("publication")), publicationPath, publication)
            || !onlyMembers(publication, publicationPath, {"name", "number"})
            || !stringMember(publication, publicationPath, "name", true, text)
            || !asInteger(publication, publicationPath, "number", true, 0, INT_MAX, number))
            return false;
        record->publicationName = kxhost::copyString(text.c_str());
        record->publicationNumber = static_cast<unsigned int>(number);
    }

    QJsonArray list;
    if (!arrayMember(object, path, "colours", list))
        return false;
    if (!list.isEmpty()) {
        record->colours = static_cast<unsigned char*>(std::calloc(static_cast<std::size_t>(list.size()), 1));
        for (qsizetype i = 0; i < list.size(); ++i) {
            if (!asInteger(list.at(i), element(member(path, "colours"), i), 0, 255, number))
                return false;
            record->colours[record->colourCount++] = static_cast<unsigned char>(number);
        }
    }
    if (!arrayMember(object, path, "comments", list))
        return false;
    if (!list.isEmpty()) {
        record->comments = static_cast<char**>(std::calloc(static_cast<std::size_t>(list.size()), sizeof(char*)));
        for (qsizetype i = 0; i < list.size(); ++i) {
            if (!asText(list.at(i), element(member(path, "comments"), i), true, text))
                return false;
            record->comments[record->commentCount++] = kxhost::copyString(text.c_str());
        }
    }
    if (!loadSections(object, path, "sections", record->sections) || !loadSections(object, path, "history", record->history))
        return false;
    if (!stringMember(object, path, "profile", false, text, &present))
        return false;
    if (present)
        record->profileName = kxhost::copyString(text.c_str());
    return true;
}

bool Loader::loadSections(const QJsonObject& object, const std::string& path, const char* name, KXSECTION*& out)
{
    QJsonArray list;
    if (!arrayMember(object, path, name, list))
        return false;
    KXSECTION** tail = &out;
    for (qsizetype i = 0; i < list.size(); ++i) {
        const std::string sectionPath = element(member(path, name), i);
        QJsonObject section;
        if (!asObject(list.at(i), sectionPath, section)
            || !onlyMembers(section, sectionPath, {"title", "firstPage", "pages"}))
            return false;
        auto* record = static_cast<KXSECTION*>(std::calloc(1, sizeof(KXSECTION)));
        *tail = record;
        tail = &record->next;
        std::string title;
        long long firstPage = 0;
        long long pages = 0;
        if (!stringMember(section, sectionPath, "title", true, title)
            || !asInteger(section, sectionPath, "firstPage", true, INT_MIN, INT_MAX, firstPage)
            || !asInteger(section, sectionPath, "pages", true, SHRT_MIN, SHRT_MAX, pages))
            return false;
        record->title = kxhost::copyString(title.c_str());
        record->firstPage = static_cast<int>(firstPage);
        record->pageCount = static_cast<int>(pages);
    }
    return true;
}

bool Loader::loadBook(const QJsonValue& value, const std::string& path, const KXDBENTRY& database, KXBOOK*& record)
{
    QJsonObject object;
    if (!asObject(value, path, object) || !onlyMembers(object, path, {"name", "pages", "profile"}))
        return false;
    record = static_cast<KXBOOK*>(std::calloc(1, sizeof(KXBOOK)));
    record->dbKey = database.key;
    std::string text;
    if (!stringMember(object, path, "name", true, text))
        return false;
    record->name = kxhost::copyString(text.c_str());
    QJsonArray list;
    if (!arrayMember(object, path, "pages", list))
        return false;
    if (!list.isEmpty()) {
        record->pages = static_cast<unsigned int*>(std::calloc(static_cast<std::size_t>(list.size()), sizeof(unsigned int)));
        for (qsizetype i = 0; i < list.size(); ++i) {
            long long number = 0;
            if (!asInteger(list.at(i), element(member(path, "pages"), i), 0, UINT_MAX, number))
                return false;
            record->pages[record->pageCount++] = static_cast<unsigned int>(number);
        }
    }
    bool present = false;
    if (!stringMember(object, path, "profile", false, text, &present))
        return false;
    if (present)
        record->profileName = kxhost::copyString(text.c_str());
    return true;
}

bool Loader::loadProfile(const QJsonValue& value, const std::string& path)
{
    QJsonObject object;
    std::string name;
    std::string data;
    if (!asObject(value, path, object) || !onlyMembers(object, path, {"name", "data"})
        || !stringMember(object, path, "name", true, name) || !stringMember(object, path, "data", true, data))
        return false;
    const auto used = m_profiles.find(name);
    if (used != m_profiles.end())
        return fail(member(path, "name"), "profile \"" + name + "\" is already defined by " + used->second);
    if (data.size() % 2 != 0)
        return fail(member(path, "data"), "expected pairs of hexadecimal digits");
    std::vector<unsigned char> bytes;
    bytes.reserve(data.size() / 2);
    for (std::size_t i = 0; i < data.size(); i += 2) {
        unsigned int byte = 0;
        if (!parseHex(QString::fromStdString(data.substr(i, 2)), byte))
            return fail(member(path, "data"), "expected pairs of hexadecimal digits");
        bytes.push_back(static_cast<unsigned char>(byte));
    }
    m_profiles[name] = path;
    m_out.profiles.emplace_back(name, std::move(bytes));
    return true;
}

bool Loader::loadArchiveEntry(const QJsonValue& value, const std::string& path, ArchiveNode& parent)
{
    QJsonObject object;
    if (!asObject(value, path, object)
        || !onlyMembers(object, path, {"type", "name", "key", "text", "children"}))
        return false;
    const QJsonValue typeValue = object.value(QLatin1String("type"));
    unsigned int type = 0;
    if (typeValue.isUndefined())
        return fail(member(path, "type"), "missing");
    if (!typeValue.isString() || !parseHex(typeValue.toString(), type))
        return fail(member(path, "type"), "expected a data type in hexadecimal");
    std::unique_ptr<KXPacketable> packet(PacketableUtil::getPacketable(static_cast<PACKETDATATYPES>(type)));
    if (!packet)
        return fail(member(path, "type"), "data type " + typeValue.toString().toStdString() + " has no packet class");

    const QJsonValue textValue = object.value(QLatin1String("text"));
    if (type == PDT_OPAQUE) {
        if (!textValue.isUndefined())
            return fail(member(path, "text"), "data type 6 has no text form");
    } else {
        if (textValue.isUndefined())
            return fail(member(path, "text"), "missing");
        std::string text;
        if (!asText(textValue, member(path, "text"), false, text))
            return false;
        if (!packet->fromPacket(text.data(), static_cast<unsigned int>(text.size()), false, true))
            return fail(member(path, "text"), packet->lastError());
    }
    std::string name;
    bool present = false;
    if (!stringMember(object, path, "name", false, name, &present))
        return false;
    if (present)
        packet->setName(name.c_str());
    if (!keyMember(object, path, "key", false, packet->key))
        return false;

    ArchiveNode* node = parent.appendChild(new ArchiveNode(packet.release()));
    m_nodePaths[node] = path;
    QJsonArray children;
    if (!arrayMember(object, path, "children", children))
        return false;
    for (qsizetype i = 0; i < children.size(); ++i) {
        if (!loadArchiveEntry(children.at(i), element(member(path, "children"), i), *node))
            return false;
    }
    return true;
}

bool Loader::checkCycles()
{
    // Every node with the nodes its references designate (as findNode resolves them).
    std::vector<const ArchiveNode*> nodes;
    std::map<const ArchiveNode*, std::size_t> indexOf;
    std::vector<const ArchiveNode*> pending{m_out.archive.get()};
    while (!pending.empty()) {
        const ArchiveNode* node = pending.back();
        pending.pop_back();
        if (node->getPacket()) {
            indexOf[node] = nodes.size();
            nodes.push_back(node);
        }
        for (std::size_t i = node->getChildCount(); i > 0; --i)
            pending.push_back(node->getChild(i - 1));
    }
    std::vector<std::vector<std::size_t>> edges(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        KXDB_REFERENCE* references = nodes[i]->getPacket()->getReferences();
        for (const KXDB_REFERENCE* reference = references; reference; reference = reference->next) {
            if (const ArchiveNode* target = nodes[i]->findNode(reference))
                edges[i].push_back(indexOf[target]);
        }
        KXFreeReferences(references);
    }

    // Depth-first search without recursion; a reference back to a node on the current path
    // closes a cycle.
    enum { Unvisited, OnPath, Done };
    std::vector<int> state(nodes.size(), Unvisited);
    for (std::size_t start = 0; start < nodes.size(); ++start) {
        if (state[start] != Unvisited)
            continue;
        std::vector<std::pair<std::size_t, std::size_t>> path{{start, 0}}; // node, next edge
        state[start] = OnPath;
        while (!path.empty()) {
            auto& [node, next] = path.back();
            if (next == edges[node].size()) {
                state[node] = Done;
                path.pop_back();
                continue;
            }
            const std::size_t target = edges[node][next++];
            if (state[target] == Unvisited) {
                state[target] = OnPath;
                path.push_back({target, 0});
            } else if (state[target] == OnPath) {
                std::string cycle;
                bool onCycle = false;
                for (const auto& step : path) {
                    onCycle = onCycle || step.first == target;
                    if (onCycle)
                        cycle += describe(*nodes[step.first]->getPacket(), m_nodePaths[nodes[step.first]]) + " -> ";
                }
                cycle += describe(*nodes[target]->getPacket(), m_nodePaths[nodes[target]]);
                return fail("archive", "references form a cycle: " + cycle);
            }
        }
    }
    return true;
}

} // namespace

namespace kxhost {

bool loadDataset(const std::string& json, KXCommServerPrivate& out, std::string& error)
{
    const QByteArray bytes = QByteArray::fromStdString(json);
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        int line = 1;
        int column = 1;
        for (int i = 0; i < parseError.offset && i < bytes.size(); ++i) {
            if (bytes[i] == '\n') {
                ++line;
                column = 1;
            } else {
                ++column;
            }
        }
        error = "line " + std::to_string(line) + ", column " + std::to_string(column)
                + ": not valid JSON: " + parseError.errorString().toStdString();
        return false;
    }
    if (!document.isObject()) {
        error = "expected a JSON object at the top level";
        return false;
    }
    Loader loader(out);
    if (!loader.load(document.object())) {
        error = loader.error;
        return false;
    }
    return true;
}

} // namespace kxhost
