#include <kxhost/kxhost.h>
