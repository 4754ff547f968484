#include "kxitem_p.h"

#include "journalscope_p.h"

#include <kxhost/kxlib.h>
#include <kxhost/kxpacketable.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kxhost {

namespace {

struct Row
{
    unsigned int tag;
    unsigned int type;
    unsigned int width; // for codes 13 and 16
};

const Row sectionRows[] = {{0x1, 1, 0}, {0x2, 13, 4}, {0x3, 13, 2}, {0x4, 22, 0}};
const Row dbentryRows[] = {{0x1, 1, 0}, {0x2, 13, 1}, {0x3, 13, 4}};
const Row jobRows[] = {{0x1, 1, 0},   {0x2, 9, 0},   {0x3, 13, 4},  {0x4, 13, 2},  {0x5, 14, 0},
                       {0x6, 16, 1},  {0x7, 16, 2},  {0x8, 16, 4},  {0x9, 16, 8},  {0xa, 22, 0},
                       {0xb, 23, 0},  {0xc, 10, 0},  {0xd, 26, 0},  {0xe, 20, 0},  {0xf, 21, 0},
                       {0x10, 2, 0},  {0x11, 3, 0},  {0x12, 9, 0},  {0x13, 48, 0}};
const Row letterRows[] = {{0x10, 1, 0},  {0x11, 14, 0}, {0x12, 15, 0}, {0x13, 22, 0},
                          {0x14, 23, 0}, {0x15, 24, 0}, {0x16, 25, 0}, {0x17, 27, 0},
                          {0x18, 28, 0}, {0x19, 30, 0}, {0x1a, 40, 0}, {0x1b, 9, 0},
                          {0x1c, 13, 8}, {0x1d, 31, 0}};
const Row profileRows[] = {{0x1, 1, 0}, {0x2, 23, 0}, {0x3, 11, 0}};
const Row bookRows[] = {{0x1, 1, 0}, {0x2, 15, 0}, {0x3, 14, 0}, {0x4, 9, 0}};

// A table with its rows laid out as the host stores them: fixed-width values at their natural
// alignment, variable-length values as a pointer and a length (16 bytes).
struct Table
{
    std::vector<CONVERTSTRUCTELEMENTINFO> rows;

    template<std::size_t N>
    explicit Table(const Row (&source)[N])
    {
        unsigned int offset = 0;
        for (const Row& row : source) {
            const ValueRule rule = valueRule(row.type, row.width);
            const unsigned int size = rule.width ? rule.width : 16;
            const unsigned int align = rule.width ? rule.width : 8;
            // Codes 13 and 16 carry their own width (for 16 the width of each entry).
            const unsigned int width = row.type == 13 || row.type == 16 ? row.width : rule.width;
            offset = (offset + align - 1) / align * align;
            rows.push_back({row.type, row.tag, offset, rule.width ? 1u : 0u, width});
            offset += size;
        }
        rows.push_back({0, 0, 0, 0, 0});
    }
};

std::string hex(unsigned long long value, int minDigits = 1)
{
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%0*llX", minDigits, value);
    return buffer;
}

std::string tagText(unsigned int tag)
{
    return hex(tag, 2);
}

// ---- number text ----

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool parseHexWord(const std::string& text, unsigned int& out)
{
    if (text.empty())
        return false;
    unsigned long long value = 0;
    for (char c : text) {
        const int digit = hexDigit(c);
        if (digit < 0)
            return false;
        value = value * 16 + static_cast<unsigned int>(digit);
        if (value > UINT_MAX)
            return false;
    }
    out = static_cast<unsigned int>(value);
    return true;
}

bool parseUnsigned(const std::string& text, unsigned long long maximum, unsigned long long& out)
{
    if (text.empty())
        return false;
    unsigned long long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        const unsigned int digit = static_cast<unsigned int>(c - '0');
        if (value > (maximum - digit) / 10)
            return false;
        value = value * 10 + digit;
    }
    out = value;
    return true;
}

bool parseSigned(const std::string& text, long long minimum, long long maximum, long long& out)
{
    const bool negative = !text.empty() && text[0] == '-';
    unsigned long long magnitude = 0;
    const unsigned long long limit = negative ? 0ULL - static_cast<unsigned long long>(minimum)
                                              : static_cast<unsigned long long>(maximum);
    if (!parseUnsigned(negative ? text.substr(1) : text, limit, magnitude))
        return false;
    out = negative ? static_cast<long long>(0ULL - magnitude) : static_cast<long long>(magnitude);
    return true;
}

