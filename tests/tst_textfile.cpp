#include "io/OpenWriters.h"
#include "io/TextFile.h"
#include "support/FileContents.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <functional>
#include <future>
#include <grp.h>
#include <memory>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

// The usual "nobody" account; a child drops to it because root ignores permission bits.
constexpr uid_t nobodyUid = 65534;
constexpr gid_t nobodyGid = 65534;

bool isRoot()
{
    return ::geteuid() == 0;
}

QByteArray native(const QString &path)
{
    return QFile::encodeName(path);
}

QStringList entriesOf(const QString &folder)
{
    return QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

int modeOf(const QString &path)
{
    struct stat st {};
    return ::stat(native(path).constData(), &st) == 0 ? int(st.st_mode & 07777) : -1;
}

// "written", or the reason the write gave, so that a failed comparison shows the reason.
QString outcome(const std::optional<QString> &error)
{
    return error.value_or(u"written"_qs);
}

// What a child sends back: the lines it wrote, or why it could not run.
struct ChildResult {
    QStringList lines;
    QString problem;
};

// Runs `work` in a forked child, as "nobody" when `unprivileged` and the test runs as root, and
// returns the lines it produced. A child keeps rlimits and the user switch away from the runner.
ChildResult inChild(const std::function<QStringList()> &work, bool unprivileged)
{
    int fds[2];
    if (::pipe(fds) != 0)
        return {{}, u"pipe() failed"_qs};
    const pid_t pid = ::fork();
    if (pid < 0)
        return {{}, u"fork() failed"_qs};
    if (pid == 0) {
        ::close(fds[0]);
        if (unprivileged && isRoot() &&
            (::setgroups(0, nullptr) != 0 || ::setgid(nobodyGid) != 0 || ::setuid(nobodyUid) != 0))
            ::_exit(3);
        const QByteArray out = work().join(u'\n').toUtf8();
        qsizetype done = 0;
        while (done < out.size()) {
            const ssize_t n = ::write(fds[1], out.constData() + done, size_t(out.size() - done));
            if (n <= 0)
                ::_exit(4);
            done += n;
        }
        ::_exit(0);
    }
    ::close(fds[1]);
    QByteArray out;
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        out.append(buffer, n);
    }
    ::close(fds[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return {{}, u"the child failed with status %1"_qs.arg(status)};
    return {QString::fromUtf8(out).split(u'\n'), {}};
}

} // namespace

class TestTextFile : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;

    [[nodiscard]] QString at(const QString &relative) const { return m_dir->filePath(relative); }

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        if (isRoot())
            qInfo("running as root: permission checks run in a child as uid %u", nobodyUid);
    }

    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        // Reachable by the unprivileged child; what it may do inside is set per test.
        QVERIFY(::chmod(native(m_dir->path()).constData(), 0755) == 0);
    }

    void cleanup() { m_dir.reset(); }

    void readValid_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QByteArray() << QString();
        QTest::newRow("ascii") << QByteArray("# Today\n- [ ] tea\n") << u"# Today\n- [ ] tea\n"_qs;
        QTest::newRow("non-ASCII")
            << QByteArray("Grüße aus Köln, 東京, Ελλάδα") << u"Grüße aus Köln, 東京, Ελλάδα"_qs;
        QTest::newRow("emoji") << QByteArray("- [ ] 🌿 water the fern 👩‍💻")
                               << u"- [ ] 🌿 water the fern 👩‍💻"_qs;
        QTest::newRow("CRLF kept") << QByteArray("a\r\nb\r\n") << u"a\r\nb\r\n"_qs;
        QTest::newRow("NUL is text") << QByteArray("a\0b", 3) << QStringView(u"a\0b", 3).toString();
        QTest::newRow("largest code point")
            << QByteArray("\xF4\x8F\xBF\xBF") << QString::fromUcs4(U"\U0010FFFF");
        QTest::newRow("BOM dropped") << QByteArray("\xEF\xBB\xBF# Today") << u"# Today"_qs;
        QTest::newRow("BOM only") << QByteArray("\xEF\xBB\xBF") << QString();
        QTest::newRow("second BOM is text")
            << QByteArray("\xEF\xBB\xBF\xEF\xBB\xBFx") << u"\uFEFFx"_qs;
        QTest::newRow("BOM later is text") << QByteArray("x\xEF\xBB\xBF") << u"x\uFEFF"_qs;
    }

    void readValid()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, text);
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, bytes));
        const TextFile::Read read = TextFile::readUtf8(path);
        QVERIFY2(read.text.has_value(), qPrintable(read.error));
        QCOMPARE(*read.text, text);
        QCOMPARE(read.error, QString());
        QCOMPARE(read.bytes, bytes);
        QCOMPARE(TextFile::readBytes(path), std::optional<QByteArray>(bytes));
    }

    void readInvalid_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray before("- [ ] tea ");
        const auto row = [&](const char *name, const char *hex) {
            QTest::newRow(name) << before + QByteArray::fromHex(hex) + QByteArray(" after\n");
        };
        row("lone 0xFF", "ff");
        row("lone continuation byte", "80");
        row("truncated sequence", "e282");
        row("overlong slash C0 AF", "c0af");
        row("overlong three bytes", "e080af");
        row("encoded surrogate ED A0 80", "eda080");
        row("encoded low surrogate", "edbfbf");
        row("above U+10FFFF", "f4908080");
        row("Latin-1 text", "4772fcdf65"); // "Grüße" in ISO 8859-1
        QTest::newRow("truncated at end of file") << before + QByteArray::fromHex("e282");
        QTest::newRow("BOM then invalid") << QByteArray::fromHex("efbbbf41ff");
    }

    void readInvalid()
    {
        QFETCH(QByteArray, bytes);
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, bytes));
        const TextFile::Read read = TextFile::readUtf8(path);
        QVERIFY(!read.text.has_value());
        QCOMPARE(read.error, u"not valid UTF-8 text"_qs);
        QCOMPARE(read.bytes, bytes);
        QCOMPARE(contentOf(path), bytes);
    }

    void readFailure_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("error");
        QTest::newRow("missing file") << u"missing"_qs << u"No such file or directory"_qs;
        QTest::newRow("directory") << u"directory"_qs << u"Is a directory"_qs;
        QTest::newRow("below a regular file") << u"below file"_qs << u"Not a directory"_qs;
        QTest::newRow("device") << u"device"_qs << u"not a regular file"_qs;
        QTest::newRow("dangling link") << u"dangling"_qs << u"No such file or directory"_qs;
    }

    void readFailure()
    {
        QFETCH(QString, kind);
        QFETCH(QString, error);
        QString path = at(u"board.md"_qs);
        if (kind == u"directory")
            QVERIFY(QDir().mkdir(path));
        if (kind == u"below file") {
            QVERIFY(putFile(path, "x"));
            path += u"/inner.md"_qs;
        }
        if (kind == u"device")
            path = u"/dev/null"_qs;
        if (kind == u"dangling")
            QVERIFY(::symlink("gone.md", native(path).constData()) == 0);
        const TextFile::Read read = TextFile::readUtf8(path);
        QVERIFY(!read.text.has_value());
        QCOMPARE(read.error, error);
        QVERIFY(read.bytes.isEmpty());
        QString bytesError;
        QVERIFY(!TextFile::readBytes(path, &bytesError).has_value());
        QCOMPARE(bytesError, error);
    }

    void readFifoDoesNotHang()
    {
        const QString path = at(u"pipe"_qs);
        QVERIFY(::mkfifo(native(path).constData(), 0600) == 0);
        auto reading = std::async(std::launch::async, [path] { return TextFile::readUtf8(path); });
        if (reading.wait_for(5s) != std::future_status::ready) {
            // Let the stuck reader go before failing, so the test can end.
            const int fd = ::open(native(path).constData(), O_WRONLY | O_NONBLOCK);
            if (fd >= 0)
                ::close(fd);
            reading.wait();
            QFAIL("reading a FIFO without a writer blocked");
        }
        const TextFile::Read read = reading.get();
        QVERIFY(!read.text.has_value());
        QCOMPARE(read.error, u"not a regular file"_qs);
    }

    void readThroughLink()
    {
        QVERIFY(QDir().mkdir(at(u"vault"_qs)));
        QVERIFY(putFile(at(u"vault/real.md"_qs), "through the link"));
        QVERIFY(::symlink("vault/real.md", native(at(u"board.md"_qs)).constData()) == 0);
        const TextFile::Read read = TextFile::readUtf8(at(u"board.md"_qs));
        QCOMPARE(read.text.value_or(read.error), u"through the link"_qs);
    }

    void readUnreadable()
    {
        const QString secret = at(u"secret.md"_qs);
        const QString open = at(u"open.md"_qs);
        QVERIFY(putFile(secret, "private"));
        QVERIFY(putFile(open, "public"));
        QVERIFY(::chmod(native(secret).constData(), 0) == 0);
        QVERIFY(::chmod(native(open).constData(), 0644) == 0);
        const ChildResult child = inChild(
            [&] {
                const TextFile::Read control = TextFile::readUtf8(open);
                const TextFile::Read read = TextFile::readUtf8(secret);
                return QStringList{control.text.value_or(control.error),
                                   read.text ? u"read"_qs : read.error,
                                   QString::number(read.bytes.size())};
            },
            true);
        QVERIFY2(child.problem.isEmpty(), qPrintable(child.problem));
        QCOMPARE(child.lines.size(), 3);
        // The control shows the child can reach the folder at all.
        QCOMPARE(child.lines[0], u"public"_qs);
        QCOMPARE(child.lines[1], u"Permission denied"_qs);
        QCOMPARE(child.lines[2], u"0"_qs);
    }

    void readLarge()
    {
        const QString line = u"- [ ] card 🌿 Grüße, 東京 — number "_qs;
        QString text;
        qsizetype utf8Size = 0;
        for (int i = 0; utf8Size < 20 * 1024 * 1024; ++i) {
            const QString piece = line + QString::number(i) + u'\n';
            text += piece;
            utf8Size += piece.toUtf8().size();
        }
        const QByteArray bytes = text.toUtf8();
        QVERIFY(bytes.size() > 20 * 1024 * 1024);
        const QString path = at(u"large.md"_qs);
        QVERIFY(putFile(path, bytes));
        const TextFile::Read read = TextFile::readUtf8(path);
        QVERIFY2(read.text.has_value(), qPrintable(read.error));
        QCOMPARE(read.text->size(), text.size());
        QVERIFY(*read.text == text);
        QVERIFY(read.bytes == bytes);
    }

    void writeNewFile_data()
    {
        QTest::addColumn<int>("mask");
        QTest::addColumn<int>("mode");
        QTest::newRow("umask 022") << 022 << 0644;
        QTest::newRow("umask 077") << 077 << 0600;
        QTest::newRow("umask 002") << 002 << 0664;
    }

    void writeNewFile()
    {
        QFETCH(int, mask);
        QFETCH(int, mode);
        const mode_t old = ::umask(mode_t(mask));
        const auto restore = qScopeGuard([old] { ::umask(old); });
        const QString path = at(u"board.md"_qs);
        const QByteArray data("# Today\n- [ ] 🌿 fern\n");
        QCOMPARE(outcome(TextFile::writeAtomically(path, data)), u"written"_qs);
        QCOMPARE(contentOf(path), data);
        QCOMPARE(modeOf(path), mode);
        QCOMPARE(entriesOf(m_dir->path()), QStringList{u"board.md"_qs});
    }

    void writeEmpty()
    {
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, "something"));
        QCOMPARE(outcome(TextFile::writeAtomically(path, QByteArray())), u"written"_qs);
        QCOMPARE(QFileInfo(path).size(), qint64(0));
        QCOMPARE(entriesOf(m_dir->path()), QStringList{u"board.md"_qs});
    }

    void writeKeepsMode_data()
    {
        QTest::addColumn<int>("mode");
        QTest::newRow("0640") << 0640;
        QTest::newRow("0600") << 0600;
        QTest::newRow("0755") << 0755;
        QTest::newRow("0604") << 0604;
        QTest::newRow("0660") << 0660;
    }

    void writeKeepsMode()
    {
        QFETCH(int, mode);
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, "old text"));
        QVERIFY(::chmod(native(path).constData(), mode_t(mode)) == 0);
        struct stat before {};
        QVERIFY(::stat(native(path).constData(), &before) == 0);
        const QByteArray data("new text ✓\n");
        QCOMPARE(outcome(TextFile::writeAtomically(path, data)), u"written"_qs);
        QCOMPARE(contentOf(path), data);
        QCOMPARE(modeOf(path), mode);
        struct stat after {};
        QVERIFY(::stat(native(path).constData(), &after) == 0);
        // A new file took the old one's place, rather than the old one being rewritten.
        QVERIFY(after.st_ino != before.st_ino);
        QCOMPARE(entriesOf(m_dir->path()), QStringList{u"board.md"_qs});
    }

    void writeKeepsOwner()
    {
        if (!isRoot())
            QSKIP("giving a file away to another owner needs root");
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, "old"));
        QVERIFY(::chown(native(path).constData(), nobodyUid, nobodyGid) == 0);
        QVERIFY(::chmod(native(path).constData(), 0640) == 0);
        QCOMPARE(outcome(TextFile::writeAtomically(path, "new")), u"written"_qs);
        struct stat st {};
        QVERIFY(::stat(native(path).constData(), &st) == 0);
        QCOMPARE(st.st_uid, nobodyUid);
        QCOMPARE(st.st_gid, nobodyGid);
        QCOMPARE(int(st.st_mode & 07777), 0640);
        QCOMPARE(contentOf(path), QByteArray("new"));
    }

    void writeThroughLinks_data()
    {
        // Links are "name>target", "@" stands for the scratch folder; paths are relative to it.
        QTest::addColumn<QStringList>("folders");
        QTest::addColumn<QStringList>("links");
        QTest::addColumn<QString>("writeTo");
        QTest::addColumn<QString>("target");
        QTest::newRow("absolute link")
            << QStringList{u"vault"_qs} << QStringList{u"board.md>@/vault/real.md"_qs}
            << u"board.md"_qs << u"vault/real.md"_qs;
        QTest::newRow("relative link") << QStringList() << QStringList{u"board.md>real.md"_qs}
                                       << u"board.md"_qs << u"real.md"_qs;
        QTest::newRow("relative link to another folder")
            << QStringList{u"notes"_qs, u"vault"_qs}
            << QStringList{u"notes/board.md>../vault/real.md"_qs} << u"notes/board.md"_qs
            << u"vault/real.md"_qs;
        QTest::newRow("chain of two, each relative to its own folder")
            << QStringList{u"links"_qs, u"vault"_qs}
            << QStringList{u"board.md>links/second.md"_qs, u"links/second.md>../vault/real.md"_qs}
            << u"board.md"_qs << u"vault/real.md"_qs;
        QTest::newRow("absolute then relative")
            << QStringList{u"links"_qs}
            << QStringList{u"board.md>@/links/second.md"_qs, u"links/second.md>real.md"_qs}
            << u"board.md"_qs << u"links/real.md"_qs;
        QTest::newRow("dot-dot after a linked folder")
            << QStringList{u"deep/inner"_qs}
            << QStringList{u"alias>deep/inner"_qs, u"deep/inner/board.md>../real.md"_qs}
            << u"alias/board.md"_qs << u"deep/real.md"_qs;
    }

    void writeThroughLinks()
    {
        QFETCH(QStringList, folders);
        QFETCH(QStringList, links);
        QFETCH(QString, writeTo);
        QFETCH(QString, target);
        for (const QString &folder : folders)
            QVERIFY(QDir().mkpath(at(folder)));
        QVERIFY(putFile(at(target), "old"));
        QVERIFY(::chmod(native(at(target)).constData(), 0600) == 0);
        QList<QPair<QString, QByteArray>> made;
        for (const QString &link : links) {
            const QStringList parts = link.split(u'>');
            const QByteArray to = native(QString(parts[1]).replace(u'@', m_dir->path()));
            QVERIFY(::symlink(to.constData(), native(at(parts[0])).constData()) == 0);
            made.append({at(parts[0]), to});
        }

        const QByteArray data("written through the links\n");
        QCOMPARE(outcome(TextFile::writeAtomically(at(writeTo), data)), u"written"_qs);

        QCOMPARE(contentOf(at(target)), data);
        QCOMPARE(modeOf(at(target)), 0600);
        for (const auto &[link, to] : made) {
            struct stat st {};
            QVERIFY(::lstat(native(link).constData(), &st) == 0);
            QVERIFY2(S_ISLNK(st.st_mode), qPrintable(link));
            char buffer[4096];
            const ssize_t n = ::readlink(native(link).constData(), buffer, sizeof buffer);
            QCOMPARE(QByteArray(buffer, qsizetype(n)), to);
        }
        QStringList seen{m_dir->path()};
        for (const QString &folder : folders)
            seen << at(folder);
        for (const QString &folder : seen)
            for (const QString &name : entriesOf(folder))
                QVERIFY2(!name.contains(u"tallowfern"_qs), qPrintable(folder + u'/' + name));
    }

    void writeDanglingLinkCreatesTarget()
    {
        const QString link = at(u"board.md"_qs);
        QVERIFY(::symlink("later.md", native(link).constData()) == 0);
        QCOMPARE(outcome(TextFile::writeAtomically(link, "first")), u"written"_qs);
        QCOMPARE(contentOf(at(u"later.md"_qs)), QByteArray("first"));
        QVERIFY(QFileInfo(link).isSymLink());
        QCOMPARE(entriesOf(m_dir->path()), (QStringList{u"board.md"_qs, u"later.md"_qs}));
    }

    void writeLinkLoop()
    {
        QVERIFY(::symlink("b.md", native(at(u"a.md"_qs)).constData()) == 0);
        QVERIFY(::symlink("a.md", native(at(u"b.md"_qs)).constData()) == 0);
        const std::optional<QString> error = TextFile::writeAtomically(at(u"a.md"_qs), "x");
        QVERIFY(error.has_value());
        QVERIFY2(error->startsWith(u"Too many levels of symbolic links ("_qs), qPrintable(*error));
        QCOMPARE(entriesOf(m_dir->path()), (QStringList{u"a.md"_qs, u"b.md"_qs}));
    }

    void writeFailure_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("error");
        QTest::addColumn<QString>("failedPath");
        QTest::newRow("parent is a file")
            << u"parent is file"_qs << u"Not a directory"_qs << u"notes.md"_qs;
        QTest::newRow("missing folder")
            << u"missing folder"_qs << u"No such file or directory"_qs << u"nowhere"_qs;
        QTest::newRow("target is a folder")
            << u"folder"_qs << u"Is a directory"_qs << u"board.md"_qs;
        QTest::newRow("target is a FIFO")
            << u"fifo"_qs << u"not a regular file"_qs << u"board.md"_qs;
    }

    void writeFailure()
    {
        QFETCH(QString, kind);
        QFETCH(QString, error);
        QFETCH(QString, failedPath);
        QString path = at(u"board.md"_qs);
        if (kind == u"parent is file") {
            QVERIFY(putFile(at(u"notes.md"_qs), "a file"));
            path = at(u"notes.md/board.md"_qs);
        }
        if (kind == u"missing folder")
            path = at(u"nowhere/board.md"_qs);
        if (kind == u"folder")
            QVERIFY(QDir().mkdir(path));
        if (kind == u"fifo")
            QVERIFY(::mkfifo(native(path).constData(), 0600) == 0);
        const QStringList before = entriesOf(m_dir->path());

        const std::optional<QString> result = TextFile::writeAtomically(path, "text");
        QVERIFY(result.has_value());
        QCOMPARE(*result, error + u" ("_qs + at(failedPath) + u')');
        QCOMPARE(entriesOf(m_dir->path()), before);
        if (kind == u"parent is file")
            QCOMPARE(contentOf(at(u"notes.md"_qs)), QByteArray("a file"));
    }

    void writeReadOnlyFolder()
    {
        const QString locked = at(u"locked"_qs);
        const QString open = at(u"open"_qs);
        QVERIFY(QDir().mkdir(locked));
        QVERIFY(QDir().mkdir(open));
        const QString path = locked + u"/board.md"_qs;
        QVERIFY(putFile(path, "original"));
        // The file itself is writable; only the folder is not, which rules out a safe replace.
        QVERIFY(::chmod(native(path).constData(), 0666) == 0);
        QVERIFY(::chmod(native(locked).constData(), 0555) == 0);
        QVERIFY(::chmod(native(open).constData(), 0777) == 0);
        const auto unlock = qScopeGuard([&] { ::chmod(native(locked).constData(), 0755); });

        const ChildResult child = inChild(
            [&] {
                const auto control = TextFile::writeAtomically(open + u"/board.md"_qs, "ok");
                const auto result = TextFile::writeAtomically(path, "replacement");
                return QStringList{control.value_or(u"ok"_qs), result.value_or(u"ok"_qs)};
            },
            true);
        QVERIFY2(child.problem.isEmpty(), qPrintable(child.problem));
        QCOMPARE(child.lines.size(), 2);
        QCOMPARE(child.lines[0], u"ok"_qs);
        QCOMPARE(child.lines[1], u"Permission denied ("_qs + locked + u')');
        QCOMPARE(contentOf(path), QByteArray("original"));
        QCOMPARE(entriesOf(locked), QStringList{u"board.md"_qs});
    }

    void writeFailureMidwayRemovesTemporary()
    {
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, "original"));
        const QByteArray big(1024 * 1024, 'x');
        const ChildResult child = inChild(
            [&] {
                // The write runs into the file size limit after a partial write.
                ::signal(SIGXFSZ, SIG_IGN);
                const rlimit limit{4096, 4096};
                ::setrlimit(RLIMIT_FSIZE, &limit);
                return QStringList{TextFile::writeAtomically(path, big).value_or(u"ok"_qs)};
            },
            false);
        QVERIFY2(child.problem.isEmpty(), qPrintable(child.problem));
        QCOMPARE(child.lines, QStringList{u"File too large ("_qs + path + u')'});
        QCOMPARE(contentOf(path), QByteArray("original"));
        QCOMPARE(entriesOf(m_dir->path()), QStringList{u"board.md"_qs});
    }

    void writeLongName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("255 ASCII bytes") << QString(252, u'a') + u".md"_qs;
        QTest::newRow("255 bytes of two-byte letters") << QString(126, u'ü') + u".md"_qs;
        QTest::newRow("emoji near the limit") << u"a"_qs + u"🌿"_qs.repeated(62) + u".md"_qs;
    }

    void writeLongName()
    {
        QFETCH(QString, name);
        QVERIFY(native(name).size() <= 255);
        const QString path = at(name);
        QCOMPARE(outcome(TextFile::writeAtomically(path, "first")), u"written"_qs);
        QCOMPARE(outcome(TextFile::writeAtomically(path, "second")), u"written"_qs);
        QCOMPARE(contentOf(path), QByteArray("second"));
        QCOMPARE(entriesOf(m_dir->path()), QStringList{name});
    }

    void repeatedWritesLeaveOneFile()
    {
        const QString path = at(u"board.md"_qs);
        for (int i = 0; i < 25; ++i) {
            const QByteArray data = "version " + QByteArray::number(i);
            QCOMPARE(outcome(TextFile::writeAtomically(path, data)), u"written"_qs);
            QCOMPARE(contentOf(path), data);
        }
        QCOMPARE(entriesOf(m_dir->path()), QStringList{u"board.md"_qs});
    }

    void modificationTimeExact_data()
    {
        QTest::addColumn<qint64>("seconds");
        QTest::addColumn<qint64>("nanoseconds");
        QTest::newRow("with nanoseconds") << qint64(1700000000) << qint64(123456789);
        QTest::newRow("whole second") << qint64(1700000000) << qint64(0);
        QTest::newRow("just below the next second") << qint64(1700000000) << qint64(999999999);
        QTest::newRow("one nanosecond after the epoch") << qint64(0) << qint64(1);
        QTest::newRow("before 1970") << qint64(-2) << qint64(500000000);
    }

    void modificationTimeExact()
    {
        QFETCH(qint64, seconds);
        QFETCH(qint64, nanoseconds);
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, "x"));
        timespec times[2];
        times[0].tv_sec = 0;
        times[0].tv_nsec = UTIME_OMIT;
        times[1].tv_sec = time_t(seconds);
        times[1].tv_nsec = long(nanoseconds);
        QVERIFY(::utimensat(AT_FDCWD, native(path).constData(), times, 0) == 0);

        const std::optional<qint64> nanos = TextFile::modificationNanos(path);
        QVERIFY(nanos.has_value());
        QCOMPARE(*nanos, seconds * 1000000000 + nanoseconds);
        const std::optional<QDateTime> time = TextFile::modificationTime(path);
        QVERIFY(time.has_value());
        // Milliseconds rounded down, which is what Qt's own reading of the time gives too.
        QCOMPARE(time->toMSecsSinceEpoch(), seconds * 1000 + nanoseconds / 1000000);
        // Qt takes the epoch itself for "no time".
        if (const QDateTime qt = QFileInfo(path).lastModified(); qt.isValid())
            QCOMPARE(*time, qt);
    }

    void modificationTimeFollowsLinks()
    {
        const QString target = at(u"real.md"_qs);
        const QString link = at(u"board.md"_qs);
        QVERIFY(putFile(target, "x"));
        QVERIFY(::symlink("real.md", native(link).constData()) == 0);
        timespec targetTimes[2] = {{0, UTIME_OMIT}, {1600000000, 111}};
        timespec linkTimes[2] = {{0, UTIME_OMIT}, {1500000000, 222}};
        QVERIFY(::utimensat(AT_FDCWD, native(target).constData(), targetTimes, 0) == 0);
        QVERIFY(::utimensat(AT_FDCWD, native(link).constData(), linkTimes, AT_SYMLINK_NOFOLLOW) ==
                0);
        const std::optional<qint64> nanos = TextFile::modificationNanos(link);
        QVERIFY(nanos.has_value());
        QCOMPARE(*nanos, qint64(1600000000) * 1000000000 + 111);
        QCOMPARE(TextFile::modificationTime(link), TextFile::modificationTime(target));
    }

    void modificationTimeMissing()
    {
        QVERIFY(!TextFile::modificationNanos(at(u"gone.md"_qs)).has_value());
        QVERIFY(!TextFile::modificationTime(at(u"gone.md"_qs)).has_value());
        QVERIFY(::symlink("gone.md", native(at(u"dangling.md"_qs)).constData()) == 0);
        QVERIFY(!TextFile::modificationNanos(at(u"dangling.md"_qs)).has_value());
    }

    void twoWritesInARowDiffer()
    {
        const QString path = at(u"board.md"_qs);
        QList<qint64> times;
        for (int i = 0; i < 20; ++i) {
            QCOMPARE(outcome(TextFile::writeAtomically(path, "version " + QByteArray::number(i))),
                     u"written"_qs);
            const std::optional<qint64> nanos = TextFile::modificationNanos(path);
            QVERIFY(nanos.has_value());
            times << *nanos;
        }
        bool belowMilliseconds = false;
        for (qsizetype i = 1; i < times.size(); ++i) {
            QVERIFY2(times[i] > times[i - 1], qPrintable(u"write %1"_qs.arg(i)));
            belowMilliseconds = belowMilliseconds || times[i] % 1000000 != 0;
        }
        QVERIFY(belowMilliseconds);
        qInfo("20 writes in %lld ns", times.back() - times.front());
    }

    void isTemporaryName_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("temporary");
        QTest::newRow("temporary") << u".board.md.tallowfern-a1B2c3"_qs << true;
        QTest::newRow("temporary of a hidden file") << u"..hidden.md.tallowfern-zzzzzz"_qs << true;
        QTest::newRow("temporary of a non-ASCII name")
            << u".Grüße 🌿.md.tallowfern-000000"_qs << true;
        QTest::newRow("one-letter name") << u".a.tallowfern-ABCDEF"_qs << true;
        QTest::newRow("board") << u"board.md"_qs << false;
        QTest::newRow("hidden file") << u".board.md"_qs << false;
        QTest::newRow("empty") << QString() << false;
        QTest::newRow("no leading dot") << u"board.md.tallowfern-a1B2c3"_qs << false;
        QTest::newRow("no original name") << u".tallowfern-a1B2c3"_qs << false;
        QTest::newRow("random part missing") << u".board.md.tallowfern-"_qs << false;
        QTest::newRow("random part too short") << u".board.md.tallowfern-a1B2c"_qs << false;
        QTest::newRow("random part too long") << u".board.md.tallowfern-a1B2c3d"_qs << false;
        QTest::newRow("random part with punctuation") << u".board.md.tallowfern-a1_2c3"_qs << false;
        QTest::newRow("random part non-ASCII") << u".board.md.tallowfern-a1ü2c3"_qs << false;
        QTest::newRow("other case") << u".board.md.Tallowfern-a1B2c3"_qs << false;
        QTest::newRow("something after") << u".board.md.tallowfern-a1B2c3.md"_qs << false;
        QTest::newRow("a user's file") << u"tallowfern-notes.md"_qs << false;
    }

    void isTemporaryName()
    {
        QFETCH(QString, name);
        QFETCH(bool, temporary);
        QCOMPARE(TextFile::isTemporaryName(name), temporary);
    }

    // ---- replacing only the version that was read

    void replaceStampsFromTheNewFile()
    {
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, "old"));
        const auto result = TextFile::replaceIfUnchanged(path, "new", FileStamp::of(path));
        QCOMPARE(result.outcome, TextFile::Replace::Outcome::Written);
        QCOMPARE(contentOf(path), QByteArray("new"));
        QCOMPARE(std::optional<FileStamp>(result.written), FileStamp::of(path));
        QVERIFY(!result.displaced);
        QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void replaceRefusesAnotherVersion_data()
    {
        QTest::addColumn<bool>("existsBefore");
        QTest::addColumn<bool>("expectMissing");
        QTest::newRow("rewritten since it was read") << true << false;
        QTest::newRow("made since it was seen missing") << true << true;
    }
    void replaceRefusesAnotherVersion()
    {
        QFETCH(bool, existsBefore);
        QFETCH(bool, expectMissing);
        const QString path = at(u"board.md"_qs);
        if (existsBefore)
            QVERIFY(putFile(path, "first"));
        const std::optional<FileStamp> read = expectMissing ? std::nullopt : FileStamp::of(path);
        QVERIFY(putFile(path, "someone else's longer text"));
        const auto result = TextFile::replaceIfUnchanged(path, "mine", read);
        QCOMPARE(result.outcome, TextFile::Replace::Outcome::Changed);
        QCOMPARE(contentOf(path), QByteArray("someone else's longer text"));
        QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void replaceNoticesADeletion()
    {
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, "first"));
        const auto read = FileStamp::of(path);
        QVERIFY(QFile::remove(path));
        QCOMPARE(TextFile::replaceIfUnchanged(path, "mine", read).outcome,
                 TextFile::Replace::Outcome::Changed);
        QVERIFY(!QFileInfo::exists(path));
        // Seen missing: then it is written.
        const auto result = TextFile::replaceIfUnchanged(path, "mine", std::nullopt);
        QCOMPARE(result.outcome, TextFile::Replace::Outcome::Written);
        QCOMPARE(contentOf(path), QByteArray("mine"));
        QCOMPARE(std::optional<FileStamp>(result.written), FileStamp::of(path));
    }

    void replaceWaitsWhileAnotherProgramWrites()
    {
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, "whole"));
        const auto read = FileStamp::of(path);
        // An editor that opened the file to rewrite it in place and has not finished.
        const int writer = ::open(native(path).constData(), O_WRONLY | O_CLOEXEC);
        QVERIFY(writer >= 0);
        const auto closeWriter = qScopeGuard([writer] { ::close(writer); });
        QVERIFY(OpenWriters::present(path));
        auto result = TextFile::replaceIfUnchanged(path, "mine", read);
        QCOMPARE(result.outcome, TextFile::Replace::Outcome::Busy);
        QCOMPARE(contentOf(path), QByteArray("whole"));
        result = TextFile::replaceIfUnchanged(path, "mine", read, /*evenWhileWritten=*/true);
        QCOMPARE(result.outcome, TextFile::Replace::Outcome::Written);
        QCOMPARE(contentOf(path), QByteArray("mine"));
    }

    void openWritersSeesOnlyWriters()
    {
        const QString path = at(u"note.md"_qs);
        QVERIFY(putFile(path, "text"));
        QVERIFY(!OpenWriters::present(path));
        const int reader = ::open(native(path).constData(), O_RDONLY | O_CLOEXEC);
        QVERIFY(reader >= 0);
        QVERIFY(!OpenWriters::present(path));
        ::close(reader);
        QVERIFY(!OpenWriters::present(at(u"missing.md"_qs)));
    }

    void saveBetweenCheckAndRenameIsHandedBack_data()
    {
        QTest::addColumn<bool>("inPlace");
        QTest::newRow("rewritten in place") << true;
        QTest::newRow("replaced by rename") << false;
    }
    void saveBetweenCheckAndRenameIsHandedBack()
    {
        QFETCH(bool, inPlace);
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, "read"));
        const auto read = FileStamp::of(path);
        static bool writeInPlace;
        writeInPlace = inPlace;
        TextFile::setRenameObserver([](TextFile::RenameMoment moment, const QString &target) {
            if (moment != TextFile::RenameMoment::Before)
                return;
            if (writeInPlace)
                putFile(target, "theirs, in place");
            else
                QVERIFY(!TextFile::writeAtomically(target, "theirs, renamed"));
        });
        const auto stop = qScopeGuard([] { TextFile::setRenameObserver(nullptr); });
        const auto result = TextFile::replaceIfUnchanged(path, "mine", read);
        QCOMPARE(result.outcome, TextFile::Replace::Outcome::Written);
        QCOMPARE(contentOf(path), QByteArray("mine"));
        QVERIFY(result.displaced);
        QCOMPARE(*result.displaced, QByteArray(inPlace ? "theirs, in place" : "theirs, renamed"));
        QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }

    void saveRightAfterTheRenameIsNotTakenForOurs()
    {
        const QString path = at(u"board.md"_qs);
        QVERIFY(putFile(path, "read"));
        TextFile::setRenameObserver([](TextFile::RenameMoment moment, const QString &target) {
            if (moment == TextFile::RenameMoment::After)
                putFile(target, "theirs, right after");
        });
        const auto stop = qScopeGuard([] { TextFile::setRenameObserver(nullptr); });
        const auto result = TextFile::replaceIfUnchanged(path, "mine", FileStamp::of(path));
        QCOMPARE(result.outcome, TextFile::Replace::Outcome::Written);
        // The stamp is the new file's as written, so the later save shows as a change.
        QVERIFY(FileStamp::of(path) != std::optional<FileStamp>(result.written));
        QCOMPARE(contentOf(path), QByteArray("theirs, right after"));
    }
};

QTEST_GUILESS_MAIN(TestTextFile)
#include "tst_textfile.moc"
