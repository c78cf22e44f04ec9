#pragma once

#include <QByteArray>

// Two complete boards of different sizes, each ending in a line of its own, so that a file that
// is exactly one of them cannot be a mix or a cut-off copy.
namespace AtomicWriteTexts {

inline QByteArray board(char name, int cards)
{
    QByteArray text = "---\nboard: " + QByteArray(1, name) + "\n---\n\n## Today\n\n";
    for (int i = 0; i < cards; ++i)
        text += "- [ ] " + QByteArray(1, name) + " card " + QByteArray::number(i) +
                ": water the fern, call Grüße, 🌿\n";
    return text + "<!-- end of board " + QByteArray(1, name) + " -->\n";
}

inline QByteArray boardA()
{
    return board('A', 1000);
}

inline QByteArray boardB()
{
    return board('B', 1600);
}

} // namespace AtomicWriteTexts
