#pragma once

#include <kxhost/kxhost_export.h>
#include <kxhost/kxtypes.h>

/// Operations on database keys.
class KXHOST_EXPORT KXKEY_CC
{
public:
    /// The null key {0, 0}.
    static KXKEY_ELEMENT getNullKey();
    /// True when the key designates a record: both words are non-zero.
    static bool isValid(const KXKEY_ELEMENT& key);
    /// True when both words are equal.
    static bool isEqual(const KXKEY_ELEMENT& a, const KXKEY_ELEMENT& b);
};
