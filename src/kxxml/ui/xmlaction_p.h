#pragma once

// An action's group pointer is also cleared from the action's destroyed() signal, when only
// its QObject part is left (XMLActionGroup::removeAction). The functions on that path carry
// this marker so that the sanitizer's dynamic-type check does not flag their one write.
#if defined(__GNUC__)
#define KXXML_NO_SANITIZE_VPTR __attribute__((no_sanitize("vptr")))
#else
#define KXXML_NO_SANITIZE_VPTR
#endif
