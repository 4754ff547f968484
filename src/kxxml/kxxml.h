#pragma once

// Every public header of kxxml; those of the D-Bus component when this build has it.
#include <kxxml/kxxml_config.h>
#include <kxxml/xml/xmlobject.h>
#include <kxxml/xml/xmlmessage.h>
#include <kxxml/xml/xmlimage.h>
#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/messaging/xmlagent.h>
#include <kxxml/packetable/hostlib.h>
#include <kxxml/packetable/xmlpacketable.h>
#include <kxxml/packetable/xpkreference.h>
#include <kxxml/ui/xmlaction.h>
#include <kxxml/ui/xmlactiongroup.h>
#include <kxxml/ui/xmlui.h>
#include <kxxml/messaging/xmlrouter.h>
#include <kxxml/messaging/xmlrouterobserver.h>
#include <kxxml/messaging/xmlrouterlogger.h>
#include <kxxml/commserver/xmlcommserver.h>
#if KXXML_HAS_DBUS
#include <kxxml/bus/xmlbusexporter.h>
#include <kxxml/bus/xmlbusclient.h>
#endif
