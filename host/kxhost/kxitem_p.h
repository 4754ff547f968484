#pragma once
// The data model behind a packet: an item of typed values and lists of nested items, and the
// one codec that writes and parses the text form. Not installed.

#include <kxhost/kxtypes.h>

#include <cstddef>
#include <string>
#include <vector>

namespace kxhost {

/// How a value of an element type code is stored and written.
enum class ValueKind {
    Text,          // the text as it stands
    Signed,        // decimal, within [minimum, maximum]
    Unsigned,      // decimal, up to maximum
    Word,          // one hexadecimal 32-bit word
    Key,           // two hexadecimal words
    SignedArray,   // count (hex), decimal entries within [minimum, maximum]
    UnsignedArray, // count (hex), decimal entries up to maximum
    StringArray,   // count (hex), strings separated by carriage returns
    Binary         // byte count (hex), upper-case hex pairs
};

struct ValueRule
{
    ValueKind kind;
    long long minimum;
    unsigned long long maximum;
    unsigned int width; // bytes, 0 when variable
};

/// The rule for a type code (and the row's width for codes 13 and 16).
ValueRule valueRule(unsigned int code, unsigned int width);

/// The row of @p storageClass's table with data tag @p tag, and its index; null when none.
const CONVERTSTRUCTELEMENTINFO* findRow(unsigned int storageClass, unsigned int tag,
                                        std::size_t* index = nullptr);

struct Value
{
    unsigned int tag = 0;
    unsigned int code = 0;
    unsigned int width = 0;
    std::size_t row = 0; // index in the table, for table order
    std::string text;
    long long signedValue = 0;
    unsigned long long unsignedValue = 0;
    KXKEY_ELEMENT key{0, 0};
    std::vector<long long> signedArray;
    std::vector<unsigned long long> unsignedArray;
    std::vector<std::string> strings;
    std::vector<unsigned char> bytes;
};

struct List;

struct Item
{
    unsigned int storageClass = 0;
    std::vector<Value> values; // in table order
    std::vector<List> lists;

    const Value* find(unsigned int tag) const;
    /// The value of @p tag, created empty in table order when missing; null when the tag is
    /// not in the class's table.
    Value* set(unsigned int tag);
    void clear(unsigned int newClass);
};

struct List
{
    std::vector<Item> items;
};

/// Parses @p length bytes of text form whose outer item must be of @p storageClass.
bool parseText(const char* text, std::size_t length, unsigned int storageClass, Item& out,
               std::string& error);

/// Writes @p item as text form; false (with the reason) when a value cannot be written.
bool writeText(const Item& item, std::string& out, std::string& error);

/// Sets a text value; returns false when the tag is not in the table.
bool setText(Item& item, unsigned int tag, const char* text);
bool setSigned(Item& item, unsigned int tag, long long value);
bool setKey(Item& item, unsigned int tag, const KXKEY_ELEMENT& key);

} // namespace kxhost
