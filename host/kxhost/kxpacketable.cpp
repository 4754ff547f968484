#include <kxhost/kxpacketable.h>

#include "journalscope_p.h"

#include "kxitem_p.h"
#include "kxrecords_p.h"

#include <kxhost/kxkey_cc.h>
#include <kxhost/kxlib.h>

#include <cstdlib>
#include <cstring>

using kxhost::Item;
using kxhost::Value;
using kxhost::ValueKind;

KXPacketable::KXPacketable(PACKETDATATYPES type)
    : datatype(type)
    , key(KXKEY_ELEMENT{0, 0})
    , name(nullptr)
    , m_item(new Item)
{
    m_item->storageClass = type;
}

KXPacketable::KXPacketable(const KXPacketable& other)
    : datatype(other.datatype)
    , key(other.key)
    , name(kxhost::copyString(other.name))
    , m_item(new Item(*other.m_item))
{
}

KXPacketable::~KXPacketable()
{
    std::free(name);
}

KXPacketable& KXPacketable::operator=(const KXPacketable& other)
{
    const kxhost::JournalScope journal(this, "operator=", [&] { return kxhost::journalArguments(&other); });
    if (this != &other)
        copyFrom(other);
    return *this;
}

char* KXPacketable::toPacket(unsigned int& length) const
{
    const kxhost::JournalScope journal(this, "toPacket", [&] { return kxhost::journalArguments(length); });
    length = 0;
    m_lastError.clear();
    if (datatype == PDT_OPAQUE || !KXGetSystemStorageClassConv(datatype)) {
        m_lastError = "data type " + std::to_string(static_cast<unsigned int>(datatype)) + " has no text form";
        return nullptr;
    }
    // A packet whose data type was changed after its elements were set writes an empty item.
    Item empty;
    empty.storageClass = datatype;
    std::string text;
    if (!kxhost::writeText(m_item->storageClass == datatype ? *m_item : empty, text, m_lastError))
        return nullptr;
    char* buffer = static_cast<char*>(std::malloc(text.size() + 1));
    std::memcpy(buffer, text.data(), text.size());
    buffer[text.size()] = '\0';
    length = static_cast<unsigned int>(text.size());
    return buffer;
}

bool KXPacketable::fromPacket(char* text, unsigned int length, bool first, bool second)
{
    const kxhost::JournalScope journal(this, "fromPacket", [&] { return kxhost::journalArguments(length, first, second); });
    m_lastError.clear();
    if (datatype == PDT_OPAQUE || !KXGetSystemStorageClassConv(datatype)) {
        m_lastError = "data type " + std::to_string(static_cast<unsigned int>(datatype)) + " has no text form";
        return false;
    }
    Item parsed;
    if (!kxhost::parseText(text, length, datatype, parsed, m_lastError))
        return false;
    *m_item = std::move(parsed);
    packetParsed();
    return true;
}

const char* KXPacketable::lastError() const
{
    return m_lastError.c_str();
}

void KXPacketable::setName(const char* newName)
{
    const kxhost::JournalScope journal(this, "setName", [&] { return kxhost::journalArguments(newName); });
    char* copy = kxhost::copyString(newName);
    std::free(name);
    name = copy;
}

void KXPacketable::setData(unsigned char* data)
{
    const kxhost::JournalScope journal(this, "setData", [&] { return kxhost::journalArguments(data ? "record" : "null"); });
    // Generic packets hold no record; the caller keeps what it passed (deliberate).
}

KXDB_REFERENCE* KXPacketable::getReferences() const
{
    const kxhost::JournalScope journal(this, "getReferences");
    KXDB_REFERENCE* head = nullptr;
    KXDB_REFERENCE** tail = &head;
    for (const Value& value : m_item->values) {
        if (value.code != KXET_KEYREF && value.code != KXET_NAMEREF)
            continue;
        auto* reference = static_cast<KXDB_REFERENCE*>(std::calloc(1, sizeof(KXDB_REFERENCE)));
        if (value.code == KXET_KEYREF)
            reference->key = value.key;
        else
            reference->name = kxhost::copyString(value.text.c_str());
        *tail = reference;
        tail = &reference->next;
    }
    return head;
}

bool KXPacketable::hasElement(unsigned int tag) const
{
    return m_item->find(tag) != nullptr;
}

const char* KXPacketable::getText(unsigned int tag) const
{
    const Value* value = m_item->find(tag);
    if (!value || kxhost::valueRule(value->code, value->width).kind != ValueKind::Text)
        return nullptr;
    return value->text.c_str();
}

bool KXPacketable::getInteger(unsigned int tag, long long& result) const
{
    const Value* value = m_item->find(tag);
    if (!value)
        return false;
    switch (kxhost::valueRule(value->code, value->width).kind) {
    case ValueKind::Signed:
        result = value->signedValue;
        return true;
    case ValueKind::Unsigned:
        result = static_cast<long long>(value->unsignedValue);
        return true;
    default:
        return false;
    }
}

void KXPacketable::copyFrom(const KXPacketable& other)
{
    datatype = other.datatype;
    key = other.key;
    setName(other.name);
    *m_item = *other.m_item;
    m_lastError.clear();
}

void KXPacketable::packetParsed()
{
}

Item& KXPacketable::item()
{
    return *m_item;
}

const Item& KXPacketable::item() const
{
    return *m_item;
}
