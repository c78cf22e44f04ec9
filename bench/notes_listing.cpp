// How soon the Notes tab shows a big vault's notes, and how soon a keystroke in its search shows
// the narrowed list, measured on the real NotesView.qml in a shown Qt Quick window, beside the
// standard tools doing the same work on the same vault in the same run.
//
// The tab, first time: from making the view over a store that has not listed the vault yet (as
// the first switch to the tab after start-up) to the first frame swapped after the walk of the
// vault, on its own thread, has filled the list. Then switching to the tab once the notes are
// known: from making the view to the first frame swapped after it, which has to show the rows.
// Also the walk alone (NotesIndex::scan on this thread), `find VAULT -name '*.md' | wc -l`, and
// find dating every note and sort ordering them, as the walk does. With --cold N, the page,
// dentry and inode caches are dropped before N more first-time runs of each (root only).
//
// A keystroke: from sending the key to the search field to the first frame swapped after the
// list was reset to the matches, for queries of 1, 2, 3 and 6 characters typed one at a time,
// and for a word found nowhere, which searches every path. Also the search alone
// (NotesIndex::shown) and `grep -ciF` over a listing of the vault's notes.
//
//   bench_notes_listing [--notes N] [--vault-dir DIR] [--tab-runs N] [--keystrokes N]
//                       [--tool-runs N] [--cold N] [--json PATH]
//
// The vault is made once in DIR (the build folder by default) and kept. Runs wherever Qt Quick
// does; QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software needs no display.

#include "BenchSupport.h"
#include "IconProvider.h"
#include "NotesList.h"
#include "notch/NotchModel.h"
#include "notes/NotesIndex.h"
#include "store/BoardStore.h"
#include "store/VaultNotes.h"
#include "support/QuickItems.h"
#include "support/StoreFixture.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QRandomGenerator>
#include <QSGRendererInterface>
#include <QSet>
#include <QTemporaryDir>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

Q_IMPORT_QML_PLUGIN(TallowfernPlugin)

using QuickItems::findItem;

namespace {

// The panel's tab area.
constexpr QSize windowSize(716, 312);
constexpr std::array queryLengths{1, 2, 3, 6};

struct Options {
    int notes = 100'000;
    QString vaultDir = QStringLiteral(TALLOWFERN_BENCH_DIR);
    int tabRuns = 20;
    int keystrokes = 100;
    int toolRuns = 20;
    int cold = 0;
    QString json;
};

std::optional<Options> parseOptions(const QStringList &arguments)
{
    Options options;
    const auto usage = [&] {
        std::fprintf(stderr,
                     "usage: %s [--notes N] [--vault-dir DIR] [--tab-runs N] [--keystrokes N] "
                     "[--tool-runs N] [--cold N] [--json PATH]\n",
                     qPrintable(arguments.first()));
        return std::nullopt;
    };
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &name = arguments[i];
        if (i + 1 >= arguments.size())
            return usage();
        const QString value = arguments[++i];
        bool ok = true;
        if (name == u"--notes")
            options.notes = value.toInt(&ok);
        else if (name == u"--vault-dir")
            options.vaultDir = value;
        else if (name == u"--tab-runs")
            options.tabRuns = value.toInt(&ok);
        else if (name == u"--keystrokes")
            options.keystrokes = value.toInt(&ok);
        else if (name == u"--tool-runs")
            options.toolRuns = value.toInt(&ok);
        else if (name == u"--cold")
            options.cold = value.toInt(&ok);
        else if (name == u"--json")
            options.json = value;
        else
            ok = false;
        if (!ok || options.notes < 1 || options.tabRuns < 1 || options.keystrokes < 1 ||
            options.toolRuns < 1 || options.cold < 0)
            return usage();
    }
    return options;
}

// ---- the vault

bool removeTree(const QByteArray &path)
{
    return ::nftw(
               path.constData(),
               [](const char *entry, const struct stat *, int, struct FTW *) {
                   return ::remove(entry);
               },
               16, FTW_DEPTH | FTW_PHYS) == 0;
}

template <std::size_t N>
const char *pick(QRandomGenerator &rng, const std::array<const char *, N> &words)
{
    return words[std::size_t(rng.bounded(int(N)))];
}

constexpr std::array<const char *, 20> topics{"Garden", "Kitchen", "Budget",  "Website",  "Design",
                                              "Travel", "Reading", "Podcast", "Health",   "Taxes",
                                              "Car",    "House",   "Wedding", "Research", "Hiring",
                                              "Launch", "Roadmap", "Backup",  "Review",   "Recipe"};
constexpr std::array<const char *, 12> kinds{"plan",      "notes",  "ideas",   "draft",
                                             "checklist", "review", "log",     "summary",
                                             "outline",   "budget", "meeting", "research"};
