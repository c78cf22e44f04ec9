#include "notes/NotesIndex.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>

#include <fcntl.h>
#include <ftw.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr qint64 baseSeconds = 1'700'000'000;

// Creates the folders on the way and, unless relative ends in "/", the file, whose modification
// time is then set to baseSeconds + seconds. Paths are bytes so that names need not be UTF-8.
bool makeFile(const QByteArray &root, const QByteArray &relative, qint64 seconds = 0,
              long nanoseconds = 0)
{
    for (qsizetype slash = relative.indexOf('/'); slash >= 0;
         slash = relative.indexOf('/', slash + 1)) {
        const QByteArray folder = root + '/' + relative.left(slash);
        if (::mkdir(folder.constData(), 0755) != 0 && errno != EEXIST)
            return false;
        ::chmod(folder.constData(), 0755);
    }
    if (relative.endsWith('/'))
        return true;
    const QByteArray path = root + '/' + relative;
    const int fd = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const bool written = ::write(fd, "text\n", 5) == 5;
    ::close(fd);
    const struct timespec times[2] = {{time_t(baseSeconds + seconds), nanoseconds},
                                      {time_t(baseSeconds + seconds), nanoseconds}};
    return written && ::utimensat(AT_FDCWD, path.constData(), times, 0) == 0;
}

QStringList pathsOf(const QList<NoteFile> &notes)
{
    QStringList paths;
    for (const NoteFile &note : notes)
        paths.append(note.path);
    return paths;
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

} // namespace

