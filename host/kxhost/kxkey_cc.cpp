#include <kxhost/kxkey_cc.h>

#include "journalscope_p.h"

KXKEY_ELEMENT KXKEY_CC::getNullKey()
{
    const kxhost::JournalScope journal(nullptr, "getNullKey");
    return KXKEY_ELEMENT{0, 0};
}

bool KXKEY_CC::isValid(const KXKEY_ELEMENT& key)
{
    const kxhost::JournalScope journal(nullptr, "isValid", [&] { return kxhost::journalArguments(key); });
    return key.key != 0 && key.hkey != 0;
}

bool KXKEY_CC::isEqual(const KXKEY_ELEMENT& a, const KXKEY_ELEMENT& b)
{
    const kxhost::JournalScope journal(nullptr, "isEqual", [&] { return kxhost::journalArguments(a, b); });
    return a.key == b.key && a.hkey == b.hkey;
}
