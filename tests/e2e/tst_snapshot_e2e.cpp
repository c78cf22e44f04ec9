#include "PanelScreen.h"
#include "ScreenText.h"
#include "model/Board.h"
#include "support/FileContents.h"

#include <QCryptographicHash>
#include <QDate>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QLocale>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

// `tallowfern --snapshot <dir>` run as a user would, with no display at all: the sample vault it
// writes, the seven pictures, what each of them shows, and what it leaves alone.
namespace {

constexpr int Width = 860;
constexpr int OpenHeight = 420;
constexpr int ClosedHeight = 80;
const QStringList Names = {u"closed"_qs,   u"board"_qs,    u"morning"_qs, u"notes"_qs,
                           u"calendar"_qs, u"settings"_qs, u"past"_qs};

// The open panel's layout, as in the app's window.
using namespace PanelLayout;
constexpr int LaneWidth = (ContentWidth - 2 * 10) / 3;
const QRect Header(ContentLeft, 0, ContentWidth, HeaderHeight);
const QRect Tab(ContentLeft, TabTop, ContentWidth, TabHeight);
const QRect DoneLane(ContentLeft + 2 * (LaneWidth + 10), TabTop, LaneWidth, TabHeight);
const QRect Body((Width - ShapeWidth) / 2 + 14, 0, ShapeWidth - 28, ShapeHeight);
// The title row of the Notes tab, whose right end says when the note was saved.
const QRect SavedLabel(ContentLeft + ContentWidth - 200, TabTop, 200, 24);

const QRgb Background = qRgb(92, 115, 158); // 0.36, 0.45, 0.62

bool isBackground(QRgb colour)
{
    return qAbs(qRed(colour) - qRed(Background)) <= 1 &&
           qAbs(qGreen(colour) - qGreen(Background)) <= 1 &&
           qAbs(qBlue(colour) - qBlue(Background)) <= 1;
}
bool isBlack(QRgb colour)
{
    return qRed(colour) <= 8 && qGreen(colour) <= 8 && qBlue(colour) <= 8;
}

// Pixels that differ between two pictures inside an area.
int differing(const QImage &a, const QImage &b, const QRect &area)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x)
            count += a.pixel(x, y) != b.pixel(x, y) ? 1 : 0;
    }
    return count;
}

QString dayKey(int daysFromToday)
{
    return QDate::currentDate().addDays(daysFromToday).toString(u"yyyy-MM-dd"_qs);
}

QStringList cardTexts(const Board &board, LaneKind kind)
{
    QStringList texts;
    for (const Card &card : board.cards(kind))
        texts.append(card.text());
    return texts;
}

struct Run {
    int exitCode = -1;
    QString output;
    QString errors;
};

} // namespace

class SnapshotE2eTest : public QObject {
    Q_OBJECT

private slots:
    void init();
    void writesSevenPicturesInOrderWithoutADisplay();
    void writesTheSampleVaultWordForWord();
    void closedShowsOnlyTheNotchAndItsWings();
    void openStatesShowThePanelOnTheBackground_data();
    void openStatesShowThePanelOnTheBackground();
    void eachStateShowsItsOwnText_data();
    void eachStateShowsItsOwnText();
    void statesDifferWhereTheyShould();
    void picturesAreTheSameFromRunToRun();
    void leavesTheUsersSettingsAndVaultAlone();
    void aFileInPlaceOfTheFolderIsReportedAndKept();
    void relativeFolderIsPrintedAsGiven();
    void firstSnapshotOptionWins();

private:
    // The binary in a scratch home with no display; `vault` empty leaves TALLOWFERN_VAULT unset.
    Run run(const QStringList &arguments, const QString &vault, const QString &workingDir = {});
    QImage picture(const QString &name) const;
    // One run shared by the checks that only look at its results.
    void ensureShared();

    QTemporaryDir m_scratch;
    QString m_shared;
    Run m_sharedRun;
};

void SnapshotE2eTest::init()
{
    QVERIFY(m_scratch.isValid());
}

