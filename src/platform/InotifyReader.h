#pragma once

#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

// Reads what is queued on a non-blocking inotify descriptor and hands each event, with its file
// name ("" for events on a watched item itself), to `handle`. At most `maxReads` reads, so that a
// flood of changes cannot starve the event loop; the rest comes with the next wake-up.
template <typename Handle> void readInotifyEvents(int fd, int maxReads, Handle handle)
{
    alignas(inotify_event) char buffer[16 * 1024];
    for (int round = 0; round < maxReads; ++round) {
        const ssize_t length = ::read(fd, buffer, sizeof buffer);
        if (length < 0 && errno == EINTR)
            continue;
        if (length <= 0)
            return;
        for (ssize_t offset = 0; offset < length;) {
            inotify_event event;
            std::memcpy(&event, buffer + offset, sizeof event);
            const char *name = event.len > 0 ? buffer + offset + sizeof event : "";
            offset += ssize_t(sizeof event + event.len);
            handle(event, name);
        }
    }
}
