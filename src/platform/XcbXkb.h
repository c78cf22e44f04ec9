#pragma once

// xcb's XKB protocol header, which names a field after a C++ keyword.
#include <xcb/xcb.h>
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define explicit xcb_explicit
#include <xcb/xkb.h>
#undef explicit
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
