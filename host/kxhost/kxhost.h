#pragma once
// Umbrella header of the host stand-in library: every public header.
#include <kxhost/kxhost_export.h>
#include <kxhost/calljournal.h>
#include <kxhost/kxtypes.h>
#include <kxhost/kxrecords.h>
#include <kxhost/kxlib.h>
#include <kxhost/kxkey_cc.h>
#include <kxhost/kxpacketable.h>
#include <kxhost/kxdbentry_cc.h>
#include <kxhost/kxjob_cc.h>
#include <kxhost/book_cc.h>
#include <kxhost/iccprofiledata_cc.h>
#include <kxhost/packetableutil.h>
#include <kxhost/archivenode.h>
#include <kxhost/kxcommserver.h>
