#pragma once

// The client headers wayland-scanner generated for the protocols beyond the core one. They are C:
// their casts are not ours to warn about, and wlr-layer-shell names a request argument
// "namespace".
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#if defined(__clang__)
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define namespace namespace_
#include "wlr-layer-shell-unstable-v1-client-protocol.h"
#undef namespace
#include "viewporter-client-protocol.h"
#pragma GCC diagnostic pop