std::string rangeText(const ValueRule& rule)
{
    if (rule.kind == ValueKind::Signed || rule.kind == ValueKind::SignedArray)
        return std::to_string(rule.minimum) + " to " + std::to_string(rule.maximum);
    return "0 to " + std::to_string(rule.maximum);
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = text.find(separator, start);
        parts.push_back(text.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos)
            return parts;
        start = end + 1;
    }
}

// Cuts "count rest" of an array value; a count of 0 may stand alone.
bool cutCount(const std::string& value, unsigned int& count, std::string& rest, std::string& error)
{
    const std::size_t blank = value.find(' ');
    if (!parseHexWord(value.substr(0, blank), count)) {
        error = "expected a hexadecimal count";
        return false;
    }
    rest = blank == std::string::npos ? std::string() : value.substr(blank + 1);
    if (blank == std::string::npos && count != 0) {
        error = "count " + hex(count) + " disagrees with 0 entries";
        return false;
    }
    return true;
}

bool parseValue(const std::string& valueText, Value& value, std::string& error)
{
    const ValueRule rule = valueRule(value.code, value.width);
    switch (rule.kind) {
    case ValueKind::Text:
        if (valueText.find('\r') != std::string::npos) {
            error = "carriage return in a text value";
            return false;
        }
        value.text = valueText;
        return true;
    case ValueKind::Signed:
        if (!parseSigned(valueText, rule.minimum, static_cast<long long>(rule.maximum),
                         value.signedValue)) {
            error = "expected a decimal integer from " + rangeText(rule) + ", found \"" + valueText + '"';
            return false;
        }
        return true;
    case ValueKind::Unsigned:
        if (!parseUnsigned(valueText, rule.maximum, value.unsignedValue)) {
            error = "expected a decimal integer from " + rangeText(rule) + ", found \"" + valueText + '"';
            return false;
        }
        return true;
    case ValueKind::Word: {
        unsigned int word = 0;
        if (!parseHexWord(valueText, word)) {
            error = "expected one hexadecimal word, found \"" + valueText + '"';
            return false;
        }
        value.unsignedValue = word;
        return true;
    }
    case ValueKind::Key: {
        const std::vector<std::string> words = split(valueText, ' ');
        if (words.size() != 2 || !parseHexWord(words[0], value.key.key)
            || !parseHexWord(words[1], value.key.hkey)) {
            error = "expected a key as two hexadecimal words, found \"" + valueText + '"';
            return false;
        }
        return true;
    }
    case ValueKind::SignedArray:
    case ValueKind::UnsignedArray: {
        unsigned int count = 0;
        std::string rest;
        if (!cutCount(valueText, count, rest, error))
            return false;
        // The entries are counted before anything is allocated, whatever the count claims.
        const std::vector<std::string> entries = rest.empty() ? std::vector<std::string>() : split(rest, ' ');
        if (entries.size() != count) {
            error = "count " + hex(count) + " disagrees with " + std::to_string(entries.size()) + " entries";
            return false;
        }
        for (const std::string& entry : entries) {
            bool ok = false;
            if (rule.kind == ValueKind::SignedArray) {
                long long number = 0;
                ok = parseSigned(entry, rule.minimum, static_cast<long long>(rule.maximum), number);
                if (ok)
                    value.signedArray.push_back(number);
            } else {
                unsigned long long number = 0;
                ok = parseUnsigned(entry, rule.maximum, number);
                if (ok)
                    value.unsignedArray.push_back(number);
            }
            if (!ok) {
                error = "entry \"" + entry + "\" is not a decimal integer from " + rangeText(rule);
                return false;
            }
        }
        return true;
    }
    case ValueKind::StringArray: {
        unsigned int count = 0;
        std::string rest;
        if (!cutCount(valueText, count, rest, error))
            return false;
        std::vector<std::string> strings;
        if (count != 0 || !rest.empty())
            strings = split(rest, '\r');
        if (strings.size() != count) {
            error = "count " + hex(count) + " disagrees with " + std::to_string(strings.size()) + " strings";
            return false;
        }
        value.strings = std::move(strings);
        return true;
    }
    case ValueKind::Binary: {
        unsigned int count = 0;
        std::string rest;
        if (!cutCount(valueText, count, rest, error))
            return false;
        if (rest.size() % 2 != 0 || rest.size() / 2 != count) {
            error = "byte count " + hex(count) + " disagrees with " + std::to_string(rest.size())
                    + " hexadecimal digits";
            return false;
        }
        value.bytes.reserve(rest.size() / 2);
        for (std::size_t i = 0; i < rest.size(); i += 2) {
            const int high = hexDigit(rest[i]);
            const int low = hexDigit(rest[i + 1]);
            if (high < 0 || low < 0) {
                error = "bad hexadecimal digits \"" + rest.substr(i, 2) + "\" in binary data";
                return false;
            }
            value.bytes.push_back(static_cast<unsigned char>(high * 16 + low));
        }
        return true;
    }
    }
    return false;
}

