#pragma once

// Internal to the host stand-in: how its entry points write to the CallJournal. Not installed.

#include <kxhost/calljournal.h>
#include <kxhost/kxrecords.h>
#include <kxhost/kxtypes.h>

#include <atomic>
#include <string>
#include <utility>
#include <vector>

class KXPacketable;

namespace kxhost {

/// Set while the journal records; read by every entry point.
extern std::atomic<bool> journalRecording;

/// Records one call into the host, when the journal is on and the call does not come from
/// inside another recorded call; marks the calls made while it lives as inside. The arguments
/// are formatted only when the call is recorded.
class JournalScope
{
public:
    /// A call of @p operation on @p receiver (null for a plain function or a static member),
    /// whose arguments @p arguments() gives as text.
    template <typename Arguments>
    JournalScope(const KXPacketable* receiver, const char* operation, Arguments arguments)
    {
        if (!journalRecording.load(std::memory_order_relaxed))
            return;
        enter(receiver, operation, arguments());
    }
    /// A call with no arguments.
    JournalScope(const KXPacketable* receiver, const char* operation)
        : JournalScope(receiver, operation, [] { return std::vector<std::string>(); })
    {
    }
    ~JournalScope();

    JournalScope(const JournalScope&) = delete;
    JournalScope& operator=(const JournalScope&) = delete;

    /// Tag of the quiet scope.
    struct Quiet
    {
    };
    /// A scope that records nothing and hides the calls made inside it: for the stand-in's
    /// own use of its entry points where no recorded call encloses it (constructors,
    /// destructors, loading a dataset).
    explicit JournalScope(Quiet);

private:
    void enter(const KXPacketable* receiver, const char* operation, std::vector<std::string> arguments);

    bool m_entered = false;
};

/// @name Argument text
/// @{
std::string journalText(int value);
std::string journalText(unsigned int value);
std::string journalText(bool value);
std::string journalText(const KXKEY_ELEMENT& key);
std::string journalText(const char* text); ///< the text, or "null"
std::string journalText(const std::string& text);
std::string journalText(const KXDBENTRY* record); ///< the record's name, or "null"
std::string journalText(const KXJOB* record);
std::string journalText(const KXBOOK* record);
std::string journalText(const KXDB_REFERENCE* reference); ///< "key:hkey name", or "null"
std::string journalText(const KXPacketable* packet);       ///< as a receiver: its name, or "<type>"
/// @}

/// The texts of @p values, in order.
template <typename... Values>
std::vector<std::string> journalArguments(const Values&... values)
{
    return {journalText(values)...};
}

} // namespace kxhost
