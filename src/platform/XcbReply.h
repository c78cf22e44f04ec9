#pragma once

#include <cstdlib>
#include <memory>

// xcb hands out replies and events allocated with malloc, to be released with free().
struct XcbFree {
    void operator()(void *p) const { std::free(p); }
};
template <typename T> using XcbReply = std::unique_ptr<T, XcbFree>;