// A text the writer can put on a line: UTF-8 without control characters (a tab is fine).
bool writableText(const std::string& text, std::string& error)
{
    for (unsigned char c : text) {
        if (c < 0x20 && c != '\t') {
            char buffer[64];
            std::snprintf(buffer, sizeof buffer, "control character U+%04X in a text value", c);
            error = buffer;
            return false;
        }
    }
    return true;
}

bool writeValue(const Value& value, std::string& out, std::string& error)
{
    const ValueRule rule = valueRule(value.code, value.width);
    out += tagText(value.tag);
    out += ' ';
    switch (rule.kind) {
    case ValueKind::Text:
        if (!writableText(value.text, error))
            return false;
        out += value.text;
        break;
    case ValueKind::Signed:
        if (value.signedValue < rule.minimum || value.signedValue > static_cast<long long>(rule.maximum)) {
            error = "value " + std::to_string(value.signedValue) + " does not fit " + rangeText(rule);
            return false;
        }
        out += std::to_string(value.signedValue);
        break;
    case ValueKind::Unsigned:
        if (value.unsignedValue > rule.maximum) {
            error = "value " + std::to_string(value.unsignedValue) + " does not fit " + rangeText(rule);
            return false;
        }
        out += std::to_string(value.unsignedValue);
        break;
    case ValueKind::Word:
        out += hex(value.unsignedValue & 0xffffffffULL);
        break;
    case ValueKind::Key:
        out += hex(value.key.key) + ' ' + hex(value.key.hkey);
        break;
    case ValueKind::SignedArray:
        out += hex(value.signedArray.size()) + ' ';
        for (std::size_t i = 0; i < value.signedArray.size(); ++i) {
            const long long entry = value.signedArray[i];
            if (entry < rule.minimum || entry > static_cast<long long>(rule.maximum)) {
                error = "entry " + std::to_string(entry) + " does not fit " + rangeText(rule);
                return false;
            }
            if (i)
                out += ' ';
            out += std::to_string(entry);
        }
        break;
    case ValueKind::UnsignedArray:
        out += hex(value.unsignedArray.size()) + ' ';
        for (std::size_t i = 0; i < value.unsignedArray.size(); ++i) {
            if (value.unsignedArray[i] > rule.maximum) {
                error = "entry " + std::to_string(value.unsignedArray[i]) + " does not fit " + rangeText(rule);
                return false;
            }
            if (i)
                out += ' ';
            out += std::to_string(value.unsignedArray[i]);
        }
        break;
    case ValueKind::StringArray:
        out += hex(value.strings.size()) + ' ';
        for (std::size_t i = 0; i < value.strings.size(); ++i) {
            if (!writableText(value.strings[i], error))
                return false;
            if (i)
                out += '\r';
            out += value.strings[i];
        }
        break;
    case ValueKind::Binary:
        out += hex(value.bytes.size()) + ' ';
        for (unsigned char byte : value.bytes)
            out += hex(byte, 2);
        break;
    }
    out += '\n';
    return true;
}

bool writeItem(const Item& item, std::string& out, std::string& error, int depth)
{
    if (depth > KXPacketable::MaxNesting) {
        error = "nesting deeper than " + std::to_string(KXPacketable::MaxNesting) + " levels";
        return false;
    }
    out += "SI " + hex(item.storageClass) + '\n';
    for (const Value& value : item.values) {
        if (!writeValue(value, out, error)) {
            error = "tag " + tagText(value.tag) + ": " + error;
            return false;
        }
    }
    for (const List& list : item.lists) {
        out += "SL " + hex(list.items.size()) + '\n';
        for (const Item& child : list.items) {
            if (!writeItem(child, out, error, depth + 2))
                return false;
        }
        out += "TL 0\n";
    }
    out += "TI 0\n";
    return true;
}

