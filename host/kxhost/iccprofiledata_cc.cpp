#include <kxhost/iccprofiledata_cc.h>

#include "journalscope_p.h"

#include "kxcommserver_p.h"
#include "kxitem_p.h"

ICCPROFILEDATA_CC::ICCPROFILEDATA_CC()
    : KXPacketable(PDT_ICCPROFILE)
{
}

void ICCPROFILEDATA_CC::load(std::string& host, unsigned short port)
{
    const kxhost::JournalScope journal(this, "load", [&] { return kxhost::journalArguments(host, static_cast<unsigned int>(port)); });
    const char* profileName = name ? name : getText(0x1);
    if (!profileName || item().storageClass != PDT_ICCPROFILE)
        return;
    std::vector<unsigned char> data;
    if (!kxhost::findOpenProfile(host, port, profileName, data))
        return;
    kxhost::Value* value = item().set(0x2);
    value->bytes = std::move(data);
}

const unsigned char* ICCPROFILEDATA_CC::getProfileData(unsigned int& length) const
{
    length = 0;
    const kxhost::Value* value = item().find(0x2);
    if (!value)
        return nullptr;
    length = static_cast<unsigned int>(value->bytes.size());
    return value->bytes.data();
}