Run SnapshotE2eTest::run(const QStringList &arguments, const QString &vault,
                         const QString &workingDir)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString &name :
         {u"DISPLAY"_qs, u"WAYLAND_DISPLAY"_qs, u"TALLOWFERN_VAULT"_qs, u"XDG_RUNTIME_DIR"_qs})
        environment.remove(name);
    // Asked for X11 with no X server: a mode that needed a display would fail here.
    environment.insert(u"QT_QPA_PLATFORM"_qs, u"xcb"_qs);
    environment.insert(u"HOME"_qs, m_scratch.filePath(u"home"_qs));
    environment.insert(u"XDG_CONFIG_HOME"_qs, m_scratch.filePath(u"config"_qs));
    environment.insert(u"XDG_STATE_HOME"_qs, m_scratch.filePath(u"state"_qs));
    environment.insert(u"XDG_DATA_HOME"_qs, m_scratch.filePath(u"data"_qs));
    if (!vault.isEmpty())
        environment.insert(u"TALLOWFERN_VAULT"_qs, vault);
    QDir().mkpath(m_scratch.filePath(u"home"_qs));

    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(workingDir.isEmpty() ? m_scratch.path() : workingDir);
    process.start(QStringLiteral(TALLOWFERN_BINARY), arguments);
    Run result;
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        result.errors = u"did not finish"_qs;
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.output = QString::fromUtf8(process.readAllStandardOutput());
    result.errors = QString::fromUtf8(process.readAllStandardError());
    return result;
}

void SnapshotE2eTest::ensureShared()
{
    if (!m_shared.isEmpty())
        return;
    m_shared = m_scratch.filePath(u"shared"_qs);
    m_sharedRun = run({u"--snapshot"_qs, m_shared + u"/pictures"_qs}, m_shared + u"/vault"_qs);
    QCOMPARE(m_sharedRun.exitCode, 0);
}

QImage SnapshotE2eTest::picture(const QString &name) const
{
    return QImage(m_shared + u"/pictures/"_qs + name + u".png"_qs)
        .convertToFormat(QImage::Format_RGB32);
}

void SnapshotE2eTest::writesSevenPicturesInOrderWithoutADisplay()
{
    ensureShared();
    QStringList expected;
    for (const QString &name : Names)
        expected.append(u"wrote "_qs + m_shared + u"/pictures/"_qs + name + u".png"_qs);
    QCOMPARE(m_sharedRun.output.split(u'\n', Qt::SkipEmptyParts), expected);

    const QStringList files = QDir(m_shared + u"/pictures"_qs).entryList(QDir::Files, QDir::Name);
    QCOMPARE(files.size(), 7);
    for (const QString &name : Names) {
        QImage image;
        QVERIFY2(image.load(m_shared + u"/pictures/"_qs + name + u".png"_qs, "PNG"),
                 qPrintable(name));
        QCOMPARE(image.width(), Width);
        QCOMPARE(image.height(), name == u"closed" ? ClosedHeight : OpenHeight);
    }
}

void SnapshotE2eTest::writesTheSampleVaultWordForWord()
{
    ensureShared();
    const QString boards = m_shared + u"/vault/01 Journal/Boards/"_qs;

    const Board today = Board::parse(QString::fromUtf8(contentOf(boards + dayKey(0) + u".md"_qs)));
    QCOMPARE(cardTexts(today, LaneKind::Todo),
             QStringList({u"Review delay-alert PR"_qs, u"Write cohort builder doc"_qs,
                          u"1:1 with Tamsorn at 4pm"_qs}));
    QCOMPARE(cardTexts(today, LaneKind::Doing), QStringList{u"Migrate GIS halt dashboard"_qs});
    QCOMPARE(cardTexts(today, LaneKind::Done),
             QStringList({u"Standup notes"_qs, u"Fix notification retries"_qs}));

    const QList<std::pair<int, QStringList>> past = {
        {-1, {u"Ship halt dashboard fix"_qs, u"Reply to infra thread"_qs}},
        {-2, {u"Gig booking review"_qs}},
        {-5, {u"Sprint planning"_qs}},
    };
    for (const auto &[offset, cards] : past) {
        const QByteArray text = contentOf(boards + dayKey(offset) + u".md"_qs);
        const Board board = Board::parse(QString::fromUtf8(text));
        QCOMPARE(cardTexts(board, LaneKind::Todo), QStringList());
        QCOMPARE(cardTexts(board, LaneKind::Doing), QStringList());
        QCOMPARE(cardTexts(board, LaneKind::Done), cards);
        // An otherwise empty board, written the way every board is.
        QCOMPARE(QString::fromUtf8(text), board.markdown());
        QVERIFY(text.contains("kanban-plugin: board"));
    }
    // No other day was written.
    QCOMPARE(QDir(boards).entryList({u"*.md"_qs}, QDir::Files).size(), 4);

    QCOMPARE(contentOf(m_shared + u"/vault/01 Journal/Quick Notes/"_qs + dayKey(0) + u".md"_qs),
             QByteArray("Standup\n- Halt dashboard fix is live\n- Ask infra about retries\n"
                        "  - check DLQ size\n"));
}

