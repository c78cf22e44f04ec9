#include "notes/NotesIndex.h"

#include <QByteArray>
#include <QRandomGenerator>
#include <QString>

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int notesPerFolder = 50;
constexpr int foldersPerArea = 50;

// TALLOWFERN_BENCH_NOTES makes a small vault for the smoke test; the figures are for 100,000.
int noteCount()
{
    static const int count = [] {
        const int fromEnvironment = qEnvironmentVariableIntValue("TALLOWFERN_BENCH_NOTES");
        return fromEnvironment > 0 ? fromEnvironment : 100'000;
    }();
    return count;
}

QByteArray shellQuoted(QByteArray text)
{
    return '\'' + text.replace('\'', "'\\''") + '\'';
}

bool removeTree(const QByteArray &path)
{
    return ::nftw(
               path.constData(),
               [](const char *entry, const struct stat *, int, struct FTW *) {
                   return ::remove(entry);
               },
               16, FTW_DEPTH | FTW_PHYS) == 0;
}

// Note names as people write them: a few words, sometimes a date.
QByteArray noteName(QRandomGenerator &rng, int number)
{
    static constexpr std::array<const char *, 24> words{
        "Meeting", "notes",  "Project", "plan",   "Weekly", "review", "Ideas", "for",
        "the",     "garden", "Budget",  "draft",  "Call",   "with",   "Anna",  "Reading",
        "list",    "Recipe", "Trip",    "Berlin", "Books",  "Design", "sync",  "Q3"};
    QByteArray name;
    const int wordCount = rng.bounded(1, 5);
    for (int i = 0; i < wordCount; ++i) {
        if (i > 0)
            name += ' ';
        name += words[std::size_t(rng.bounded(int(words.size())))];
    }
    // Rare enough that typing it narrows the list to fewer notes than are shown.
    if (rng.bounded(5000) == 0)
        name += " postmortem";
    if (rng.bounded(3) == 0)
        name += " 2024-" + QByteArray::number(rng.bounded(1, 13)) + '-' +
                QByteArray::number(rng.bounded(1, 29));
    return name + ' ' + QByteArray::number(number) + ".md";
}

bool makeVault(const QByteArray &root)
{
    if (::mkdir(root.constData(), 0755) != 0)
        return false;
    // A fixed start keeps the tree, and so the figures, the same from build to build.
    QRandomGenerator rng(2025);
    const qint64 now = 1'760'000'000;
    const int folders = (noteCount() + notesPerFolder - 1) / notesPerFolder;
    int made = 0;
    for (int folder = 0; folder < folders; ++folder) {
        const QByteArray area = root + "/Area " + QByteArray::number(folder / foldersPerArea);
        if (folder % foldersPerArea == 0 && ::mkdir(area.constData(), 0755) != 0)
            return false;
        const QByteArray dir = area + "/Topic " + QByteArray::number(folder % foldersPerArea);
        if (::mkdir(dir.constData(), 0755) != 0)
            return false;
        for (int i = 0; i < notesPerFolder && made < noteCount(); ++i, ++made) {
            const QByteArray path = dir + '/' + noteName(rng, made);
            const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
            if (fd < 0)
                return false;
            // Ages over three years, down to the nanosecond, as a real vault has.
            const struct timespec time {
                time_t(now - rng.bounded(3 * 365 * 86400)), long(rng.bounded(1'000'000'000))
            };
            const struct timespec times[2] = {time, time};
            const bool ok = ::write(fd, "- a line\n", 9) == 9 && ::futimens(fd, times) == 0;
            ::close(fd);
            if (!ok)
                return false;
        }
    }
    return true;
}

// Made once in the build tree; the marker is written last, so a half-made vault is redone. The
// "v1" goes up whenever makeVault() changes, so that an older vault is not measured instead.
const QString &vault()
{
    static const QString root = [] {
        const QByteArray path =
            QByteArray(TALLOWFERN_BENCH_DIR) + "/notes-vault-v1-" + QByteArray::number(noteCount());
        const QByteArray marker = path + ".complete";
        if (::access(marker.constData(), F_OK) != 0) {
            removeTree(path);
            if (!makeVault(path))
                qFatal("cannot make the vault %s", path.constData());
            const int fd = ::open(marker.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
            if (fd < 0)
                qFatal("cannot mark the vault %s", path.constData());
            ::close(fd);
        }
        return QString::fromUtf8(path);
    }();
    return root;
}

void BM_ScanNotes(benchmark::State &state)
{
    const QString &root = vault();
    qsizetype notes = 0;
    for (auto _ : state) {
        const NotesIndex index = NotesIndex::scan(root, QStringLiteral("Boards"));
        notes = index.notes().size();
        benchmark::DoNotOptimize(index.notes().constData());
    }
    state.counters["notes"] = double(notes);
}
BENCHMARK(BM_ScanNotes)->Unit(benchmark::kMillisecond)->UseRealTime();

// What the scan has to beat: the same listing, dated and sorted, by the standard tools.
void BM_FindAndSort(benchmark::State &state)
{
    const QByteArray command =
        "find " + shellQuoted(vault().toUtf8()) + " -name '*.md' -printf '%T@ %p\\n' | sort -rn";
    std::array<char, 1 << 16> buffer{};
    qint64 lines = 0;
    for (auto _ : state) {
        FILE *pipe = ::popen(command.constData(), "r");
        if (!pipe) {
            state.SkipWithError("popen failed");
            break;
        }
        lines = 0;
        for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
            for (std::size_t i = 0; i < n; ++i)
                lines += buffer[i] == '\n';
        }
        if (::pclose(pipe) != 0) {
            state.SkipWithError("find or sort failed");
            break;
        }
    }
    state.counters["notes"] = double(lines);
}
BENCHMARK(BM_FindAndSort)->Unit(benchmark::kMillisecond)->UseRealTime();

const NotesIndex &index()
{
    static const NotesIndex scanned = NotesIndex::scan(vault(), QStringLiteral("Boards"));
    return scanned;
}

void runShown(benchmark::State &state, const QString &query)
{
    const NotesIndex &notes = index();
    qsizetype hits = 0;
    for (auto _ : state) {
        const QList<NoteFile> shown = notes.shown(query);
        hits = shown.size();
        benchmark::DoNotOptimize(shown.constData());
    }
    state.counters["hits"] = double(hits);
}

// One keystroke at a time: the query grows by a letter and the list narrows.
void BM_ShownPerKeystroke(benchmark::State &state)
{
    runShown(state, QStringLiteral("Postmo").left(qsizetype(state.range(0))));
}
BENCHMARK(BM_ShownPerKeystroke)->DenseRange(1, 6)->Unit(benchmark::kMicrosecond);

// Nothing matches, so every path is looked at: the slowest keystroke there is.
void BM_ShownNoMatch(benchmark::State &state)
{
    runShown(state, QStringLiteral("zqxj"));
}
BENCHMARK(BM_ShownNoMatch)->Unit(benchmark::kMicrosecond);

void BM_ShownEmpty(benchmark::State &state)
{
    runShown(state, QString());
}
BENCHMARK(BM_ShownEmpty)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
