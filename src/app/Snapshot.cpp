#include "Snapshot.h"

#include "io/TextFile.h"
#include "model/Board.h"
#include "notch/NotchController.h"
#include "store/BoardStore.h"
#include "views/IconProvider.h"
#include "views/SteppedAnimationDriver.h"
#include "views/board/CardPreviewProvider.h"

#include <QApplication>
#include <QDate>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFont>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSaveFile>
#include <QSettings>
#include <QStyleHints>
#include <QTemporaryDir>
#include <QVariantAnimation>

#include <cstdio>
#include <memory>

namespace {

// Changes to the process environment that last as long as the run.
class EnvironmentOverride {
public:
    EnvironmentOverride() = default;
    EnvironmentOverride(const EnvironmentOverride &) = delete;
    EnvironmentOverride &operator=(const EnvironmentOverride &) = delete;
    ~EnvironmentOverride()
    {
        for (auto it = m_saved.crbegin(); it != m_saved.crend(); ++it) {
            if (it->second)
                qputenv(it->first.constData(), *it->second);
            else
                qunsetenv(it->first.constData());
        }
    }

    void set(const char *name, const QByteArray &value)
    {
        remember(name);
        qputenv(name, value);
    }
    void unset(const char *name)
    {
        remember(name);
        qunsetenv(name);
    }

private:
    void remember(const char *name)
    {
        m_saved.append({name, qEnvironmentVariableIsSet(name)
                                  ? std::optional<QByteArray>(qgetenv(name))
                                  : std::nullopt});
    }