constexpr std::array<const char *, 16> people{"Anna",  "Ben",   "Carla", "David", "Elif",  "Farid",
                                              "Greta", "Hanna", "Ivan",  "Jonas", "Kemal", "Lena",
                                              "Marta", "Nils",  "Olga",  "Paul"};
constexpr std::array<const char *, 16> titleWords{
    "The",  "Quiet", "River", "of",     "Glass",   "Night", "Garden", "Atlas",
    "Deep", "Work",  "Small", "Things", "Letters", "North", "Light",  "Stone"};
constexpr std::array<const char *, 10> areas{"Projects", "Areas",     "Resources", "Archive",
                                             "Meetings", "People",    "Reading",   "Recipes",
                                             "Travel",   "01 Journal"};

QByteArray day(QRandomGenerator &rng)
{
    return QDate(2024, 1, 1).addDays(rng.bounded(700)).toString(u"yyyy-MM-dd"_qs).toUtf8();
}

// Note names as people write them.
QByteArray noteName(QRandomGenerator &rng, const QByteArray &area)
{
    if (area == "01 Journal")
        return day(rng);
    if (area == "Meetings")
        return "Meeting with " + QByteArray(pick(rng, people)) + ' ' + day(rng);
    if (area == "People")
        return QByteArray(pick(rng, people)) + ' ' + pick(rng, people) + "sson";
    if (area == "Reading") {
        QByteArray title = "Book - ";
        for (int i = rng.bounded(2, 5); i > 0; --i)
            title += QByteArray(pick(rng, titleWords)) + (i > 1 ? " " : "");
        return title;
    }
    if (area == "Recipes")
        return QByteArray("Recipe ") + pick(rng, titleWords) + ' ' + pick(rng, topics);
    QByteArray name = QByteArray(pick(rng, topics)) + ' ' + pick(rng, kinds);
    if (rng.bounded(3) == 0)
        name += ' ' + day(rng);
    return name;
}

// Folders a few levels deep under each area: topics, then years or sub-topics, then months.
QList<QByteArray> makeFolders(QRandomGenerator &rng)
{
    QList<QByteArray> folders{QByteArray()};
    for (const char *area : areas) {
        folders.append(area);
        for (int topic = rng.bounded(4, 12); topic > 0; --topic) {
            const QByteArray second =
                QByteArray(area) + '/' + pick(rng, topics) + ' ' + QByteArray::number(topic);
            folders.append(second);
            for (int sub = rng.bounded(0, 5); sub > 0; --sub) {
                const QByteArray third = second + '/' + QByteArray::number(2020 + sub);
                folders.append(third);
                if (rng.bounded(2) == 0) {
                    for (int month = rng.bounded(1, 6); month > 0; --month)
                        folders.append(third + '/' +
                                       QByteArray::number(month).rightJustified(2, '0'));
                }
            }
        }
    }
    return folders;
}

