#include <kxhost/kxkey_cc.h>

KXKEY_ELEMENT KXKEY_CC::getNullKey()
{
    return KXKEY_ELEMENT{0, 0};
}

bool KXKEY_CC::isValid(const KXKEY_ELEMENT& key)
{
    return key.key != 0 && key.hkey != 0;
}

bool KXKEY_CC::isEqual(const KXKEY_ELEMENT& a, const KXKEY_ELEMENT& b)
{
    return a.key == b.key && a.hkey == b.hkey;
}