// Checks that the text is UTF-8 and free of control characters other than tab, line feed
// and carriage return; reports the line of the first fault.
bool checkCharacters(const char* text, std::size_t length, std::string& error)
{
    int line = 1;
    std::size_t i = 0;
    while (i < length) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == '\n') {
            ++line;
            ++i;
            continue;
        }
        if (c < 0x20 && c != '\t' && c != '\r') {
            char buffer[80];
            std::snprintf(buffer, sizeof buffer, "line %d: control character U+%04X", line, c);
            error = buffer;
            return false;
        }
        if (c < 0x80) {
            ++i;
            continue;
        }
        std::size_t extra = 0;
        unsigned int codePoint = 0;
        if (c >= 0xc2 && c <= 0xdf) {
            extra = 1;
            codePoint = c & 0x1fu;
        } else if (c >= 0xe0 && c <= 0xef) {
            extra = 2;
            codePoint = c & 0x0fu;
        } else if (c >= 0xf0 && c <= 0xf4) {
            extra = 3;
            codePoint = c & 0x07u;
        } else {
            error = "line " + std::to_string(line) + ": text is not valid UTF-8";
            return false;
        }
        for (std::size_t k = 1; k <= extra; ++k) {
            if (i + k >= length || (static_cast<unsigned char>(text[i + k]) & 0xc0u) != 0x80u) {
                error = "line " + std::to_string(line) + ": text is not valid UTF-8";
                return false;
            }
            codePoint = (codePoint << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3fu);
        }
        const unsigned int smallest = extra == 1 ? 0x80u : extra == 2 ? 0x800u : 0x10000u;
        if (codePoint < smallest || codePoint > 0x10ffffu || (codePoint >= 0xd800u && codePoint <= 0xdfffu)) {
            error = "line " + std::to_string(line) + ": text is not valid UTF-8";
            return false;
        }
        i += extra + 1;
    }
    return true;
}

struct Frame
{
    Item* item = nullptr; // an open item, or
    List* list = nullptr; // an open list
    unsigned int declared = 0;
    int line = 0;
};

} // namespace

ValueRule valueRule(unsigned int code, unsigned int width)
{
    switch (code) {
    case 2:
        return {ValueKind::Signed, INT_MIN, INT_MAX, 4};
    case 3:
        return {ValueKind::Unsigned, 0, UINT_MAX, 4};
    case 10:
    case 26:
        return {ValueKind::Word, 0, UINT_MAX, 4};
    case 13:
        switch (width) {
        case 1:
            return {ValueKind::Signed, SCHAR_MIN, SCHAR_MAX, 1};
        case 2:
            return {ValueKind::Signed, SHRT_MIN, SHRT_MAX, 2};
        case 4:
            return {ValueKind::Signed, INT_MIN, INT_MAX, 4};
        default:
            return {ValueKind::Signed, LLONG_MIN, LLONG_MAX, 8};
        }
    case 14:
        return {ValueKind::Key, 0, 0, 8};
    case 15:
        return {ValueKind::UnsignedArray, 0, UINT_MAX, 0};
    case 16:
        switch (width) {
        case 1:
            return {ValueKind::UnsignedArray, 0, UCHAR_MAX, 0};
        case 2:
            return {ValueKind::UnsignedArray, 0, USHRT_MAX, 0};
        case 4:
            return {ValueKind::UnsignedArray, 0, UINT_MAX, 0};
        default:
            return {ValueKind::UnsignedArray, 0, ULLONG_MAX, 0};
        }
    case 20:
    case 21:
    case 28:
        return {ValueKind::Signed, LLONG_MIN, LLONG_MAX, 8};
    case 22:
        return {ValueKind::StringArray, 0, 0, 0};
    case 23:
        return {ValueKind::Binary, 0, 0, 0};
    case 24:
        return {ValueKind::Unsigned, 0, ULLONG_MAX, 8};
    case 27:
        return {ValueKind::SignedArray, INT_MIN, INT_MAX, 0};
    case 30:
        return {ValueKind::SignedArray, LLONG_MIN, LLONG_MAX, 0};
    case 31:
        return {ValueKind::UnsignedArray, 0, ULLONG_MAX, 0};
    default:
        return {ValueKind::Text, 0, 0, 0};
    }
}

