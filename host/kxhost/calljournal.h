#pragma once

#include <kxhost/kxhost_export.h>

#include <string>
#include <vector>

namespace kxhost {

/// An opt-in record of the calls made into the host libraries, in the order they are made,
/// so that tests can tell what a real host library would see: the operation, the packet it
/// was called on, and its arguments.
///
/// Off by default; while off, an entry point pays one relaxed atomic load. Only calls from
/// outside the stand-in are recorded: a host operation that another one uses on the inside
/// (fromPacket asking for a conversion table, say) is left out. Constructors and destructors
/// are not recorded. The journal is one for the process; record from one thread at a time.
class KXHOST_EXPORT CallJournal
{
public:
    /// One recorded call.
    struct Entry
    {
        std::string receiver;               ///< the packet called on (its name, or "<type>" in hex); empty for the rest
        std::string operation;              ///< "toPacket", "getJobqueue", "KX_free", ...
        std::vector<std::string> arguments; ///< as passed: numbers in decimal, keys as "key:hkey" in hex,
                                            ///< records and texts by name, null pointers as "null"

        /// "receiver.operation(a, b)", or "operation(a, b)" without a receiver.
        std::string text() const;
    };

    /// Forgets what was recorded and starts recording.
    static void start();
    /// Stops recording; what was recorded stays until the next start().
    static void stop();
    /// Whether calls are being recorded.
    static bool isRecording();
    /// The calls recorded since the last start(), in order.
    static std::vector<Entry> entries();

    CallJournal() = delete;
};

} // namespace kxhost