void SnapshotE2eTest::closedShowsOnlyTheNotchAndItsWings()
{
    ensureShared();
    const QImage closed = picture(u"closed"_qs);
    int left = Width;
    int right = -1;
    int bottom = -1;
    for (int y = 0; y < closed.height(); ++y) {
        for (int x = 0; x < closed.width(); ++x) {
            if (isBackground(closed.pixel(x, y)))
                continue;
            left = qMin(left, x);
            right = qMax(right, x);
            bottom = qMax(bottom, y);
        }
    }
    // One black shape at the top centre: the 185 wide notch, widened by the wings (64 a side)
    // since tasks are left today, and nothing else anywhere.
    QVERIFY2(right >= 0, "nothing but background");
    const int width = right - left + 1;
    QVERIFY2(qAbs((left + right + 1) / 2 - Width / 2) <= 1,
             qPrintable(u"from %1 to %2"_qs.arg(left).arg(right)));
    QVERIFY2(width > 185 + 64 && width <= 185 + 2 * 64 + 2, qPrintable(QString::number(width)));
    QVERIFY2(bottom < 34, qPrintable(QString::number(bottom)));
    QVERIFY(isBlack(closed.pixel(Width / 2, 16)));

    // The wings: an orange dot on the left while a task is in Doing, the light count on the right.
    int orange = 0;
    int light = 0;
    for (int y = 0; y < 32; ++y) {
        for (int x = left; x <= right; ++x) {
            const QRgb colour = closed.pixel(x, y);
            if (x < Width / 2 - 185 / 2 && qRed(colour) > 200 && qGreen(colour) > 100 &&
                qGreen(colour) < 200 && qBlue(colour) < 100)
                ++orange;
            if (x > Width / 2 + 185 / 2 && qGray(colour) > 100 &&
                qAbs(qRed(colour) - qBlue(colour)) < 16)
                ++light;
        }
    }
    QVERIFY2(orange > 10, qPrintable(QString::number(orange)));
    QVERIFY2(light > 10, qPrintable(QString::number(light)));
}

void SnapshotE2eTest::openStatesShowThePanelOnTheBackground_data()
{
    QTest::addColumn<QString>("name");
    for (const QString &name : Names.mid(1))
        QTest::newRow(qPrintable(name)) << name;
}

void SnapshotE2eTest::openStatesShowThePanelOnTheBackground()
{
    QFETCH(QString, name);
    ensureShared();
    const QImage image = picture(name);
    // The corners are the background, the shape's body is black.
    for (const QPoint corner : {QPoint(2, 2), QPoint(Width - 3, 2), QPoint(2, OpenHeight - 3),
                                QPoint(Width - 3, OpenHeight - 3)})
        QVERIFY2(isBackground(image.pixel(corner)), qPrintable(name));
    QVERIFY(isBlack(image.pixel(Body.left() + 20, 372)));
    QVERIFY(isBlack(image.pixel(Body.right() - 20, 372)));
    // The shape spans the open width, centred.
    int left = 0;
    while (left < Width && !isBlack(image.pixel(left, 200)))
        ++left;
    int right = Width - 1;
    while (right > 0 && !isBlack(image.pixel(right, 200)))
        --right;
    QVERIFY2(qAbs(left + right - (Width - 1)) <= 1,
             qPrintable(u"from %1 to %2"_qs.arg(left).arg(right)));
    QVERIFY2(right - left + 1 == Body.width(), qPrintable(QString::number(right - left + 1)));
}

