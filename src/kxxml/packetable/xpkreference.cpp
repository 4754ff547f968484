#include "xpkreference.h"

XPKReference::XPKReference(XMLPacketable* p, KXKEY_ELEMENT referredKey)
    : key(referredKey)
    , packetable(p)
{
}

XPKReference::XPKReference(XMLPacketable* p, const QString& referredName)
    : key(KXKEY_CC::getNullKey())
    , name(referredName)
    , packetable(p)
{
}

XPKReference::~XPKReference()
{
    delete packetable;
}
