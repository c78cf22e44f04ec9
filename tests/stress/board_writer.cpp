// Another program writing today's board while the app has it open. At random moments it adds a
// card of its own to To do, or now and then takes out one of its earlier cards, each time reading
// the whole file, changing it and writing it back whole: half of the writes in place as an editor
// does, half through a file swapped in as a careful sync tool does. Its last line on stdout says
// what it did, as JSON.
#include "model/Board.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

// How long a missing or half-written board is waited for, in tries 20 ms apart.
constexpr int waitTries = 250;
// How often a swap that found someone else's write in between starts over.
constexpr int swapTries = 50;

[[noreturn]] void fail(const char *what, const QByteArray &path)
{
    std::fprintf(stderr, "board_writer: %s %s: %s\n", what, path.constData(), std::strerror(errno));
    std::exit(1);
}

void sleepMs(int ms)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

std::optional<QByteArray> readFrom(int fd)
{
    QByteArray bytes;
    char buffer[65536];
    for (off_t at = 0;;) {
        const ssize_t got = ::pread(fd, buffer, sizeof buffer, at);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            return std::nullopt;
        }
        if (got == 0)
            return bytes;
        bytes.append(buffer, got);
        at += got;
    }
}

// Nothing when the file is not there.
std::optional<QByteArray> readPath(const QByteArray &path)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT)
            return std::nullopt;
        fail("cannot open", path);
    }
    std::optional<QByteArray> bytes = readFrom(fd);
    ::close(fd);
    if (!bytes)
        fail("cannot read", path);
    return bytes;
}

void writeAllAt(int fd, const QByteArray &bytes, const QByteArray &path)
{
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t put =
            ::pwrite(fd, bytes.constData() + done, size_t(bytes.size() - done), off_t(done));
        if (put < 0) {
            if (errno == EINTR)
                continue;
            fail("cannot write", path);
        }
        done += put;
    }
}

// A whole board as the app and this program write it; anything else (an empty file, one cut
// short) is a file caught half-written, to be read again later.
std::optional<Board> wholeBoard(const QByteArray &bytes)
{
    if (bytes.isEmpty())
        return std::nullopt;
    Board board = Board::parse(QString::fromUtf8(bytes));
    if (board.markdown().toUtf8() != bytes)
        return std::nullopt;
    return board;
}

bool holds(const Board &board, const QString &text)
{
    for (const Lane &lane : board.lanes()) {
        for (const Card &card : lane.cards()) {
            if (card.text() == text)
                return true;
        }
    }
    return false;
}

struct Change {
    bool remove = false;
    QString text;
};

// The board with the change made, or nothing when it is made already: then there is nothing to
// write.
std::optional<QByteArray> changed(Board board, const Change &change)
{
    if (change.remove) {
        bool found = false;
        for (Lane &lane : board.lanes()) {
            found |=
                lane.cards().removeIf([&](const Card &c) { return c.text() == change.text; }) > 0;
        }
        if (!found)
            return std::nullopt;
    } else {
        if (holds(board, change.text))
            return std::nullopt;
        const auto todo = board.laneIndex(LaneKind::Todo);
        board.lanes()[*todo].cards().append(Card(change.text));
    }
    return board.markdown().toUtf8();
}

class Writer {
public:
    Writer(const QString &path, quint32 randomStart, QString prefix, bool alwaysPause)
        : m_path(QFile::encodeName(path)), m_random(randomStart), m_prefix(std::move(prefix)),
          m_alwaysPause(alwaysPause)
    {
        const qsizetype slash = m_path.lastIndexOf('/');
        m_folder = slash < 0 ? QByteArray(".") : m_path.left(slash);
        m_name = m_path.mid(slash + 1);
    }

    void write(int number)
    {
        sleepMs(5 + int(m_random.bounded(56)));
        m_wantsRemoval = m_random.bounded(100) < 20;
        m_change.reset();
        const bool inPlace = m_alwaysPause || m_random.bounded(2) == 0;
        const bool pause = m_alwaysPause || (inPlace && m_random.bounded(100) < 30);
        m_text = m_prefix + u'-' + QString::number(number).rightJustified(3, u'0');
        const bool done = inPlace ? writeInPlace(pause) : writeBySwap(number);
        if (!done)
            ++m_skipped;
    }

    [[nodiscard]] QJsonObject summary() const
    {
        return {{u"added"_qs, QJsonArray::fromStringList(m_added)},
                {u"deleted"_qs, QJsonArray::fromStringList(m_deleted)},
                {u"inPlace"_qs, m_inPlace},
                {u"atomic"_qs, m_atomic},
                {u"paused"_qs, m_paused},
                {u"orphaned"_qs, m_orphaned},
                {u"retried"_qs, m_retried},
                {u"skipped"_qs, m_skipped}};
    }

private:
    // What this write does, decided on its first look at the board and kept through retries:
    // a removal takes one of this program's cards that the board still shows.
    const Change &decide(const Board &board)
    {
        if (m_change)
            return *m_change;
        QStringList present;
        for (const QString &text : std::as_const(m_added)) {
            if (!m_deleted.contains(text) && holds(board, text))
                present.append(text);
        }
        if (m_wantsRemoval && !present.isEmpty())
            m_change = Change{true, present[m_random.bounded(int(present.size()))]};
        else
            m_change = Change{false, m_text};
        return *m_change;
    }

    // Also when a retry finds the change made already: someone took it in from the swapped-in
    // file before that was swapped out again.
    void record(const Change &change) { (change.remove ? m_deleted : m_added).append(change.text); }