void SnapshotE2eTest::eachStateShowsItsOwnText_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<QStringList>("notShown");

    const QString month = QLocale(QLocale::English).toString(QDate::currentDate(), u"MMMM yyyy"_qs);
    QTest::newRow("board") << u"board"_qs
                           << QStringList{u"Doing"_qs, u"Done"_qs, u"Review delay-alert PR"_qs,
                                          u"1:1 with Tamsorn at 4pm"_qs, u"Migrate GIS halt"_qs}
                           << QStringList{u"Good morning"_qs, u"Looking back"_qs};
    QTest::newRow("morning") << u"morning"_qs
                             << QStringList{u"Good morning"_qs, u"Carried over 3"_qs,
                                            u"Review delay-alert PR"_qs}
                             << QStringList{u"Looking back"_qs};
    QTest::newRow("notes") << u"notes"_qs
                           << QStringList{u"Standup"_qs, u"Halt dashboard fix is live"_qs,
                                          u"check DLQ size"_qs, u"Recent"_qs}
                           << QStringList{u"Review delay-alert PR"_qs};
    QTest::newRow("calendar") << u"calendar"_qs << QStringList{month, u"Today"_qs} << QStringList{};
    QTest::newRow("settings") << u"settings"_qs
                              << QStringList{u"Obsidian vault"_qs, u"Launch at login"_qs,
                                             u"01 Journal/Boards"_qs}
                              << QStringList{u"Review delay-alert PR"_qs, u"Welcome"_qs};
    QTest::newRow("past") << u"past"_qs
                          << QStringList{u"Looking back"_qs, u"Back to today"_qs,
                                         u"Nothing here"_qs}
                          << QStringList{u"Review delay-alert PR"_qs};
}

void SnapshotE2eTest::eachStateShowsItsOwnText()
{
    QFETCH(QString, name);
    QFETCH(QStringList, shown);
    QFETCH(QStringList, notShown);
    ensureShared();
    const QImage image = picture(name);
    const QList<Word> words = ScreenText::read(image.copy(Body), m_scratch.path());
    for (const QString &phrase : shown)
        QVERIFY2(ScreenText::findPhrase(words, phrase),
                 qPrintable(phrase + u" not in: "_qs + ScreenText::describe(words)));
    for (const QString &phrase : notShown)
        QVERIFY2(!ScreenText::findPhrase(words, phrase), qPrintable(phrase));
}

void SnapshotE2eTest::statesDifferWhereTheyShould()
{
    ensureShared();
    QHash<QString, QImage> images;
    for (const QString &name : Names)
        images.insert(name, picture(name));
    const QImage &board = images[u"board"_qs];
    const int tabArea = Tab.width() * Tab.height();

    // Every state is a picture of its own.
    for (qsizetype i = 1; i < Names.size(); ++i) {
        for (qsizetype j = i + 1; j < Names.size(); ++j)
            QVERIFY2(images[Names[i]] != images[Names[j]],
                     qPrintable(Names[i] + u" = "_qs + Names[j]));
    }
    // The other tabs replace the board's lanes.
    QVERIFY(differing(board, images[u"notes"_qs], Tab) > tabArea / 10);
    QVERIFY(differing(board, images[u"settings"_qs], Tab) > tabArea / 10);
    QVERIFY(differing(images[u"notes"_qs], images[u"settings"_qs], Tab) > tabArea / 10);
    // The greeting: the same header and date, a banner pushing the lanes down.
    QCOMPARE(differing(board, images[u"morning"_qs], Header), 0);
    QVERIFY(differing(board, images[u"morning"_qs], QRect(ContentLeft, TabTop, ContentWidth, 50)) >
            1000);
    // The calendar hangs over the To do and Doing lanes and leaves Done as it was.
    QCOMPARE(differing(board, images[u"calendar"_qs], DoneLane), 0);
    QVERIFY(differing(board, images[u"calendar"_qs], QRect(ContentLeft + 120, TabTop, 250, 250)) >
            5000);
    // An earlier day: another date in the header, other cards.
    QVERIFY(differing(board, images[u"past"_qs], Header) > 0);
    QVERIFY(differing(board, images[u"past"_qs], DoneLane) > 1000);
}