const CONVERTSTRUCTELEMENTINFO* findRow(unsigned int storageClass, unsigned int tag, std::size_t* index)
{
    const CONVERTSTRUCTELEMENTINFO* table = KXGetSystemStorageClassConv(storageClass);
    if (!table)
        return nullptr;
    for (std::size_t i = 0; table[i].type != 0; ++i) {
        if (table[i].tag == tag) {
            if (index)
                *index = i;
            return &table[i];
        }
    }
    return nullptr;
}

const Value* Item::find(unsigned int tag) const
{
    for (const Value& value : values) {
        if (value.tag == tag)
            return &value;
    }
    return nullptr;
}

Value* Item::set(unsigned int tag)
{
    std::size_t index = 0;
    const CONVERTSTRUCTELEMENTINFO* row = findRow(storageClass, tag, &index);
    if (!row)
        return nullptr;
    auto position = values.begin();
    while (position != values.end() && position->row < index)
        ++position;
    if (position != values.end() && position->row == index) {
        *position = Value();
    } else {
        position = values.insert(position, Value());
    }
    position->tag = tag;
    position->code = row->type;
    position->width = row->width;
    position->row = index;
    return &*position;
}

void Item::clear(unsigned int newClass)
{
    storageClass = newClass;
    values.clear();
    lists.clear();
}

bool setText(Item& item, unsigned int tag, const char* text)
{
    Value* value = item.set(tag);
    if (!value)
        return false;
    value->text = text ? text : "";
    return true;
}

bool setSigned(Item& item, unsigned int tag, long long number)
{
    Value* value = item.set(tag);
    if (!value)
        return false;
    value->signedValue = number;
    return true;
}

bool setKey(Item& item, unsigned int tag, const KXKEY_ELEMENT& key)
{
    Value* value = item.set(tag);
    if (!value)
        return false;
    value->key = key;
    return true;
}