    // As an editor saves: the descriptor is opened before the read and held until the text is
    // written back, truncated first. A pause leaves the file empty for a while.
    bool writeInPlace(bool pause)
    {
        for (int attempt = 0; attempt < waitTries; ++attempt) {
            const int fd = ::open(m_path.constData(), O_RDWR | O_CLOEXEC);
            if (fd < 0) {
                if (errno != ENOENT)
                    fail("cannot open", m_path);
                sleepMs(20);
                continue;
            }
            const std::optional<QByteArray> bytes = readFrom(fd);
            if (!bytes)
                fail("cannot read", m_path);
            const std::optional<Board> board = wholeBoard(*bytes);
            if (!board) {
                ::close(fd);
                sleepMs(20);
                continue;
            }
            const Change change = decide(*board);
            const std::optional<QByteArray> text = changed(*board, change);
            if (text) {
                if (::ftruncate(fd, 0) != 0)
                    fail("cannot truncate", m_path);
                if (pause) {
                    sleepMs(10 + int(m_random.bounded(31)));
                    ++m_paused;
                }
                writeAllAt(fd, *text, m_path);
                // Someone renamed another file over the board meanwhile: this text went to a
                // file that no longer has a name.
                struct stat info {};
                if (::fstat(fd, &info) == 0 && info.st_nlink == 0)
                    ++m_orphaned;
                ++m_inPlace;
            }
            if (::close(fd) != 0)
                fail("cannot close", m_path);
            record(change);
            return true;
        }
        return false;
    }

    // As a careful sync tool replaces a file: the new text in a file of its own beside the
    // board, swapped with it in one step. If what came out is not what was read, someone wrote
    // in between: theirs goes back and the whole change starts over from their text.
    bool writeBySwap(int number)
    {
        const QByteArray temporary = m_folder + "/." + m_name + ".sync-" +
                                     QByteArray::number(::getpid()) + '-' +
                                     QByteArray::number(number) + ".tmp";
        int swaps = 0;
        for (int attempt = 0; attempt < waitTries && swaps < swapTries; ++attempt) {
            const std::optional<QByteArray> bytes = readPath(m_path);
            const std::optional<Board> board = bytes ? wholeBoard(*bytes) : std::nullopt;
            if (!board) {
                sleepMs(20);
                continue;
            }
            const Change change = decide(*board);
            const std::optional<QByteArray> text = changed(*board, change);
            if (!text) {
                record(change);
                return true;
            }

            const int fd =
                ::open(temporary.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
            if (fd < 0)
                fail("cannot create", temporary);
            writeAllAt(fd, *text, temporary);
            struct stat ours {};
            if (::fsync(fd) != 0 || ::fstat(fd, &ours) != 0 || ::close(fd) != 0)
                fail("cannot finish", temporary);

            if (!exchange(temporary)) {
                // The board is gone for the moment.
                ::unlink(temporary.constData());
                sleepMs(20);
                continue;
            }
            ++swaps;
            const std::optional<QByteArray> swappedOut = readPath(temporary);
            if (swappedOut && *swappedOut == *bytes) {
                ::unlink(temporary.constData());
                ++m_atomic;
                record(change);
                return true;
            }
            ++m_retried;
            exchange(temporary);
            // A file renamed over ours while it was in place is newer than the one put back:
            // that one stays.
            struct stat back {};
            if (::lstat(temporary.constData(), &back) == 0 && back.st_ino != ours.st_ino)
                exchange(temporary);
            ::unlink(temporary.constData());
        }
        return false;
    }

    // False when the board is not there to swap with.
    bool exchange(const QByteArray &temporary)
    {
        if (::renameat2(AT_FDCWD, temporary.constData(), AT_FDCWD, m_path.constData(),
                        RENAME_EXCHANGE) == 0)
            return true;
        if (errno != ENOENT)
            fail("cannot swap in", temporary);
        return false;
    }

    QByteArray m_path;
    QByteArray m_folder;
    QByteArray m_name;
    QRandomGenerator m_random;
    QString m_prefix;
    bool m_alwaysPause;

    bool m_wantsRemoval = false;
    QString m_text;
    std::optional<Change> m_change;

    QStringList m_added;
    QStringList m_deleted;
    int m_inPlace = 0;
    int m_atomic = 0;
    int m_paused = 0;
    int m_orphaned = 0;
    int m_retried = 0;
    int m_skipped = 0;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Writes a board file at random moments, as another program would."_qs);
    parser.addHelpOption();
    parser.addPositionalArgument(u"board"_qs, u"The board file."_qs);
    parser.addPositionalArgument(u"random-start"_qs, u"Starts the random choices."_qs);
    parser.addPositionalArgument(u"count"_qs, u"How many writes."_qs);
    parser.addPositionalArgument(u"prefix"_qs, u"Cards are named <prefix>-<number>."_qs);
    const QCommandLineOption pauseAlways(
        u"always-pause"_qs, u"Every write in place, each pausing between truncate and write."_qs);
    parser.addOption(pauseAlways);
    parser.process(app);

    const QStringList args = parser.positionalArguments();
    bool startOk = false;
    bool countOk = false;
    const quint32 randomStart = args.size() == 4 ? args[1].toUInt(&startOk) : 0;
    const int count = args.size() == 4 ? args[2].toInt(&countOk) : 0;
    if (!startOk || !countOk || count < 0 || count > 999 || args[3].isEmpty()) {
        std::fputs("usage: board_writer [--always-pause] BOARD RANDOM-START COUNT PREFIX\n"
                   "  COUNT from 0 to 999\n",
                   stderr);
        return 2;
    }

    Writer writer(args[0], randomStart, args[3], parser.isSet(pauseAlways));
    for (int number = 1; number <= count; ++number)
        writer.write(number);
    std::printf("%s\n", QJsonDocument(writer.summary()).toJson(QJsonDocument::Compact).constData());
    return 0;
}