void SnapshotE2eTest::picturesAreTheSameFromRunToRun()
{
    // Twice with the same vault path, which the Settings picture shows, made afresh each time.
    const QString vault = m_scratch.filePath(u"same/vault"_qs);
    const QString first = m_scratch.filePath(u"same/first"_qs);
    const QString second = m_scratch.filePath(u"same/second"_qs);
    const QString day = dayKey(0);
    QCOMPARE(run({u"--snapshot"_qs, first}, vault).exitCode, 0);
    QVERIFY(QDir(vault).removeRecursively());
    QCOMPARE(run({u"--snapshot"_qs, second}, vault).exitCode, 0);
    if (dayKey(0) != day)
        QSKIP("The day changed between the two runs");
    for (const QString &name : Names) {
        const QString file = u"/"_qs + name + u".png"_qs;
        if (name != u"notes") {
            QVERIFY2(contentOf(first + file) == contentOf(second + file), qPrintable(name));
            continue;
        }
        // The note says the minute it was saved, which may have turned between the runs.
        const QImage a = QImage(first + file).convertToFormat(QImage::Format_RGB32);
        const QImage b = QImage(second + file).convertToFormat(QImage::Format_RGB32);
        QCOMPARE(differing(a, b, a.rect()), differing(a, b, SavedLabel));
    }
}

void SnapshotE2eTest::leavesTheUsersSettingsAndVaultAlone()
{
    // Settings of the user's own, pointing elsewhere: the pictures still show the defaults, and
    // the file is not touched.
    const QString config = m_scratch.filePath(u"config/Tallowfern/Tallowfern.conf"_qs);
    QDir().mkpath(QFileInfo(config).path());
    const QByteArray settings =
        "[General]\nvaultPath=" + m_scratch.filePath(u"home/MyVault"_qs).toUtf8() +
        "\nboardsFolder=Mine\ncarryOver=false\n";
    QFile file(config);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(settings);
    file.close();

    const QString pictures = m_scratch.filePath(u"own"_qs);
    const Run result = run({u"--snapshot"_qs, pictures}, {});
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.output.count(u"wrote "_qs), 7);
    QCOMPARE(contentOf(config), settings);
    QCOMPARE(QDir(m_scratch.filePath(u"config/Tallowfern"_qs)).entryList(QDir::Files),
             QStringList{u"Tallowfern.conf"_qs});
    // Without a vault named, none of the user's folders gets sample days.
    QCOMPARE(QDir(m_scratch.filePath(u"home"_qs))
                 .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
             QStringList());
    QVERIFY(!QFileInfo::exists(m_scratch.filePath(u"state"_qs)));
    QVERIFY(!QFileInfo::exists(m_scratch.filePath(u"data/Tallowfern"_qs)));
}

void SnapshotE2eTest::aFileInPlaceOfTheFolderIsReportedAndKept()
{
    const QString path = m_scratch.filePath(u"not-a-folder"_qs);
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("keep me");
    file.close();

    const Run result = run({u"--snapshot"_qs, path}, m_scratch.filePath(u"vault-file"_qs));
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.output, QString());
    QVERIFY2(result.errors.contains(u"Couldn't write "_qs + path + u"/closed.png"_qs),
             qPrintable(result.errors));
    QCOMPARE(contentOf(path), QByteArray("keep me"));
}

void SnapshotE2eTest::relativeFolderIsPrintedAsGiven()
{
    const QString work = m_scratch.filePath(u"work"_qs);
    QVERIFY(QDir().mkpath(work));
    const Run result =
        run({u"--snapshot"_qs, u"shots"_qs}, m_scratch.filePath(u"vault-relative"_qs), work);
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.output.split(u'\n', Qt::SkipEmptyParts).first(), u"wrote shots/closed.png"_qs);
    QVERIFY(QFileInfo::exists(work + u"/shots/past.png"_qs));
}

void SnapshotE2eTest::firstSnapshotOptionWins()
{
    const QString first = m_scratch.filePath(u"first"_qs);
    const QString second = m_scratch.filePath(u"second"_qs);
    const Run result = run({u"--snapshot"_qs, first, u"--snapshot"_qs, second},
                           m_scratch.filePath(u"vault-first"_qs));
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(QDir(first).entryList(QDir::Files).size(), 7);
    QVERIFY(!QFileInfo::exists(second));
}

QTEST_GUILESS_MAIN(SnapshotE2eTest)
#include "tst_snapshot_e2e.moc"
