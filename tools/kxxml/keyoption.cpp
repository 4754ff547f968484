#include "keyoption.h"

#include <QStringList>

namespace {

bool parseWord(QStringView text, unsigned int& word)
{
    if (text.isEmpty() || text.size() > 8)
        return false;
    for (const QChar c : text) {
        if (!c.isDigit() && !(c >= u'a' && c <= u'f') && !(c >= u'A' && c <= u'F'))
            return false;
    }
    bool ok = false;
    word = text.toUInt(&ok, 16);
    return ok;
}

} // namespace

bool KeyOption::parse(const QString& text, KXKEY_ELEMENT& key)
{
    const qsizetype colon = text.indexOf(u':');
    if (colon < 0)
        return false;
    KXKEY_ELEMENT read{};
    if (!parseWord(QStringView(text).left(colon), read.key)
        || !parseWord(QStringView(text).mid(colon + 1), read.hkey))
        return false;
    key = read;
    return true;
}

QString KeyOption::text(const KXKEY_ELEMENT& key)
{
    return QString::number(key.key, 16) + u':' + QString::number(key.hkey, 16);
}