bool parseText(const char* text, std::size_t length, unsigned int storageClass, Item& out,
               std::string& error)
{
    if (!text || length == 0) {
        error = "empty text";
        return false;
    }
    if (!checkCharacters(text, length, error))
        return false;

    Item result;
    std::vector<Frame> stack;
    bool finished = false;
    int lineNumber = 0;
    std::size_t start = 0;
    auto fail = [&](const std::string& message) {
        error = "line " + std::to_string(lineNumber) + ": " + message;
        return false;
    };

    while (start < length) {
        std::size_t end = start;
        while (end < length && text[end] != '\n')
            ++end;
        const std::string line(text + start, end - start);
        start = end + 1;
        ++lineNumber;

        if (line.empty())
            return fail("empty line");
        if (finished)
            return fail("text after the end of the packet");
        const std::size_t blank = line.find(' ');
        if (blank == std::string::npos)
            return fail("expected a tag, a blank and a value");
        const std::string tag = line.substr(0, blank);
        const std::string value = line.substr(blank + 1);

        if (tag == "SI") {
            unsigned int itemClass = 0;
            if (!parseHexWord(value, itemClass))
                return fail("expected a hexadecimal storage class, found \"" + value + '"');
            if (stack.empty()) {
                if (itemClass != storageClass)
                    return fail("item of class " + hex(itemClass) + " where the packet's class "
                                + hex(storageClass) + " was expected");
                result.storageClass = itemClass;
                stack.push_back({&result, nullptr, 0, lineNumber});
                continue;
            }
            if (!stack.back().list)
                return fail("an item must be inside a list");
            if (!KXGetSystemStorageClassConv(itemClass))
                return fail("storage class " + hex(itemClass) + " has no text form");
            if (itemClass != PDT_SECTION)
                return fail("item of class " + hex(itemClass) + " in a list, where lists hold sections (class "
                            + hex(PDT_SECTION) + ')');
            if (static_cast<int>(stack.size()) >= KXPacketable::MaxNesting)
                return fail("nesting deeper than " + std::to_string(KXPacketable::MaxNesting) + " levels");
            List* list = stack.back().list;
            list->items.emplace_back();
            list->items.back().storageClass = itemClass;
            stack.push_back({&list->items.back(), nullptr, 0, lineNumber});
        } else if (stack.empty()) {
            return fail("expected \"SI <class>\" opening the packet");
        } else if (tag == "SL") {
            unsigned int count = 0;
            if (!parseHexWord(value, count))
                return fail("expected a hexadecimal count, found \"" + value + '"');
            if (!stack.back().item)
                return fail("a list must be inside an item");
            // Only letters and jobs hold lists (of sections).
            const unsigned int holder = stack.back().item->storageClass;
            if (holder != PDT_LETTER && holder != PDT_JOB)
                return fail("a list in an item of class " + hex(holder) + ", which holds no lists");
            if (static_cast<int>(stack.size()) >= KXPacketable::MaxNesting)
                return fail("nesting deeper than " + std::to_string(KXPacketable::MaxNesting) + " levels");
            Item* item = stack.back().item;
            item->lists.emplace_back();
            stack.push_back({nullptr, &item->lists.back(), count, lineNumber});
        } else if (tag == "TI" || tag == "TL") {
            const Frame& top = stack.back();
            if (tag == "TI" && !top.item)
                return fail("TI closes the list opened on line " + std::to_string(top.line));
            if (tag == "TL" && !top.list)
                return fail("TL closes the item opened on line " + std::to_string(top.line));
            if (value != "0")
                return fail("expected \"" + tag + " 0\"");
            if (top.list && top.list->items.size() != top.declared)
                return fail("the list opened on line " + std::to_string(top.line) + " declares "
                            + hex(top.declared) + " items but holds "
                            + hex(top.list->items.size()));
            stack.pop_back();
            finished = stack.empty();
        } else {
            Frame& top = stack.back();
            if (!top.item)
                return fail("data line inside a list");
            unsigned int dataTag = 0;
            if (!parseHexWord(tag, dataTag))
                return fail("bad tag \"" + tag + '"');
            if (!findRow(top.item->storageClass, dataTag))
                return fail("tag " + tagText(dataTag) + " is not in the table of class "
                            + hex(top.item->storageClass));
            if (top.item->find(dataTag))
                return fail("tag " + tagText(dataTag) + " appears twice in one item");
            Value* slot = top.item->set(dataTag);
            std::string reason;
            if (!parseValue(value, *slot, reason))
                return fail("tag " + tagText(dataTag) + ": " + reason);
        }
    }
    if (!finished) {
        if (stack.empty())
            return fail("no item");
        const Frame& top = stack.back();
        return fail(std::string(top.item ? "the item" : "the list") + " opened on line "
                    + std::to_string(top.line) + " is not closed");
    }
    out = std::move(result);
    return true;
}

bool writeText(const Item& item, std::string& out, std::string& error)
{
    std::string text;
    text.reserve(256);
    if (!writeItem(item, text, error, 1))
        return false;
    out = std::move(text);
    return true;
}

} // namespace kxhost

// ---- the plain functions of the base library: tables and buffers ----

CONVERTSTRUCTELEMENTINFO* KXGetSystemStorageClassConv(unsigned int storageClass)
{
    const kxhost::JournalScope journal(nullptr, "KXGetSystemStorageClassConv", [&] { return kxhost::journalArguments(storageClass); });
    static kxhost::Table section(kxhost::sectionRows);
    static kxhost::Table dbentry(kxhost::dbentryRows);
    static kxhost::Table job(kxhost::jobRows);
    static kxhost::Table letter(kxhost::letterRows);
    static kxhost::Table profile(kxhost::profileRows);
    static kxhost::Table book(kxhost::bookRows);
    switch (storageClass) {
    case PDT_SECTION:
        return section.rows.data();
    case PDT_DBENTRY:
        return dbentry.rows.data();
    case PDT_JOB:
        return job.rows.data();
    case PDT_LETTER:
        return letter.rows.data();
    case PDT_ICCPROFILE:
        return profile.rows.data();
    case PDT_BOOK:
        return book.rows.data();
    default:
        return nullptr;
    }
}

void KX_free(void* buffer)
{
    const kxhost::JournalScope journal(nullptr, "KX_free", [&] { return kxhost::journalArguments(buffer ? "buffer" : "null"); });
    std::free(buffer);
}
