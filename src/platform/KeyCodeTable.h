#pragma once

#include <QtGlobal>

#include <optional>

// Shortcuts store the Mac virtual key numbering, so that stored values and defaults are the same
// on every platform. This maps it to the Linux evdev code of the same physical key and back; an
// X11 keycode is the evdev code plus 8.
class KeyCodeTable {
public:
    KeyCodeTable() = delete;

    static constexpr int x11Offset = 8;
    // Keys the Mac numbering has no code for (the keypad, Insert, Menu, F13 and beyond, media
    // keys) are stored as this plus their evdev code, so that any key can be recorded.
    static constexpr quint16 evdevBase = 0x1000;
    static constexpr int evdevMax = 0x2ff;

    [[nodiscard]] static std::optional<int> evdevFor(quint16 keyCode);
    [[nodiscard]] static std::optional<quint16> keyCodeForEvdev(int evdev);
    [[nodiscard]] static std::optional<quint32> x11For(quint16 keyCode);
    [[nodiscard]] static std::optional<quint16> keyCodeForX11(quint32 x11Keycode);
};
