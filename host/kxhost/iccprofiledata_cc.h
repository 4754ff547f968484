#pragma once

#include <kxhost/kxpacketable.h>

#include <string>

/// The packet class of colour profiles (data type 48): element 1 name, 2 profile data,
/// 3 version. The profile data lives on the server and is loaded on demand.
class KXHOST_EXPORT ICCPROFILEDATA_CC : public KXPacketable
{
public:
    /// An empty colour-profile packet (data type 48).
    ICCPROFILEDATA_CC();

    /// Fills the profile-data element from the profile of the same name (the packet's name,
    /// else element 1) in the dataset of the server connection open under @p host and @p port
    /// (the most recently opened one when several are). Nothing happens when there is no such
    /// connection or profile.
    void load(std::string& host, unsigned short port);

    /// The profile data; null when the packet has none. @p length receives the byte count.
    /// Owned by the packet, valid until it changes.
    const unsigned char* getProfileData(unsigned int& length) const;
};