    QList<std::pair<QByteArray, std::optional<QByteArray>>> m_saved;
};

QString dayKey(int daysFromToday)
{
    return BoardStore::dayKey(QDate::currentDate().addDays(daysFromToday));
}

void report(const QString &problem)
{
    std::fprintf(stderr, "%s\n", qPrintable(problem));
}

// Before any window exists: an application of our own on the off-screen platform when there is
// none yet, and the software renderer, whose pixels are the same on every machine.
std::unique_ptr<QGuiApplication> makeApplication(EnvironmentOverride &environment)
{
    if (QCoreApplication::instance())
        return nullptr;
    environment.set("QT_QPA_PLATFORM", "offscreen");
    environment.set("QT_QPA_OFFSCREEN_NO_GLX", "1");
    // Points are pixels in the files, whatever the user's scaling.
    for (const char *scaling :
         {"QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS", "QT_ENABLE_HIGHDPI_SCALING", "QT_FONT_DPI",
          "QT_QUICK_BACKEND", "QSG_RENDER_LOOP"})
        environment.unset(scaling);
    static int argc = 1;
    static char name[] = "tallowfern";
    static char *argv[] = {name, nullptr};
    auto app = std::make_unique<QApplication>(argc, argv);
    // The offscreen platform's own default is a small generic face.
    QFont font;
    font.setFamilies({u"Inter"_qs, u"Noto Sans"_qs, u"DejaVu Sans"_qs});
    font.setPointSizeF(10);
    QGuiApplication::setFont(font);
    return app;
}

// The notes are walked on a thread of their own: a picture shows them walked.
void waitForNotes(const BoardStore &store)
{
    QElapsedTimer waited;
    waited.start();
    while (store.vaultNotes()->loading() && waited.elapsed() < 10'000)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 10);
}

} // namespace

QList<Snapshot::State> Snapshot::states()
{
    using Tab = NotchModel::Tab;
    return {
        {u"closed"_qs, false, Tab::Board, std::nullopt, false, std::nullopt},
        {u"board"_qs, true, Tab::Board, std::nullopt, false, std::nullopt},
        {u"morning"_qs, true, Tab::Board, Greeting(3, u"2026-10-31"_qs), false, std::nullopt},
        {u"notes"_qs, true, Tab::Notes, std::nullopt, false, std::nullopt},
        {u"calendar"_qs, true, Tab::Board, std::nullopt, true, std::nullopt},
        {u"settings"_qs, true, Tab::Settings, std::nullopt, false, std::nullopt},
        {u"past"_qs, true, Tab::Board, std::nullopt, false, -1},
    };
}

QList<QStringList> Snapshot::todayCards()
{
    return {
        {u"Review delay-alert PR"_qs, u"Write cohort builder doc"_qs,
         u"1:1 with Tamsorn at 4pm"_qs},
        {u"Migrate GIS halt dashboard"_qs},
        {u"Standup notes"_qs, u"Fix notification retries"_qs},
    };
}

QList<std::pair<int, QStringList>> Snapshot::pastCards()
{
    return {
        {-1, {u"Ship halt dashboard fix"_qs, u"Reply to infra thread"_qs}},
        {-2, {u"Gig booking review"_qs}},
        {-5, {u"Sprint planning"_qs}},
    };
}

QString Snapshot::quickNote()
{
    return u"Standup\n- Halt dashboard fix is live\n- Ask infra about retries\n  - check DLQ size\n"_qs;
}

void Snapshot::writeSamples(const QString &vault)
{
    const QString boards = vault + u'/' + BoardStore::defaultBoardsFolder.toString();
    if (auto error = TextFile::makeFolders(boards))
        report(*error);
    for (const auto &[offset, cards] : pastCards()) {
        Board board = Board::empty();
        // Earlier days show as finished days.
        Lane &done = board.lanes()[*board.laneIndex(LaneKind::Done)];
        for (const QString &text : cards)
            done.cards().append(Card(text));
        const QString path = boards + u'/' + dayKey(offset) + u".md"_qs;
        if (auto error = TextFile::writeAtomically(path, board.markdown().toUtf8()))
            report(*error);
    }

    const QString notes = vault + u'/' + BoardStore::defaultNotesFolder.toString();
    if (auto error = TextFile::makeFolders(notes))
        report(*error);
    const QString note = notes + u'/' + dayKey(0) + u".md"_qs;
    if (auto error = TextFile::writeAtomically(note, quickNote().toUtf8()))
        report(*error);
}

void Snapshot::run(const QString &dir)
{
    EnvironmentOverride environment;
    // Settings go to a scratch folder, and so does the vault unless one is named, with the copies
    // of files it replaces: a snapshot must neither read the user's preferences nor write sample
    // days into their journal.
    QTemporaryDir scratch;
    if (!scratch.isValid()) {
        report(u"Couldn't make a scratch folder: "_qs + scratch.errorString());
        return;
    }
    environment.set("XDG_CONFIG_HOME", QFile::encodeName(scratch.filePath(u"config"_qs)));
    // Qt wants one for the off-screen platform and complains without it.
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR") &&
        QDir(scratch.path()).mkdir(u"runtime"_qs)) {
        QFile::setPermissions(scratch.filePath(u"runtime"_qs),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        environment.set("XDG_RUNTIME_DIR", QFile::encodeName(scratch.filePath(u"runtime"_qs)));
    }
    if (qEnvironmentVariableIsEmpty("TALLOWFERN_VAULT")) {
        environment.set("TALLOWFERN_VAULT", QFile::encodeName(scratch.filePath(u"vault"_qs)));
        environment.set("XDG_STATE_HOME", QFile::encodeName(scratch.filePath(u"state"_qs)));
    }

    const std::unique_ptr<QGuiApplication> app = makeApplication(environment);
    const QSGRendererInterface::GraphicsApi previousApi = QQuickWindow::graphicsApi();
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    // A steady cursor: a blinking one would be caught on or off by chance.
    const int flashTime = QGuiApplication::styleHints()->cursorFlashTime();
    QGuiApplication::styleHints()->setCursorFlashTime(0);

    const QString vault = qEnvironmentVariable("TALLOWFERN_VAULT");
    writeSamples(vault);
    {
        // A vault already chosen: the pictures show the panel as it is used, not its first-run
        // welcome.
        QSettings settings(BoardStore::settingsPath(), QSettings::IniFormat);
        settings.setValue(BoardStore::Key::vault.toString(), vault);
    }
    if (auto error = TextFile::makeFolders(dir))
        report(u"Couldn't make the folder for the pictures: "_qs + *error);

    {
        BoardStore store;
        store.setGreeting(std::nullopt);
        const QList<QStringList> cards = todayCards();
        for (LaneKind kind : LaneKind::allCases()) {
            for (const QString &text : cards.at(static_cast<int>(kind.value())))
                store.add(text, kind);
        }

        SteppedAnimationDriver driver;
        driver.install();
        QQmlEngine engine;
        engine.addImportPath(u"qrc:/qt/qml"_qs);
        IconProvider::install(&engine);
        CardPreviewProvider::install(&engine);
        for (const State &state : states())
            render(state, store, engine, driver, dir);
        driver.uninstall();
    }

    QGuiApplication::styleHints()->setCursorFlashTime(flashTime);
    QQuickWindow::setGraphicsApi(previousApi);
}

void Snapshot::render(const State &state, BoardStore &store, QQmlEngine &engine,
                      SteppedAnimationDriver &driver, const QString &dir)
{
    NotchModel model;
    model.setNotchSize(notchSize);
    model.setOpen(state.open);
    model.setTab(state.tab);
    model.setShowCalendar(state.calendar);
    store.view(state.pastDay ? std::optional<QString>(dayKey(*state.pastDay)) : std::nullopt);
    store.setGreeting(state.greeting);

    QQuickView view(&engine, nullptr);
    view.setFlags(Qt::FramelessWindowHint);
    view.setColor(background());
    view.setResizeMode(QQuickView::SizeRootObjectToView);
    view.setInitialProperties({{u"model"_qs, QVariant::fromValue(&model)},
                               {u"store"_qs, QVariant::fromValue(&store)},
                               {u"buildContentGradually"_qs, false}});
    view.setSource(NotchController::defaultRootView());
    if (view.status() != QQuickView::Ready) {
        for (const QQmlError &error : view.errors())
            report(error.toString());
        return;
    }
    view.resize(width, state.open ? openHeight : closedHeight);
    view.show();

    // One frame at a time, so that everything an animation starts on the way (a view built by a
    // loader, the notes walked on their thread) catches up before the clock moves on. While only
    // pauses run, Qt would time them by the wall clock: a steady animation keeps them on ours.
    QVariantAnimation keepAlive;
    keepAlive.setDuration(static_cast<int>(settleMilliseconds) * 2);
    keepAlive.setStartValue(0.0);
    keepAlive.setEndValue(1.0);
    keepAlive.start();
    constexpr qint64 frame = 16;
    for (qint64 t = 0; t < settleMilliseconds; t += frame) {
        QCoreApplication::processEvents();
        waitForNotes(store);
        QCoreApplication::processEvents();
        driver.step(frame);
    }
    keepAlive.stop();
    QCoreApplication::processEvents();

    const QImage image = view.grabWindow();
    const QString path = QDir(dir).filePath(state.name + u".png"_qs);
    if (image.isNull()) {
        report(u"Couldn't render "_qs + state.name);
        return;
    }
    // Written aside and renamed, so that a failed write leaves no half picture behind.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || !image.save(&file, "PNG") || !file.commit()) {
        report(u"Couldn't write "_qs + path + u": "_qs + file.errorString());
        return;
    }
    std::printf("wrote %s\n", qPrintable(path));
    std::fflush(stdout);
}
