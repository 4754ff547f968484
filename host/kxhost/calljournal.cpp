#include <kxhost/calljournal.h>

#include "journalscope_p.h"

#include <kxhost/kxpacketable.h>

#include <cstdio>
#include <mutex>

namespace kxhost {

std::atomic<bool> journalRecording{false};

namespace {

std::mutex& journalMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::vector<CallJournal::Entry>& journal()
{
    static std::vector<CallJournal::Entry> entries;
    return entries;
}

// Depth of recorded (or quiet) calls on this thread: only the outermost is recorded.
thread_local int t_depth = 0;

std::string receiverText(const KXPacketable& packet)
{
    if (packet.name)
        return packet.name;
    char type[16];
    std::snprintf(type, sizeof type, "<%x>", static_cast<unsigned int>(packet.datatype));
    return type;
}

template <typename Record>
std::string recordName(const Record* record)
{
    return record ? journalText(record->name) : std::string("null");
}

} // namespace

JournalScope::~JournalScope()
{
    if (m_entered)
        --t_depth;
}

JournalScope::JournalScope(Quiet)
    : m_entered(true)
{
    ++t_depth;
}

void JournalScope::enter(const KXPacketable* receiver, const char* operation, std::vector<std::string> arguments)
{
    m_entered = true;
    if (t_depth++ != 0)
        return;
    CallJournal::Entry entry{receiver ? receiverText(*receiver) : std::string(), operation, std::move(arguments)};
    const std::lock_guard<std::mutex> lock(journalMutex());
    journal().push_back(std::move(entry));
}

std::string journalText(int value)
{
    return std::to_string(value);
}

std::string journalText(unsigned int value)
{
    return std::to_string(value);
}

std::string journalText(bool value)
{
    return value ? "true" : "false";
}

std::string journalText(const KXKEY_ELEMENT& key)
{
    char text[32];
    std::snprintf(text, sizeof text, "%x:%x", key.key, key.hkey);
    return text;
}

std::string journalText(const char* text)
{
    return text ? std::string(text) : std::string("null");
}

std::string journalText(const std::string& text)
{
    return text;
}

std::string journalText(const KXDBENTRY* record)
{
    return recordName(record);
}

std::string journalText(const KXJOB* record)
{
    return recordName(record);
}

std::string journalText(const KXBOOK* record)
{
    return recordName(record);
}

std::string journalText(const KXDB_REFERENCE* reference)
{
    return reference ? journalText(reference->key) + ' ' + journalText(reference->name) : std::string("null");
}

std::string journalText(const KXPacketable* packet)
{
    return packet ? receiverText(*packet) : std::string("null");
}

std::string CallJournal::Entry::text() const
{
    std::string result = receiver.empty() ? operation : receiver + '.' + operation;
    result += '(';
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (i != 0)
            result += ", ";
        result += arguments[i];
    }
    result += ')';
    return result;
}

void CallJournal::start()
{
    const std::lock_guard<std::mutex> lock(journalMutex());
    journal().clear();
    journalRecording.store(true, std::memory_order_relaxed);
}

void CallJournal::stop()
{
    journalRecording.store(false, std::memory_order_relaxed);
}

bool CallJournal::isRecording()
{
    return journalRecording.load(std::memory_order_relaxed);
}

std::vector<CallJournal::Entry> CallJournal::entries()
{
    const std::lock_guard<std::mutex> lock(journalMutex());
    return journal();
}

} // namespace kxhost
