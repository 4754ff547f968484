#pragma once

// The one header through which kxxml sees the host libraries: their packets, keys,
// conversion tables, records and server connection. A deployment against the host's own
// libraries points this include at them; nothing else in kxxml includes host headers.
#include <kxhost/kxhost.h>
