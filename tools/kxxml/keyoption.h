#pragma once

#include <kxxml/packetable/hostlib.h>

#include <QString>

/// A database key given on the command line as `KEY:HKEY`, both words in hexadecimal.
class KeyOption
{
public:
    /// Reads @p text into @p key; false (key untouched) unless it is two hexadecimal words,
    /// each fitting 32 bits, separated by one colon.
    static bool parse(const QString& text, KXKEY_ELEMENT& key);
    /// @p key as `key:hkey` in lower-case hexadecimal, the way datasets write keys.
    static QString text(const KXKEY_ELEMENT& key);
};
