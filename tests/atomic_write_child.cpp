// Replaces one file with board A, then board B, and so on until it is killed.
#include "atomicwrite_texts.h"
#include "io/TextFile.h"

#include <QFile>

#include <cstdio>

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fputs("usage: atomic_write_child FILE\n", stderr);
        return 2;
    }
    const QString path = QFile::decodeName(argv[1]);
    const QByteArray boards[2] = {AtomicWriteTexts::boardA(), AtomicWriteTexts::boardB()};
    // Tells the test that the next moment is already inside the loop.
    std::fputs("writing\n", stdout);
    std::fflush(stdout);
    for (unsigned i = 0;; ++i) {
        if (const std::optional<QString> error = TextFile::writeAtomically(path, boards[i % 2])) {
            std::fprintf(stderr, "%s\n", qPrintable(*error));
            return 1;
        }
    }
}