class TestNotesIndex : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_vault;
    QByteArray m_vaultBytes;

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_vault = m_dir->path() + u"/vault"_qs;
        m_vaultBytes = QFile::encodeName(m_vault);
        QVERIFY(QDir().mkpath(m_vault));
    }

    void cleanup()
    {
        // QDir cannot name files whose names are not UTF-8, so the vault goes by bytes.
        ::chmod(m_vaultBytes.constData(), 0755);
        ::nftw(
            m_vaultBytes.constData(),
            [](const char *path, const struct stat *, int, struct FTW *) { return ::remove(path); },
            16, FTW_DEPTH | FTW_PHYS);
        m_dir.reset();
    }

    void nothingToList_data()
    {
        QTest::addColumn<QByteArrayList>("files");
        QTest::addColumn<QString>("root");
        QTest::newRow("missing vault") << QByteArrayList{"a.md"} << u"elsewhere"_qs;
        QTest::newRow("empty vault") << QByteArrayList{} << u"vault"_qs;
        QTest::newRow("no notes") << QByteArrayList{"a.txt",           "Note.MD", "x.markdown",
                                                    "Folder/read.txt", "md",      "x.md.bak",
                                                    "Folder/Sub/"}
                                  << u"vault"_qs;
        QTest::newRow("a note as the vault") << QByteArrayList{"a.md"} << u"vault/a.md"_qs;
    }
    void nothingToList()
    {
        QFETCH(QByteArrayList, files);
        QFETCH(QString, root);
        for (const QByteArray &file : files)
            QVERIFY(makeFile(m_vaultBytes, file));
        const NotesIndex index = NotesIndex::scan(m_dir->path() + u'/' + root, u"Boards"_qs);
        QCOMPARE(pathsOf(index.notes()), QStringList());
        QCOMPARE(pathsOf(index.shown(QString())), QStringList());
        QCOMPARE(pathsOf(index.shown(u"a"_qs)), QStringList());
    }

    void emptyVaultPathIsNoVault()
    {
        QVERIFY(makeFile(m_vaultBytes, "here.md"));
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(m_vault));
        const NotesIndex fromEmpty = NotesIndex::scan(QString(), u"Boards"_qs);
        const NotesIndex fromDot = NotesIndex::scan(u"."_qs, u"Boards"_qs);
        QVERIFY(QDir::setCurrent(before));
        QCOMPARE(pathsOf(fromEmpty.notes()), QStringList());
        QCOMPARE(pathsOf(fromDot.notes()), QStringList{u"here"_qs});
    }

    void listed_data()
    {
        QTest::addColumn<QByteArrayList>("files");
        QTest::addColumn<QString>("boardsFolder");
        QTest::addColumn<QStringList>("expected");

        QTest::newRow("hidden entries")
            << QByteArrayList{".obsidian/workspace.md", ".trash/old.md",      ".hidden.md",
                              "Projects/.drafts/x.md",  "Projects/.dot.md",   "a/b/.git/c.md",
                              "Projects/visible.md",    ".obsidian/deep/y.md"}
            << u"Boards"_qs << QStringList{u"Projects/visible"_qs};
        QTest::newRow("boards folder left out")
            << QByteArrayList{"Boards/2025-03-14.md",
                              "Boards/Old/2024-01-01.md",
                              "Notes/2025-03-14.md",
                              "BoardsOld/x.md",
                              "Boards.md",
                              "boards/y.md"}
            << u"Boards"_qs
            << QStringList{u"Boards"_qs, u"BoardsOld/x"_qs, u"Notes/2025-03-14"_qs, u"boards/y"_qs};
        QTest::newRow("boards folder of two components")
            << QByteArrayList{"01 Journal/Boards/2025-03-14.md", "01 Journal/Daily.md",
                              "01 Journal/BoardsArchive/a.md", "Boards/b.md",
                              "Other/01 Journal/Boards/c.md"}
            << u"01 Journal/Boards"_qs
            << QStringList{u"01 Journal/BoardsArchive/a"_qs, u"01 Journal/Daily"_qs, u"Boards/b"_qs,
                           u"Other/01 Journal/Boards/c"_qs};
        QTest::newRow("no boards folder set") << QByteArrayList{"Boards/a.md", "b.md"} << QString()
                                              << QStringList{u"Boards/a"_qs, u"b"_qs};
        QTest::newRow("extension is exactly md")
            << QByteArrayList{"Note.MD",  "Other.Md", "x.markdown", "a.md.txt", "b.md",
                              "c.txt.md", "README",   "md",         "Sub/d.md"}
            << u"Boards"_qs << QStringList{u"Sub/d"_qs, u"b"_qs, u"c.txt"_qs};
        QTest::newRow("folder named like a note")
            << QByteArrayList{"Folder.md/inner.md", "Empty.md/"} << u"Boards"_qs
            << QStringList{u"Empty"_qs, u"Folder"_qs, u"Folder.md/inner"_qs};
        QTest::newRow("no depth limit")
            << QByteArrayList{"1/2/3/4/5/6/7/8/9/10/11/12/13/14/15/16/deep.md", "top.md"}
            << u"Boards"_qs
            << QStringList{u"1/2/3/4/5/6/7/8/9/10/11/12/13/14/15/16/deep"_qs, u"top"_qs};
    }
    void listed()
    {
        QFETCH(QByteArrayList, files);
        QFETCH(QString, boardsFolder);
        QFETCH(QStringList, expected);
        for (const QByteArray &file : files)
            QVERIFY(makeFile(m_vaultBytes, file));
        QCOMPARE(sorted(pathsOf(NotesIndex::scan(m_vault, boardsFolder).notes())), expected);
    }

    void fields_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("folder");
        QTest::newRow("in a folder") << QByteArray("Notes/2025-03-14.md") << u"Notes/2025-03-14"_qs
                                     << u"2025-03-14"_qs << u"Notes"_qs;
        QTest::newRow("at the root")
            << QByteArray("Inbox.md") << u"Inbox"_qs << u"Inbox"_qs << QString();
        QTest::newRow("dots in the name") << QByteArray("a/b/v1.2 draft.md") << u"a/b/v1.2 draft"_qs
                                          << u"v1.2 draft"_qs << u"a/b"_qs;
        QTest::newRow("only one .md comes off")
            << QByteArray("x.md.md") << u"x.md"_qs << u"x.md"_qs << QString();
        QTest::newRow("UTF-8") << QByteArray("Caf\xC3\xA9/\xE2\x98\x95 Cr\xC3\xA8me.md")
                               << u"Café/☕ Crème"_qs << u"☕ Crème"_qs << u"Café"_qs;
        // Bytes that are not UTF-8 are read as Windows-1252, as names from older systems were
        // usually written; UTF-8 beside them stays UTF-8.
        QTest::newRow("Latin-1 name")
            << QByteArray("caf\xE9.md") << u"café"_qs << u"café"_qs << QString();
        QTest::newRow("not UTF-8 folder")
            << QByteArray("\xFF\xFE/n\xFF.md") << u"ÿþ/nÿ"_qs << u"nÿ"_qs << u"ÿþ"_qs;
        QTest::newRow("Windows-1252 signs")
            << QByteArray("\x80 \x93q\x94.md") << u"€ “q”"_qs << u"€ “q”"_qs << QString();
        QTest::newRow("UTF-8 and a stray byte")
            << QByteArray("\xC3\xA9t\xE9.md") << u"été"_qs << u"été"_qs << QString();
        QTest::newRow("cut-off UTF-8")
            << QByteArray("a\xE2\x98.md") << u"aâ˜"_qs << u"aâ˜"_qs << QString();
        QTest::newRow("encoded surrogate")
            << QByteArray("\xED\xA0\x80.md") << u"í\u00A0€"_qs << u"í\u00A0€"_qs << QString();
        QTest::newRow("byte Windows-1252 leaves out")
            << QByteArray("x\x81.md") << u"x\uFFFD"_qs << u"x\uFFFD"_qs << QString();
    }
    void fields()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, path);
        QFETCH(QString, name);
        QFETCH(QString, folder);
        QVERIFY(makeFile(m_vaultBytes, file));
        const NotesIndex index = NotesIndex::scan(m_vault, u"Boards"_qs);
        QCOMPARE(index.notes().size(), 1);
        const NoteFile note = index.notes().constFirst();
        QCOMPARE(note.path, path);
        QCOMPARE(note.name, name);
        QCOMPARE(note.folder, folder);
        QCOMPARE(note.modified, QDateTime::fromSecsSinceEpoch(baseSeconds, Qt::UTC));
        // What opens it is the name on disk, byte for byte.
        QCOMPARE(note.pathBytes, file.chopped(3));
        QCOMPARE(pathsOf(index.shown(name.right(2))), QStringList{path});
    }

    void modified_data()
    {
        QTest::addColumn<qint64>("seconds");
        QTest::addColumn<long>("nanoseconds");
        QTest::addColumn<qint64>("msecs");
        QTest::newRow("whole second") << qint64(0) << 0L << baseSeconds * 1000;
        QTest::newRow("nanoseconds cut to milliseconds")
            << qint64(0) << 987'654'321L << baseSeconds * 1000 + 987;
        QTest::newRow("the epoch") << -baseSeconds << 0L << qint64(0);
        QTest::newRow("before 1970") << -baseSeconds - 1 << 500'000'000L << qint64(-500);
    }
    void modified()
    {
        QFETCH(qint64, seconds);
        QFETCH(long, nanoseconds);
        QFETCH(qint64, msecs);
        QVERIFY(makeFile(m_vaultBytes, "a.md", seconds, nanoseconds));
        const NotesIndex index = NotesIndex::scan(m_vault, u"Boards"_qs);
        QCOMPARE(index.notes().size(), 1);
        QCOMPARE(index.notes().constFirst().modified.toMSecsSinceEpoch(), msecs);
    }

    void vaultSpelling_data()
    {
        QTest::addColumn<QString>("spelling");
        QTest::newRow("trailing slash") << u"%1/vault/"_qs;
        QTest::newRow("dot") << u"%1/./vault/."_qs;
        QTest::newRow("doubled separators") << u"%1//vault//"_qs;
        QTest::newRow("dot-dot") << u"%1/vault/Projects/.."_qs;
        // Standardised as text, so even a missing folder before ".." is fine.
        QTest::newRow("dot-dot after a missing folder") << u"%1/nowhere/../vault"_qs;
    }
    void vaultSpelling()
    {
        QFETCH(QString, spelling);
        QVERIFY(makeFile(m_vaultBytes, "Inbox.md", 3));
        QVERIFY(makeFile(m_vaultBytes, "Projects/Plan.md", 2));
        QVERIFY(makeFile(m_vaultBytes, "Projects/Deep/Idea.md", 1));
        QVERIFY(makeFile(m_vaultBytes, "Boards/2025-03-14.md", 4));
        const NotesIndex plain = NotesIndex::scan(m_vault, u"Boards"_qs);
        QCOMPARE(pathsOf(plain.notes()),
                 (QStringList{u"Inbox"_qs, u"Projects/Plan"_qs, u"Projects/Deep/Idea"_qs}));
        QCOMPARE(NotesIndex::scan(spelling.arg(m_dir->path()), u"Boards"_qs).notes(),
                 plain.notes());
    }

    void newestFirst()
    {
        constexpr int count = 30;
        QList<std::pair<qint64, QString>> made;
        for (int i = 0; i < count; ++i) {
            // 7 and 30 share no factor, so every time comes up once, out of creation order.
            const qint64 seconds = (i * 7) % count;
            const QByteArray file = "f" + QByteArray::number(i % 4) + "/n" + QByteArray::number(i);
            QVERIFY(makeFile(m_vaultBytes, file + ".md", seconds, 1000 * i));
            made.append({seconds, QString::fromUtf8(file)});
        }
        std::sort(made.begin(), made.end(), [](const auto &a, const auto &b) { return a > b; });
        QStringList expected;
        for (const auto &[seconds, path] : made)
            expected.append(path);

        const NotesIndex index = NotesIndex::scan(m_vault, u"Boards"_qs);
        QCOMPARE(pathsOf(index.notes()), expected);
        for (qsizetype i = 1; i < index.notes().size(); ++i)
            QVERIFY(index.notes()[i - 1].modified > index.notes()[i].modified);
    }

    void equalTimesKeepWalkOrder()
    {
        // Created out of order so that the order of creation cannot pass for the walk order.
        const QByteArrayList files{"zeta.md", "beta/one.md", "Alpha.md", "b/a.md",
                                   "beta.md", "a b.md",      "b/B.md"};
        for (const QByteArray &file : files)
            QVERIFY(makeFile(m_vaultBytes, file, 5));
        QVERIFY(makeFile(m_vaultBytes, "newer.md", 6));
        QVERIFY(makeFile(m_vaultBytes, "b/older.md", 4));
        // A folder's entries in byte order of their names, a subfolder where its name falls.
        const QStringList expected{u"newer"_qs,    u"Alpha"_qs, u"a b"_qs,  u"b/B"_qs,    u"b/a"_qs,
                                   u"beta/one"_qs, u"beta"_qs,  u"zeta"_qs, u"b/older"_qs};
        QCOMPARE(pathsOf(NotesIndex::scan(m_vault, u"Boards"_qs).notes()), expected);
        QCOMPARE(pathsOf(NotesIndex::scan(m_vault, u"Boards"_qs).notes()), expected);
    }

    void shown_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QStringList>("expected");
        const QString launch = u"Projects/ideas/Launch"_qs;
        const QString ideas = u"Ideas"_qs;
        const QString monday = u"Journal/Monday"_qs;
        const QString old = u"Archive/Old Zine"_qs;
        const QString day = u"Notes/2025-03-14"_qs;
        const QString creme = u"Café/Crème"_qs;
        const QStringList all{launch, ideas, monday, old, day, creme};

        QTest::newRow("trimmed and lower-cased") << u"  IDEAS "_qs << QStringList{launch, ideas};
        QTest::newRow("tabs trimmed") << u"\tideas\t"_qs << QStringList{launch, ideas};
        QTest::newRow("trailing line break kept") << u"ideas\n"_qs << QStringList();
        QTest::newRow("leading line break kept") << u"\nideas"_qs << QStringList();
        QTest::newRow("inner space kept") << u"ide as"_qs << QStringList();
        QTest::newRow("across folders") << u"cts/IDE"_qs << QStringList{launch};
        QTest::newRow("folder name") << u"journal"_qs << QStringList{monday};
        QTest::newRow("first and last capital") << u"archive/old zine"_qs << QStringList{old};
        QTest::newRow("contents are not searched") << u"some"_qs << QStringList();
        QTest::newRow("extension is not searched") << u".md"_qs << QStringList();
        QTest::newRow("not a pattern") << u"i.eas"_qs << QStringList();
        QTest::newRow("not a glob") << u"*ideas"_qs << QStringList();
        QTest::newRow("beyond ASCII") << u"CRÈME"_qs << QStringList{creme};
        QTest::newRow("one letter, list order") << u"o"_qs << QStringList{launch, monday, old, day};
        QTest::newRow("digits") << u"03-1"_qs << QStringList{day};
        QTest::newRow("empty") << QString() << all;
        QTest::newRow("blank") << u" \t "_qs << all;
        QTest::newRow("no match") << u"zzz"_qs << QStringList();
        // Paths lie end to end in one string, NUL between them; a query must not span two.
        QTest::newRow("NUL between two paths") << u"launch\0ideas"_qs << QStringList();
        QTest::newRow("NUL at the end of a path") << u"launch\0"_qs << QStringList();
    }
    void shown()
    {
        QFETCH(QString, query);
        QFETCH(QStringList, expected);
        QVERIFY(makeFile(m_vaultBytes, "Projects/ideas/Launch.md", 50));
        QVERIFY(makeFile(m_vaultBytes, "Ideas.md", 40));
        QVERIFY(makeFile(m_vaultBytes, "Journal/Monday.md", 30));
        QFile monday(m_vault + u"/Journal/Monday.md"_qs);
        QVERIFY(monday.open(QIODevice::WriteOnly));
        QVERIFY(monday.write("some ideas here, and more IDEAS\n") > 0);
        // Written out first, or closing would make the note new again.
        QVERIFY(monday.flush());
        QVERIFY(monday.setFileTime(QDateTime::fromSecsSinceEpoch(baseSeconds + 30),
                                   QFileDevice::FileModificationTime));
        monday.close();
        QVERIFY(makeFile(m_vaultBytes, "Archive/Old Zine.md", 20));
        QVERIFY(makeFile(m_vaultBytes, "Notes/2025-03-14.md", 10));
        QVERIFY(makeFile(m_vaultBytes, "Caf\xC3\xA9/Cr\xC3\xA8me.md", 5));
        QCOMPARE(pathsOf(NotesIndex::scan(m_vault, u"Boards"_qs).shown(query)), expected);
    }

    // Whatever the query, the notes shown are those a plain search of each path finds.
    void shownAgreesWithPlainSearch()
    {
        const QByteArrayList words{"Alpha", "beta", "Gamma", "aaa", "ab", "Résumé", "x", "ZZ"};
        for (int i = 0; i < 150; ++i) {
            const QByteArray name = words[i % words.size()] + ' ' + words[(i / 3) % words.size()] +
                                    QByteArray::number(i % 17);
            const QByteArray folder = i % 5 ? words[(i / 5) % words.size()] + '/' : QByteArray();
            QVERIFY(makeFile(m_vaultBytes, folder + name + ".md", (i * 61) % 150));
        }
        const NotesIndex index = NotesIndex::scan(m_vault, u"Boards"_qs);
        QCOMPARE(index.notes().size(), 150);

        QStringList queries{
            u"a"_qs,    u"aa"_qs,  u"aaa"_qs, u"aaaa"_qs,  u"é"_qs,           u"SUMÉ"_qs,
            u"zz"_qs,   u"zzz"_qs, u"/"_qs,   u"a/"_qs,    u"1"_qs,           u"16"_qs,
            u"ta g"_qs, u"q"_qs,   u"x x"_qs, u"ab ab"_qs, u"alpha/alpha"_qs, u"gamma gamma1"_qs};
        // Every piece of the first and the last path, so that matches at either end of the
        // search and of every length are tried; not those that trimming would change.
        for (const QString &path :
             {index.notes().constFirst().path, index.notes().constLast().path}) {
            for (qsizetype from = 0; from < path.size(); ++from) {
                for (qsizetype length = 1; from + length <= path.size(); ++length) {
                    const QString piece = path.mid(from, length);
                    if (piece.front() != u' ' && piece.back() != u' ')
                        queries.append(piece);
                }
            }
        }

        for (const QString &query : std::as_const(queries)) {
            QStringList expected;
            for (const NoteFile &note : index.notes()) {
                if (expected.size() < NotesIndex::maxShown &&
                    note.path.toLower().contains(query.toLower()))
                    expected.append(note.path);
            }
            QCOMPARE(pathsOf(index.shown(query)), expected);
        }
    }

    void atMostFortyShown()
    {
        constexpr int count = 100;
        QList<std::pair<qint64, QString>> made;
        for (int i = 0; i < count; ++i) {
            const qint64 seconds = (i * 37) % count;
            const QByteArray file =
                QByteArray(i % 2 ? "odd" : "even") + "/note " + QByteArray::number(i);
            QVERIFY(makeFile(m_vaultBytes, file + ".md", seconds));
            made.append({seconds, QString::fromUtf8(file)});
        }
        std::sort(made.begin(), made.end(), [](const auto &a, const auto &b) { return a > b; });
        QStringList newest;
        QStringList newestOdd;
        for (const auto &[seconds, path] : made) {
            if (newest.size() < NotesIndex::maxShown)
                newest.append(path);
            if (newestOdd.size() < NotesIndex::maxShown && path.startsWith(u"odd/"))
                newestOdd.append(path);
        }
        QCOMPARE(newest.size(), 40);
        QCOMPARE(newestOdd.size(), 40);

        const NotesIndex index = NotesIndex::scan(m_vault, u"Boards"_qs);
        QCOMPARE(index.notes().size(), count);
        QCOMPARE(pathsOf(index.shown(QString())), newest);
        QCOMPARE(pathsOf(index.shown(u"ODD"_qs)), newestOdd);
        QCOMPARE(pathsOf(index.shown(u"note 7"_qs)).size(), 11); // 7 and 70 to 79
        QCOMPARE(pathsOf(index.shown(u"note 100"_qs)), QStringList());
    }

    // Names synced from a Mac are often decomposed (NFD); queries are typed composed (NFC).
    void composedAndDecomposedMatch_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("query");
        QTest::addColumn<bool>("found");
        const QByteArray composed("Caf\xC3\xA9 Cr\xC3\xA8me.md");
        const QByteArray decomposed("Cafe\xCC\x81 Cre\xCC\x80me.md");
        QTest::newRow("composed name, composed query") << composed << u"café"_qs << true;
        QTest::newRow("decomposed name, composed query") << decomposed << u"café"_qs << true;
        QTest::newRow("composed name, decomposed query") << composed << u"cafe\u0301"_qs << true;
        QTest::newRow("decomposed name, decomposed query")
            << decomposed << u"cafe\u0301"_qs << true;
        QTest::newRow("capital, decomposed name") << decomposed << u"CAFÉ CRÈME"_qs << true;
        QTest::newRow("accent is no letter") << decomposed << u"cafe "_qs << false;
        QTest::newRow("other accent") << decomposed << u"cafè"_qs << false;
        QTest::newRow("Hangul, decomposed")
            << QByteArray("\xE1\x84\x92\xE1\x85\xA1\xE1\x86\xAB.md") << u"한"_qs << true;
    }
    void composedAndDecomposedMatch()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, query);
        QFETCH(bool, found);
        QVERIFY(makeFile(m_vaultBytes, file));
        const NotesIndex index = NotesIndex::scan(m_vault, u"Boards"_qs);
        QCOMPARE(index.shown(query).size(), found ? 1 : 0);
        if (found)
            // Shown as written, opened by its own bytes.
            QCOMPARE(index.shown(query).constFirst().pathBytes, file.chopped(3));
    }

    // However changes come in, the list is in the order a new walk would give: newest first,
    // equal times in walk order.
    void updatesKeepTheOrderOfAWalk()
    {
        const QByteArrayList names{"a",    "a.b", "a-b", "B",   "b",     "a/b",   "a/a", "a.md/x",
                                   "ab/c", "z",   "é",   "a b", "a/b/c", "a/b.c", "ab"};
        QRandomGenerator random(20250307);
        const auto randomFile = [&] { return names[random.bounded(int(names.size()))] + ".md"; };
        QHash<QByteArray, qint64> truth;
        NotesIndex index;
        for (int round = 0; round < 400; ++round) {
            std::vector<NotesIndex::Entry> found;
            QSet<QByteArray> gone;
            QList<QByteArray> goneFolders;
            for (int change = random.bounded(1, 6); change > 0; --change) {
                const QByteArray file = randomFile();
                switch (random.bounded(4)) {
                case 0:
                    gone.insert(file);
                    truth.remove(file);
                    break;
                case 1: {
                    const QByteArray folder = file.left(file.indexOf('/') + 1);
                    if (!folder.isEmpty()) {
                        goneFolders.append(folder);
                        truth.removeIf([&](auto it) { return it.key().startsWith(folder); });
                    }
                    break;
                }
                default: {
                    // Few distinct times, so that many notes share one.
                    const NotesIndex::Entry entry{file, qint64(random.bounded(3))};
                    found.push_back(entry);
                    break;
                }
                }
            }
            // What is found last counts, after what left.
            for (const NotesIndex::Entry &entry : found)
                truth.insert(entry.file, entry.msecs);
            index.update(found, gone, goneFolders);

            std::vector<NotesIndex::Entry> all;
            for (auto it = truth.cbegin(); it != truth.cend(); ++it)
                all.push_back({it.key(), it.value()});
            QCOMPARE(index.entries(), NotesIndex(all).entries());
        }
    }

    // The walk's own order, which updates have to keep.
    void orderIsThatOfTheWalk()
    {
        const QByteArrayList files{"a.md", "a-b.md", "a/z.md", "a.md.d/y.md", "ab/c.md", "b.md"};
        for (const QByteArray &file : files)
            QVERIFY(makeFile(m_vaultBytes, file, 5));
        const NotesIndex walked = NotesIndex::scan(m_vault, u"Boards"_qs);
        std::vector<NotesIndex::Entry> entries = walked.entries();
        std::reverse(entries.begin(), entries.end());
        QCOMPARE(NotesIndex(entries).entries(), walked.entries());
        QCOMPARE(pathsOf(walked.notes()),
                 (QStringList{u"a/z"_qs, u"a-b"_qs, u"a"_qs, u"a.md.d/y"_qs, u"ab/c"_qs, u"b"_qs}));
    }

    void symlinks()
    {
        QVERIFY(makeFile(m_vaultBytes, "a/real.md", 7));
        QVERIFY(makeFile(QFile::encodeName(m_dir->path()), "outside/far.md", 8));
        const auto link = [this](const char *target, const char *name) {
            return ::symlink(target, (m_vaultBytes + '/' + name).constData()) == 0;
        };
        QVERIFY(link("..", "a/up"));
        QVERIFY(link(".", "a/self"));
        QVERIFY(link(m_vaultBytes.constData(), "root"));
        QVERIFY(link("../outside", "outside"));
        QVERIFY(link("a/real.md", "linked.md"));
        QVERIFY(link("missing.md", "dangling.md"));
        QVERIFY(link("a", "folder link.md"));

        const NotesIndex index = NotesIndex::scan(m_vault, u"Boards"_qs);
        QCOMPARE(sorted(pathsOf(index.notes())),
                 (QStringList{u"a/real"_qs, u"dangling"_qs, u"folder link"_qs, u"linked"_qs}));
        const QList<NoteFile> notes = index.notes();
        const auto find = [&notes](const QString &path) {
            return *std::find_if(notes.cbegin(), notes.cend(),
                                 [&path](const NoteFile &note) { return note.path == path; });
        };
        QCOMPARE(find(u"linked"_qs).modified, find(u"a/real"_qs).modified);
        QCOMPARE(find(u"dangling"_qs).modified, NotesIndex::unknownModified());
        QCOMPARE(index.notes().constLast().path, u"dangling"_qs);
    }

    void unreadable_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QStringList>("expected");
        const QStringList siblings{u"open/a"_qs, u"top"_qs, u"zzz/c"_qs};
        QTest::newRow("unreadable folder") << QByteArray("closed") << 0 << siblings;
        QTest::newRow("folder that cannot be listed") << QByteArray("closed") << 0111 << siblings;
        // Names can be read but not looked up: the note is there, of unknown age.
        QTest::newRow("folder that cannot be searched")
            << QByteArray("closed") << 0444
            << QStringList{u"closed/b ?"_qs, u"open/a"_qs, u"top"_qs, u"zzz/c"_qs};
        QTest::newRow("unreadable vault") << QByteArray() << 0 << QStringList();
    }
    void unreadable()
    {
        QFETCH(QByteArray, target);
        QFETCH(int, mode);
        QFETCH(QStringList, expected);
        for (const char *file :
             {"top.md", "open/a.md", "closed/b.md", "closed/deeper/d.md", "zzz/c.md"})
            QVERIFY(makeFile(m_vaultBytes, file));
        // Whoever the child runs as has to reach the vault.
        QVERIFY(::chmod(QFile::encodeName(m_dir->path()).constData(), 0755) == 0);
        const QByteArray targetPath = target.isEmpty() ? m_vaultBytes : m_vaultBytes + '/' + target;
        QVERIFY(::chmod(targetPath.constData(), mode_t(mode)) == 0);

        // Root reads everything, so the scan runs in a child that is nobody.
        int pipeFds[2];
        QVERIFY(::pipe(pipeFds) == 0);
        const pid_t child = ::fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            ::close(pipeFds[0]);
            if (::geteuid() == 0 &&
                (::setgroups(0, nullptr) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0))
                ::_exit(77);
            if (::access(QFile::encodeName(m_dir->path()).constData(), X_OK) != 0)
                ::_exit(78);
            QByteArray out;
            const NotesIndex index = NotesIndex::scan(m_vault, u"Boards"_qs);
            for (const NoteFile &note : index.notes()) {
                out += note.path.toUtf8();
                out += note.modified == NotesIndex::unknownModified() ? " ?\n" : "\n";
            }
            const bool written = ::write(pipeFds[1], out.constData(), std::size_t(out.size())) ==
                                 ssize_t(out.size());
            ::_exit(written ? 0 : 1);
        }
        ::close(pipeFds[1]);
        QByteArray out;
        char buffer[4096];
        for (ssize_t n; (n = ::read(pipeFds[0], buffer, sizeof buffer)) > 0;)
            out.append(buffer, qsizetype(n));
        ::close(pipeFds[0]);
        int status = 0;
        QCOMPARE(::waitpid(child, &status, 0), child);
        ::chmod(targetPath.constData(), 0755);
        QVERIFY(WIFEXITED(status));
        if (WEXITSTATUS(status) == 77)
            QSKIP("cannot switch to uid/gid 65534 to make permissions apply");
        if (WEXITSTATUS(status) == 78)
            QSKIP("the temporary folder is out of reach of uid 65534");
        QCOMPARE(WEXITSTATUS(status), 0);

        QStringList paths = QString::fromUtf8(out).split(u'\n', Qt::SkipEmptyParts);
        paths.sort();
        QCOMPARE(paths, expected);
    }

    void noteFileEqualityAndHash()
    {
        NoteFile note;
        note.path = u"Projects/Plan"_qs;
        note.name = u"Plan"_qs;
        note.folder = u"Projects"_qs;
        note.modified = QDateTime::fromMSecsSinceEpoch(baseSeconds * 1000, Qt::UTC);

        NoteFile same = note;
        // The same instant in local time rather than UTC is the same note.
        same.modified = QDateTime::fromMSecsSinceEpoch(baseSeconds * 1000, Qt::LocalTime);
        QCOMPARE(same, note);
        QCOMPARE(qHash(same), qHash(note));
        QCOMPARE(qHash(same, 42), qHash(note, 42));

        QList<NoteFile> others(5, note);
        others[0].path = u"Projects/Plan2"_qs;
        others[1].name = u"Plan2"_qs;
        others[2].folder = u"Project"_qs;
        others[3].modified = note.modified.addMSecs(1);
        others[4].pathBytes = "Projects/Plan\xFF";
        QSet<NoteFile> set{note, same};
        for (const NoteFile &other : others) {
            QVERIFY(other != note);
            set.insert(other);
        }
        QCOMPARE(set.size(), 6);
        for (const NoteFile &other : others)
            QVERIFY(set.contains(other));
        QVERIFY(set.contains(same));
    }
};

QTEST_GUILESS_MAIN(TestNotesIndex)
#include "tst_notesindex.moc"