bool makeVault(const QByteArray &root, int count)
{
    // A fixed start keeps the tree, and so the figures, the same from build to build.
    QRandomGenerator rng(20250307);
    const QList<QByteArray> folders = makeFolders(rng);
    for (const QByteArray &folder : folders) {
        if (!QDir().mkpath(QString::fromUtf8(root + '/' + folder)))
            return false;
    }
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    QSet<QByteArray> taken;
    for (int made = 0; made < count; ++made) {
        const QByteArray &folder = folders[rng.bounded(int(folders.size()))];
        const QByteArray area = folder.left(folder.indexOf('/'));
        const QByteArray base = root + '/' + (folder.isEmpty() ? QByteArray() : folder + '/') +
                                noteName(rng, area.isEmpty() ? QByteArray("Projects") : area);
        QByteArray path = base + ".md";
        for (int copy = 2; taken.contains(path); ++copy)
            path = base + ' ' + QByteArray::number(copy) + ".md";
        taken.insert(path);
        const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (fd < 0)
            return false;
        // Changed at any time over the last year, down to the nanosecond.
        const struct timespec time {
            time_t(now - rng.bounded(365 * 86400)), long(rng.bounded(1'000'000'000))
        };
        const struct timespec times[2] = {time, time};
        static constexpr char body[] = "# Note\n\n- a line\n- another line\n";
        const bool ok = ::write(fd, body, sizeof body - 1) == ssize_t(sizeof body - 1) &&
                        ::futimens(fd, times) == 0;
        ::close(fd);
        if (!ok)
            return false;
    }
    return true;
}

// Made once; the marker is written last, so a half-made vault is made again. The "v1" goes up
// whenever makeVault() changes, so that an older vault is not measured instead.
QString vaultFor(const Options &options)
{
    const QByteArray path = QFile::encodeName(options.vaultDir) + "/notes-listing-vault-v1-" +
                            QByteArray::number(options.notes);
    const QByteArray marker = path + ".complete";
    if (::access(marker.constData(), F_OK) != 0) {
        QElapsedTimer timer;
        timer.start();
        removeTree(path);
        if (!makeVault(path, options.notes))
            qFatal("cannot make the vault %s", path.constData());
        const int fd = ::open(marker.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        if (fd < 0)
            qFatal("cannot mark the vault %s", path.constData());
        ::close(fd);
        std::printf("made a vault of %d notes in %.1f s: %s\n", options.notes,
                    double(timer.elapsed()) / 1000, path.constData());
    }
    return QFile::decodeName(path);
}

// VmRSS of this process.
qint64 residentKiB()
{
    QFile status(u"/proc/self/status"_qs);
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return 0;
}

double msSince(const QElapsedTimer &timer)
{
    return double(timer.nsecsElapsed()) / 1e6;
}

// A shell command's wall time, output thrown away; its output's first line in `firstLine`.
std::optional<double> timeCommand(const QByteArray &command, QByteArray *firstLine = nullptr)
{
    QElapsedTimer timer;
    timer.start();
    FILE *pipe = ::popen(command.constData(), "r");
    if (!pipe)
        return std::nullopt;
    QByteArray output;
    std::array<char, 1 << 14> buffer{};
    for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        output.append(buffer.data(), qsizetype(n));
    const int status = ::pclose(pipe);
    const double ms = msSince(timer);
    // grep -c says 1 when it counted nothing; anything else is a failure.
    if (status != 0 && !(WIFEXITED(status) && WEXITSTATUS(status) == 1))
        return std::nullopt;
    if (firstLine)
        *firstLine = output.left(output.indexOf('\n'));
    return ms;
}

QByteArray shellQuoted(QByteArray text)
{
    return '\'' + text.replace('\'', "'\\''") + '\'';
}

// Drops the page, dentry and inode caches, so that the next walk reads the disk; root only.
bool dropCaches()
{
    ::sync();
    QFile file(u"/proc/sys/vm/drop_caches"_qs);
    return file.open(QIODevice::WriteOnly) && file.write("3\n") == 2;
}

// The first frame swapped after a change: the scene graph must have been synchronised after the
// change, so a frame already under way when it happened does not count.
class FrameWatch {
public:
    explicit FrameWatch(QQuickWindow *window)
    {
        QObject::connect(
            window, &QQuickWindow::beforeSynchronizing, window,
            [this] {
                if (m_armed)
                    m_synced = true;
            },
            Qt::DirectConnection);
        QObject::connect(
            window, &QQuickWindow::frameSwapped, window,
            [this] {
                if (m_synced && !m_swapped) {
                    m_swappedAt = m_clock ? m_clock->nsecsElapsed() : 0;
                    m_swapped = true;
                }
            },
            Qt::DirectConnection);
    }
    // From now on, the next synchronised frame is the one waited for.
    void arm(const QElapsedTimer *clock)
    {
        m_clock = clock;
        m_synced = false;
        m_swapped = false;
        m_armed = true;
    }
    // Milliseconds on the clock when that frame was swapped, or nothing after the timeout.
    std::optional<double> wait(int timeoutMs = 10000)
    {
        const bool swapped = spinUntil([this] { return m_swapped.load(); }, timeoutMs, 1);
        m_armed = false;
        if (!swapped)
            return std::nullopt;
        return double(m_swappedAt.load()) / 1e6;
    }

private:
    const QElapsedTimer *m_clock = nullptr;
    std::atomic<bool> m_armed{false};
    std::atomic<bool> m_synced{false};
    std::atomic<bool> m_swapped{false};
    std::atomic<qint64> m_swappedAt{0};
};

struct TabRun {
    double created = 0;   // the view made (and, the first time, the walk started)
    double refreshed = 0; // the first time: the walk's result in the list
    double shown = 0;     // the first frame with the rows
};

struct KeyRun {
    double handled = 0; // the key event delivered, the list reset to the matches
    double shown = 0;   // the first frame with them
};

class Bench {
public:
    Bench(const Options &options, QString vault) : m_options(options), m_vault(std::move(vault)) {}

    int run()
    {
        // What the list costs in memory while it is kept: the growth of the resident set as one
        // is made and held, first thing, before freed memory could be handed out again.
        {
            const qint64 before = residentKiB();
            const NotesIndex index = NotesIndex::scan(m_vault, u"01 Journal/Boards"_qs);
            index.prepareSearch();
            m_indexKiB = residentKiB() - before;
        }
        if (!setUp())
            return 1;
        if (!measureTab() || !measureScan() || !measureKeystrokes())
            return 1;
        measureSearch();
        if (!measureTools())
            return 1;
        print();
        return writeJson() ? 0 : 1;
    }

private:
    bool setUp()
    {
        m_clock.set(QDateTime::currentDateTime());
        m_store = std::make_unique<BoardStore>(&m_clock, &m_launcher);
        if (QFileInfo(m_store->vaultDir()).canonicalFilePath() !=
            QFileInfo(m_vault).canonicalFilePath()) {
            std::fprintf(stderr, "the store reads %s, not the vault %s\n",
                         qPrintable(m_store->vaultDir()), qPrintable(m_vault));
            return false;
        }
        m_model = std::make_unique<NotchModel>();
        m_engine.addImportPath(u"qrc:/qt/qml"_qs);
        IconProvider::install(&m_engine);
        m_component = std::make_unique<QQmlComponent>(
            &m_engine, QUrl(u"qrc:/qt/qml/Tallowfern/notes/NotesView.qml"_qs));
        if (!m_component->isReady()) {
            std::fprintf(stderr, "NotesView.qml: %s\n", qPrintable(m_component->errorString()));
            return false;
        }
        m_window.setColor(Qt::black);
        m_window.resize(windowSize);
        m_frames = std::make_unique<FrameWatch>(&m_window);
        m_window.show();
        m_window.requestActivate();
        if (!spinUntil([this] { return m_window.isExposed(); }, 10000)) {
            std::fprintf(stderr, "the window was never exposed\n");
            return false;
        }
        // A frame of the empty window first: what follows is the view's work, not the window's.
        m_frames->arm(&m_timer);
        m_window.update();
        m_timer.start();
        if (!m_frames->wait()) {
            std::fprintf(stderr, "the window never swapped a frame\n");
            return false;
        }
        return true;
    }

    // The view as its tab slot makes it; its list's walk starts as it completes.
    QQuickItem *createView()
    {
        QObject *object = m_component->createWithInitialProperties(
            {{u"model"_qs, QVariant::fromValue(m_model.get())},
             {u"store"_qs, QVariant::fromValue(m_store.get())}});
        auto *item = qobject_cast<QQuickItem *>(object);
        if (!item) {
            std::fprintf(stderr, "NotesView.qml: %s\n", qPrintable(m_component->errorString()));
            delete object;
            return nullptr;
        }
        item->setParentItem(m_window.contentItem());
        item->setSize(QSizeF(windowSize));
        return item;
    }
    static NotesList *listOf(QQuickItem *view)
    {
        return view->property("notes").value<NotesList *>();
    }

    // The first switch to the tab: the vault is walked.
    std::optional<TabRun> openTabFirstTime()
    {
        // A store of its own, whose notes nobody has asked for yet.
        m_store = std::make_unique<BoardStore>(&m_clock, &m_launcher);
        QElapsedTimer timer;
        timer.start();
        m_frames->arm(&timer);
        std::unique_ptr<QQuickItem> view(createView());
        if (!view)
            return std::nullopt;
        TabRun run;
        run.created = msSince(timer);
        NotesList *list = listOf(view.get());
        if (!list->loading()) {
            std::fprintf(stderr, "the first opening did not walk the vault\n");
            return std::nullopt;
        }
        bool refreshed = false;
        // The walk ends on its own thread and is reported through the event loop, so it cannot
        // have been reported before this connection.
        const QMetaObject::Connection connection =
            QObject::connect(list, &NotesList::refreshed, list, [&] {
                refreshed = true;
                run.refreshed = msSince(timer);
                m_frames->arm(&timer);
            });
        const bool done = spinUntil([&] { return refreshed; }, 120000, 1);
        QObject::disconnect(connection);
        if (!done) {
            std::fprintf(stderr, "the list was never refreshed\n");
            return std::nullopt;
        }
        const std::optional<double> frame = m_frames->wait();
        if (!frame) {
            std::fprintf(stderr, "no frame after the list was refreshed\n");
            return std::nullopt;
        }
        run.shown = *frame;
        if (list->count() == 0) {
            std::fprintf(stderr, "the list is empty\n");
            return std::nullopt;
        }
        m_shownRows = list->count();
        return run;
    }

    // Switching to the tab once the notes are known: the rows are there as the view is made.
    std::optional<TabRun> openTab()
    {
        QElapsedTimer timer;
        timer.start();
        m_frames->arm(&timer);
        std::unique_ptr<QQuickItem> view(createView());
        if (!view)
            return std::nullopt;
        TabRun run;
        run.created = msSince(timer);
        NotesList *list = listOf(view.get());
        if (list->loading() || list->count() == 0) {
            std::fprintf(stderr, "the known notes were not shown at once\n");
            return std::nullopt;
        }
        const std::optional<double> frame = m_frames->wait();
        if (!frame) {
            std::fprintf(stderr, "no frame after the view was made\n");
            return std::nullopt;
        }
        run.shown = *frame;
        return run;
    }

    bool measureTab()
    {
        // The first view also compiles what the engine had not seen yet: counted apart.
        const std::optional<TabRun> first = openTabFirstTime();
        if (!first)
            return false;
        m_firstTab = *first;
        for (int i = 0; i < m_options.tabRuns; ++i) {
            const std::optional<TabRun> run = openTabFirstTime();
            if (!run)
                return false;
            m_walkWarm.push_back(*run);
        }
        for (int i = 0; i < m_options.cold; ++i) {
            if (!dropCaches()) {
                m_coldNote = u"the caches could not be dropped (not root?)"_qs;
                break;
            }
            const std::optional<TabRun> run = openTabFirstTime();
            if (!run)
                return false;
            m_walkCold.push_back(*run);
        }
        for (int i = 0; i < m_options.tabRuns; ++i) {
            const std::optional<TabRun> run = openTab();
            if (!run)
                return false;
            m_tabKnown.push_back(*run);
        }
        return true;
    }

    bool measureScan()
    {
        const QString boards = m_store->boardsFolder();
        for (int i = 0; i < m_options.toolRuns; ++i) {
            QElapsedTimer timer;
            timer.start();
            const NotesIndex index = NotesIndex::scan(m_vault, boards);
            m_scanWarm.push_back(msSince(timer));
            m_noteCount = index.size();
        }
        for (int i = 0; i < m_options.cold && m_coldNote.isEmpty(); ++i) {
            dropCaches();
            QElapsedTimer timer;
            timer.start();
            const NotesIndex index = NotesIndex::scan(m_vault, boards);
            m_scanCold.push_back(msSince(timer));
        }
        m_index = NotesIndex::scan(m_vault, boards);
        // Done on the walking thread after every change, before the list is published.
        for (int i = 0; i < m_options.toolRuns; ++i) {
            NotesIndex copy = NotesIndex::scan(m_vault, boards);
            QElapsedTimer timer;
            timer.start();
            copy.prepareSearch();
            m_prepare.push_back(msSince(timer));
        }
        m_index.prepareSearch();
        return true;
    }

    // Found nowhere: every path is searched on every keystroke, the slowest search there is.
    static QString unmatchedWord() { return u"zqxjvw"_qs; }
    // The words typed: each found in names or folders of the vault, in varied amounts.
    static QStringList typedWords()
    {
        return {u"garden"_qs, u"meetin"_qs, u"recipe"_qs, u"budget"_qs,
                u"review"_qs, u"travel"_qs, u"letter"_qs, u"launch"_qs};
    }

    void sendKey(QChar c)
    {
        const auto key = c == u' ' ? Qt::Key_Space : Qt::Key(c.toUpper().unicode());
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, QString(c));
        QCoreApplication::sendEvent(&m_window, &press);
        QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, QString(c));
        QCoreApplication::sendEvent(&m_window, &release);
    }

    bool measureKeystrokes()
    {
        std::unique_ptr<QQuickItem> view(createView());
        if (!view)
            return false;
        NotesList *list = listOf(view.get());
        if (!spinUntil([&] { return !list->loading(); }, 60000, 1))
            return false;
        QQuickItem *search = findItem(view.get(), u"search"_qs);
        if (!search) {
            std::fprintf(stderr, "no search field\n");
            return false;
        }
        search->forceActiveFocus();
        if (!spinUntil([&] { return search->hasActiveFocus(); }, 5000)) {
            std::fprintf(stderr, "the search field never took the keyboard\n");
            return false;
        }
        // The rows are reset only when they change; the typed letter shows in any case.
        const QStringList words = typedWords();
        // The typed words, then as many runs of the word found nowhere.
        for (int rep = 0; rep < 2 * m_options.keystrokes; ++rep) {
            const bool unmatched = rep >= m_options.keystrokes;
            const QString word = unmatched ? unmatchedWord() : words[rep % words.size()];
            for (int length = 1; length <= 6; ++length) {
                QElapsedTimer timer;
                timer.start();
                m_frames->arm(&timer);
                sendKey(word[length - 1]);
                const double handled = msSince(timer);
                const std::optional<double> frame = m_frames->wait();
                if (list->query() != word.left(length) || !frame) {
                    std::fprintf(stderr, "typing \"%s\" did not show a narrowed list\n",
                                 qPrintable(word.left(length)));
                    return false;
                }
                if (unmatched) {
                    if (length == 6)
                        m_keysUnmatched.push_back({handled, *frame});
                } else if (std::find(queryLengths.begin(), queryLengths.end(), length) !=
                           queryLengths.end()) {
                    m_keys[length].push_back({handled, *frame});
                    if (rep < words.size())
                        m_matches[length].append(list->count());
                }
            }
            // Back to the recent notes, as a person clearing the field would.
            m_frames->arm(&m_timer);
            search->setProperty("text", QString());
            if (!m_frames->wait()) {
                return false;
            }
        }
        return true;
    }

    void measureSearch()
    {
        const QStringList words = typedWords();
        for (int length : queryLengths) {
            for (int rep = 0; rep < m_options.keystrokes; ++rep) {
                const QString query = words[rep % words.size()].left(length);
                QElapsedTimer timer;
                timer.start();
                const QList<NoteFile> shown = m_index.shown(query);
                m_shownAlone[length].push_back(msSince(timer));
                m_sink += shown.size();
            }
        }
        for (int rep = 0; rep < m_options.keystrokes; ++rep) {
            QElapsedTimer timer;
            timer.start();
            const QList<NoteFile> shown = m_index.shown(unmatchedWord());
            m_shownUnmatched.push_back(msSince(timer));
            m_sink += shown.size();
        }
    }

    bool measureTools()
    {
        const QByteArray vault = shellQuoted(QFile::encodeName(m_vault));
        // Names alone, as find reads them from the folders; and dated and sorted newest first,
        // which, like the walk, looks at every note's times.
        const QByteArray find = "find " + vault + " -name '*.md' | wc -l";
        const QByteArray dated =
            "find " + vault + " -name '*.md' -printf '%T@ %P\\n' | sort -rn | wc -l";
        for (int i = 0; i < m_options.toolRuns; ++i) {
            QByteArray count;
            const std::optional<double> ms = timeCommand(find, &count);
            const std::optional<double> datedMs = timeCommand(dated);
            if (!ms || !datedMs) {
                std::fprintf(stderr, "find failed\n");
                return false;
            }
            m_findWarm.push_back(*ms);
            m_datedWarm.push_back(*datedMs);
            m_findCount = count.trimmed().toLongLong();
        }
        for (int i = 0; i < m_options.cold && m_coldNote.isEmpty(); ++i) {
            dropCaches();
            const std::optional<double> ms = timeCommand(find);
            dropCaches();
            const std::optional<double> datedMs = timeCommand(dated);
            if (!ms || !datedMs)
                return false;
            m_findCold.push_back(*ms);
            m_datedCold.push_back(*datedMs);
        }

        // The listing grep searches: every note's path inside the vault without ".md", which is
        // what the search looks at too.
        m_listing = std::make_unique<QTemporaryDir>();
        const QByteArray listing = QFile::encodeName(m_listing->filePath(u"notes.txt"_qs));
        if (!timeCommand("cd " + vault +
                         " && find . -name '*.md' -printf '%P\\n' | sed 's/[.]md$//' > " +
                         shellQuoted(listing))) {
            std::fprintf(stderr, "cannot list the vault\n");
            return false;
        }
        const QStringList words = typedWords();
        for (int length : queryLengths) {
            for (int rep = 0; rep < m_options.toolRuns; ++rep) {
                const QString query = words[rep % words.size()].left(length);
                QByteArray count;
                const std::optional<double> ms = timeCommand(
                    "grep -ciF -- " + shellQuoted(query.toUtf8()) + ' ' + shellQuoted(listing),
                    &count);
                if (!ms) {
                    std::fprintf(stderr, "grep failed\n");
                    return false;
                }
                m_grep[length].push_back(*ms);
                if (rep < words.size())
                    m_grepMatches[length].append(count.trimmed().toInt());
            }
        }
        for (int rep = 0; rep < m_options.toolRuns; ++rep) {
            const std::optional<double> ms =
                timeCommand("grep -ciF -- " + shellQuoted(unmatchedWord().toUtf8()) + ' ' +
                            shellQuoted(listing));
            if (!ms)
                return false;
            m_grepUnmatched.push_back(*ms);
        }
        return true;
    }

    // ---- reporting

    static QString statsText(const Stats &s)
    {
        if (s.count == 0)
            return u"      —         —         —       "_qs;
        return u"%1  %2  %3   n=%4"_qs.arg(s.median, 8, 'f', 2)
            .arg(s.p95, 8, 'f', 2)
            .arg(s.max, 8, 'f', 2)
            .arg(s.count);
    }
    static void line(const QString &what, const Stats &s)
    {
        std::printf("  %-60s %s\n", qPrintable(what), qPrintable(statsText(s)));
    }
    template <typename Run>
    static std::vector<double> field(const std::vector<Run> &runs, double Run::*member)
    {
        std::vector<double> values;
        for (const Run &run : runs)
            values.push_back(run.*member);
        return values;
    }
    static QString matchText(const QList<int> &counts)
    {
        QStringList parts;
        for (int count : counts)
            parts.append(QString::number(count));
        return parts.join(u' ');
    }

    void print() const
    {
        const QString backend =
            m_window.rendererInterface()
                ? (m_window.rendererInterface()->graphicsApi() == QSGRendererInterface::Software
                       ? u"software"_qs
                       : u"hardware"_qs)
                : u"?"_qs;
        std::printf("\nNotes listing: %lld notes in %s\n", qlonglong(m_noteCount),
                    qPrintable(m_vault));
        std::printf("platform %s, %s scene graph, window %dx%d, %lld rows shown\n",
                    qPrintable(QGuiApplication::platformName()), qPrintable(backend),
                    windowSize.width(), windowSize.height(), qlonglong(m_shownRows));
        std::printf("\n  %-60s %8s  %8s  %8s\n", "milliseconds", "median", "p95", "max");

        std::printf("Switching to the Notes tab once the notes are known (view made → rows on "
                    "screen)\n");
        line(u"view made, rows in the list"_qs, stats(field(m_tabKnown, &TabRun::created)));
        line(u"first frame with the rows"_qs, stats(field(m_tabKnown, &TabRun::shown)));
        std::printf("The first switch: the vault walked (view made → rows on screen)\n");
        std::printf("  %-60s %8.2f (made %.2f, refreshed %.2f)\n",
                    "first time, QML not yet compiled", m_firstTab.shown, m_firstTab.created,
                    m_firstTab.refreshed);
        line(u"warm: view made, walk started"_qs, stats(field(m_walkWarm, &TabRun::created)));
        line(u"warm: list refreshed (walk on its own thread)"_qs,
             stats(field(m_walkWarm, &TabRun::refreshed)));
        line(u"warm: first frame with the rows"_qs, stats(field(m_walkWarm, &TabRun::shown)));
        line(u"cold cache: first frame with the rows"_qs, stats(field(m_walkCold, &TabRun::shown)));
        line(u"NotesIndex::scan alone, warm"_qs, stats(m_scanWarm));
        line(u"NotesIndex::scan alone, cold cache"_qs, stats(m_scanCold));
        line(u"search buffer made after a walk or a change (walking thread)"_qs, stats(m_prepare));
        std::printf("  %-60s %8.1f MiB (%.0f bytes a note)\n", "the list kept in memory",
                    double(m_indexKiB) / 1024,
                    m_noteCount ? double(m_indexKiB) * 1024 / double(m_noteCount) : 0.0);
        line(u"find VAULT -name '*.md' | wc -l, warm (%1 found)"_qs.arg(m_findCount),
             stats(m_findWarm));
        line(u"find VAULT -name '*.md' | wc -l, cold cache"_qs, stats(m_findCold));
        line(u"find VAULT -printf '%T@ %P\\n' | sort -rn, warm"_qs, stats(m_datedWarm));
        line(u"find VAULT -printf '%T@ %P\\n' | sort -rn, cold cache"_qs, stats(m_datedCold));
        std::printf("  (find also counts the board files, which the walk leaves out)\n");
        if (!m_coldNote.isEmpty())
            std::printf("  (cold cache not measured: %s)\n", qPrintable(m_coldNote));

        std::printf("Keystroke in the search (key sent → narrowed rows on screen)\n");
        for (int length : queryLengths) {
            const auto &runs = m_keys.value(length);
            line(u"%1 chars: list reset (key handled)"_qs.arg(length),
                 stats(field(runs, &KeyRun::handled)));
            line(u"%1 chars: first frame with the matches"_qs.arg(length),
                 stats(field(runs, &KeyRun::shown)));
            line(u"%1 chars: NotesIndex::shown alone"_qs.arg(length),
                 stats(m_shownAlone.value(length)));
            line(u"%1 chars: grep -ciF over a listing of the notes"_qs.arg(length),
                 stats(m_grep.value(length)));
            std::printf("  %-60s %s\n", "  rows shown (at most 40) per word",
                        qPrintable(matchText(m_matches.value(length))));
            std::printf("  %-60s %s\n", "  lines grep counted per word",
                        qPrintable(matchText(m_grepMatches.value(length))));
        }
        line(u"\"%1\", found nowhere: list reset (key handled)"_qs.arg(unmatchedWord()),
             stats(field(m_keysUnmatched, &KeyRun::handled)));
        line(u"\"%1\", found nowhere: first frame with the empty list"_qs.arg(unmatchedWord()),
             stats(field(m_keysUnmatched, &KeyRun::shown)));
        line(u"\"%1\", found nowhere: NotesIndex::shown alone"_qs.arg(unmatchedWord()),
             stats(m_shownUnmatched));
        line(u"\"%1\", found nowhere: grep -ciF over the listing"_qs.arg(unmatchedWord()),
             stats(m_grepUnmatched));
        std::printf("  words typed, a letter at a time: %s\n",
                    qPrintable(typedWords().join(u", "_qs)));
        std::fflush(stdout);
    }

    bool writeJson() const
    {
        if (m_options.json.isEmpty())
            return true;
        QJsonObject tab{
            {u"first_ms"_qs, m_firstTab.shown},
            {u"known_created"_qs, toJson(stats(field(m_tabKnown, &TabRun::created)))},
            {u"known_shown"_qs, toJson(stats(field(m_tabKnown, &TabRun::shown)))},
            {u"walk_warm_created"_qs, toJson(stats(field(m_walkWarm, &TabRun::created)))},
            {u"walk_warm_refreshed"_qs, toJson(stats(field(m_walkWarm, &TabRun::refreshed)))},
            {u"walk_warm_shown"_qs, toJson(stats(field(m_walkWarm, &TabRun::shown)))},
            {u"walk_cold_shown"_qs, toJson(stats(field(m_walkCold, &TabRun::shown)))},
            {u"scan_warm"_qs, toJson(stats(m_scanWarm))},
            {u"scan_cold"_qs, toJson(stats(m_scanCold))},
            {u"prepare_search"_qs, toJson(stats(m_prepare))},
            {u"index_kib"_qs, m_indexKiB},
            {u"find_warm"_qs, toJson(stats(m_findWarm))},
            {u"find_cold"_qs, toJson(stats(m_findCold))},
            {u"find_dated_sorted_warm"_qs, toJson(stats(m_datedWarm))},
            {u"find_dated_sorted_cold"_qs, toJson(stats(m_datedCold))},
        };
        QJsonObject keys;
        for (int length : queryLengths) {
            keys.insert(
                QString::number(length),
                QJsonObject{
                    {u"handled"_qs, toJson(stats(field(m_keys.value(length), &KeyRun::handled)))},
                    {u"shown"_qs, toJson(stats(field(m_keys.value(length), &KeyRun::shown)))},
                    {u"index_shown"_qs, toJson(stats(m_shownAlone.value(length)))},
                    {u"grep"_qs, toJson(stats(m_grep.value(length)))},
                });
        }
        keys.insert(u"unmatched"_qs,
                    QJsonObject{
                        {u"handled"_qs, toJson(stats(field(m_keysUnmatched, &KeyRun::handled)))},
                        {u"shown"_qs, toJson(stats(field(m_keysUnmatched, &KeyRun::shown)))},
                        {u"index_shown"_qs, toJson(stats(m_shownUnmatched))},
                        {u"grep"_qs, toJson(stats(m_grepUnmatched))},
                    });
        const QJsonObject root{{u"notes"_qs, qint64(m_noteCount)},
                               {u"platform"_qs, QGuiApplication::platformName()},
                               {u"tab"_qs, tab},
                               {u"keystroke"_qs, keys}};
        QFile file(m_options.json);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(m_options.json));
            return false;
        }
        file.write(QJsonDocument(root).toJson());
        return true;
    }

    Options m_options;
    QString m_vault;
    FakeClock m_clock;
    RecordingLauncher m_launcher;
    std::unique_ptr<BoardStore> m_store;
    std::unique_ptr<NotchModel> m_model;
    QQmlEngine m_engine;
    std::unique_ptr<QQmlComponent> m_component;
    QQuickWindow m_window;
    std::unique_ptr<FrameWatch> m_frames;
    QElapsedTimer m_timer;
    // What the searches found, so that none of them is optimised away.
    qsizetype m_sink = 0;

    TabRun m_firstTab;
    std::vector<TabRun> m_tabKnown, m_walkWarm, m_walkCold;
    std::vector<double> m_scanWarm, m_scanCold, m_prepare, m_findWarm, m_findCold, m_datedWarm,
        m_datedCold;
    QString m_coldNote;
    qsizetype m_noteCount = 0;
    qint64 m_indexKiB = 0;
    qsizetype m_shownRows = 0;
    qint64 m_findCount = 0;
    NotesIndex m_index;
    QHash<int, std::vector<KeyRun>> m_keys;
    std::vector<KeyRun> m_keysUnmatched;
    std::vector<double> m_shownUnmatched, m_grepUnmatched;
    QHash<int, QList<int>> m_matches;
    QHash<int, std::vector<double>> m_shownAlone;
    QHash<int, std::vector<double>> m_grep;
    QHash<int, QList<int>> m_grepMatches;
    std::unique_ptr<QTemporaryDir> m_listing;
};

} // namespace

int main(int argc, char **argv)
{
    // A scratch home, config, state and cache before anything reads the environment: the run
    // never touches the user's files, and the store finds the generated vault.
    QTemporaryDir scratch;
    if (!scratch.isValid()) {
        std::fprintf(stderr, "no scratch folder\n");
        return 1;
    }
    useScratchHome(scratch);

    QGuiApplication app(argc, argv);
    const std::optional<Options> options = parseOptions(QGuiApplication::arguments());
    if (!options)
        return 2;
    const QString vault = vaultFor(*options);
    qputenv("TALLOWFERN_VAULT", QFile::encodeName(vault));
    Bench bench(*options, vault);
    return bench.run();
}
