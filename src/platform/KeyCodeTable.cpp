#include "KeyCodeTable.h"

namespace {

struct Entry {
    quint16 keyCode;
    int evdev;
};

constexpr Entry table[] = {
    {0, 30},    // KEY_A
    {1, 31},    // KEY_S
    {2, 32},    // KEY_D
    {3, 33},    // KEY_F
    {4, 35},    // KEY_H
    {5, 34},    // KEY_G
    {6, 44},    // KEY_Z
    {7, 45},    // KEY_X
    {8, 46},    // KEY_C
    {9, 47},    // KEY_V
    {10, 86},   // KEY_102ND
    {11, 48},   // KEY_B
    {12, 16},   // KEY_Q
    {13, 17},   // KEY_W
    {14, 18},   // KEY_E
    {15, 19},   // KEY_R
    {16, 21},   // KEY_Y
    {17, 20},   // KEY_T
    {18, 2},    // KEY_1
    {19, 3},    // KEY_2
    {20, 4},    // KEY_3
    {21, 5},    // KEY_4
    {22, 7},    // KEY_6
    {23, 6},    // KEY_5
    {24, 13},   // KEY_EQUAL
    {25, 10},   // KEY_9
    {26, 8},    // KEY_7
    {27, 12},   // KEY_MINUS
    {28, 9},    // KEY_8
    {29, 11},   // KEY_0
    {30, 27},   // KEY_RIGHTBRACE
    {31, 24},   // KEY_O
    {32, 22},   // KEY_U
    {33, 26},   // KEY_LEFTBRACE
    {34, 23},   // KEY_I
    {35, 25},   // KEY_P
    {36, 28},   // KEY_ENTER
    {37, 38},   // KEY_L
    {38, 36},   // KEY_J
    {39, 40},   // KEY_APOSTROPHE
    {40, 37},   // KEY_K
    {41, 39},   // KEY_SEMICOLON
    {42, 43},   // KEY_BACKSLASH
    {43, 51},   // KEY_COMMA
    {44, 53},   // KEY_SLASH
    {45, 49},   // KEY_N
    {46, 50},   // KEY_M
    {47, 52},   // KEY_DOT
    {48, 15},   // KEY_TAB
    {49, 57},   // KEY_SPACE
    {50, 41},   // KEY_GRAVE
    {51, 14},   // KEY_BACKSPACE
    {53, 1},    // KEY_ESC
    {96, 63},   // KEY_F5
    {97, 64},   // KEY_F6
    {98, 65},   // KEY_F7
    {99, 61},   // KEY_F3
    {100, 66},  // KEY_F8
    {101, 67},  // KEY_F9
    {103, 87},  // KEY_F11
    {109, 68},  // KEY_F10
    {111, 88},  // KEY_F12
    {115, 102}, // KEY_HOME
    {116, 104}, // KEY_PAGEUP
    {117, 111}, // KEY_DELETE
    {118, 62},  // KEY_F4
    {119, 107}, // KEY_END
    {120, 60},  // KEY_F2
    {121, 109}, // KEY_PAGEDOWN
    {122, 59},  // KEY_F1
    {123, 105}, // KEY_LEFT
    {124, 106}, // KEY_RIGHT
    {125, 108}, // KEY_DOWN
    {126, 103}, // KEY_UP
};

} // namespace

std::optional<int> KeyCodeTable::evdevFor(quint16 keyCode)
{
    for (const Entry &entry : table) {
        if (entry.keyCode == keyCode)
            return entry.evdev;
    }
    if (keyCode > evdevBase && keyCode <= evdevBase + evdevMax) {
        const int evdev = keyCode - evdevBase;
        // A key the table has is stored by its Mac code only.
        for (const Entry &entry : table) {
            if (entry.evdev == evdev)
                return std::nullopt;
        }
        return evdev;
    }
    return std::nullopt;
}

std::optional<quint16> KeyCodeTable::keyCodeForEvdev(int evdev)
{
    for (const Entry &entry : table) {
        if (entry.evdev == evdev)
            return entry.keyCode;
    }
    if (evdev > 0 && evdev <= evdevMax)
        return quint16(evdevBase + evdev);
    return std::nullopt;
}

std::optional<quint32> KeyCodeTable::x11For(quint16 keyCode)
{
    if (const auto evdev = evdevFor(keyCode))
        return quint32(*evdev + x11Offset);
    return std::nullopt;
}

std::optional<quint16> KeyCodeTable::keyCodeForX11(quint32 x11Keycode)
{
    if (x11Keycode < quint32(x11Offset))
        return std::nullopt;
    return keyCodeForEvdev(int(x11Keycode) - x11Offset);
}
