// Replaces one file with board A, then board B, and so on until it is killed: with plain atomic
// writes, or with "guarded" ones that replace only the version last written.
#include "atomicwrite_texts.h"
#include "io/TextFile.h"

#include <QFile>

#include <cstdio>

int main(int argc, char **argv)
{
    const bool guarded = argc == 3 && qstrcmp(argv[2], "guarded") == 0;
    if (argc != 2 && !guarded) {
        std::fputs("usage: atomic_write_child FILE [guarded]\n", stderr);
        return 2;
    }
    const QString path = QFile::decodeName(argv[1]);
    std::optional<FileStamp> last = FileStamp::of(path);
    const QByteArray boards[2] = {AtomicWriteTexts::boardA(), AtomicWriteTexts::boardB()};
    // Tells the test that the next moment is already inside the loop.
    std::fputs("writing\n", stdout);
    std::fflush(stdout);
    for (unsigned i = 0;; ++i) {
        if (guarded) {
            const TextFile::Replace result =
                TextFile::replaceIfUnchanged(path, boards[i % 2], last);
            if (result.outcome != TextFile::Replace::Outcome::Written || result.displaced) {
                std::fprintf(stderr, "outcome %d: %s\n", int(result.outcome),
                             qPrintable(result.error));
                return 1;
            }
            last = result.written;
        } else if (const std::optional<QString> error =
                       TextFile::writeAtomically(path, boards[i % 2])) {
            std::fprintf(stderr, "%s\n", qPrintable(*error));
            return 1;
        }
    }
}
