// Frame times of the Board tab with a long To do lane, beside a plain ListView doing the same
// on the same machine in the same run.
//
// Each scenario runs in a shown QQuickView: scrolling the lane top to bottom and back, moving
// cards between and within lanes every 100 ms, adding and deleting cards at the top, and the
// whole file changing on disk. A tiny spinner keeps frames coming, so that a frame the program
// fails to deliver shows up as a long interval rather than as no frame at all. Intervals are
// taken between frameSwapped signals; polish (GUI thread, where delegates are made), sync and
// render (render thread when the loop is threaded) are taken from the window's other signals.
// Edits are timed on the GUI thread, and a stall during which one ran is counted as such. Last,
// what making one row costs: the list jumps to pages it has not made yet.
//
//   bench_board_frames [--seconds S] [--warmup S] [--cards N] [--json PATH]
//
// Runs wherever Qt Quick does: on X (xcb, OpenGL) and offscreen with the software scene graph
// (QT_QPA_PLATFORM=offscreen QT_QUICK_BACKEND=software); QSG_RENDER_LOOP=basic puts rendering
// on the GUI thread. The board goes first, so that the plain list can copy its geometry.

#include "BenchSupport.h"
#include "CardPreviewProvider.h"
#include "IconProvider.h"
#include "PanelTheme.h"
#include "notch/NotchModel.h"
#include "platform/UrlLauncher.h"
#include "store/BoardStore.h"
#include "store/Clock.h"
#include "support/BoardText.h"
#include "support/QuickItems.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMutex>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSGRendererInterface>
#include <QScreen>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

Q_IMPORT_QML_PLUGIN(TallowfernPlugin)

using QuickItems::findItem;

namespace {

// The panel's tab area.
constexpr QSize windowSize(760, 300);
// Edits come this often while frames are measured: faster than any person, slower than the
// transitions they start, so that transitions overlap.
constexpr int editIntervalMs = 100;
// One trip top → bottom → top of the lane.
constexpr double scrollRoundTripSeconds = 4.0;

struct Options {
    double seconds = 5.0;
    double warmup = 0.5;
    int cards = 500;
    QString json;
};

std::optional<Options> parseOptions(const QStringList &arguments)
{
    Options options;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &name = arguments[i];
        if (i + 1 >= arguments.size()) {
            std::fprintf(stderr, "%s needs a value\n", qPrintable(name));
            return std::nullopt;
        }
        const QString value = arguments[++i];
        bool ok = true;
        if (name == u"--seconds")
            options.seconds = value.toDouble(&ok);
        else if (name == u"--warmup")
            options.warmup = value.toDouble(&ok);
        else if (name == u"--cards")
            options.cards = value.toInt(&ok);
        else if (name == u"--json")
            options.json = value;
        else
            ok = false;
        if (!ok || options.seconds <= 0 || options.warmup < 0 || options.cards < 1) {
            std::fprintf(stderr, "usage: %s [--seconds S] [--warmup S] [--cards N] [--json PATH]\n",
                         qPrintable(arguments.first()));
            return std::nullopt;
        }
    }
    return options;
}

// Today at nine, for the whole run: no day change can reload the board half-way.
class FixedClock final : public Clock {
public:
    [[nodiscard]] QDateTime now() const override { return m_now; }

private:
    QDateTime m_now = QDateTime(QDate::currentDate(), QTime(9, 0));
};

class NoLauncher final : public UrlLauncher {
public:
    void open(const QByteArray &) override {}
};

// The drag picture provider, counting and timing its work: every card row asks for its picture
// as soon as it is made.
class CountingPreviewProvider final : public CardPreviewProvider {
public:
    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override
    {
        QElapsedTimer timer;
        timer.start();
        QImage image = CardPreviewProvider::requestImage(id, size, requestedSize);
        nanos.fetch_add(timer.nsecsElapsed());
        calls.fetch_add(1);
        return image;
    }

    std::atomic<qint64> calls{0};
    std::atomic<qint64> nanos{0};
};

void spin(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

struct Frame {
    qint64 swapped = 0; // ns since the recorder started
    // afterAnimating → beforeSynchronizing: polishing (laying out, making rows); with a render
    // thread, also waiting for it to finish the frame before.
    qint64 polish = 0;
    qint64 sync = 0;
    qint64 render = 0; // afterSynchronizing → frameSwapped
};

// Timestamps from the window's signals, taken on whichever thread emits them.
class FrameRecorder {
public:
    explicit FrameRecorder(QQuickWindow *window)
    {
        m_clock.start();
        m_frames.reserve(1 << 16);
        const auto now = [this] { return m_clock.nsecsElapsed(); };
        QObject::connect(
            window, &QQuickWindow::afterAnimating, window, [=, this] { m_animated = now(); },
            Qt::DirectConnection);
        QObject::connect(
            window, &QQuickWindow::beforeSynchronizing, window,
            [=, this] {
                // The GUI thread animated and polished this frame just before; it may animate
                // the next one before this one is swapped.
                m_syncStart = now();
                m_polish = std::max<qint64>(0, m_syncStart - m_animated);
            },
            Qt::DirectConnection);
        QObject::connect(
            window, &QQuickWindow::afterSynchronizing, window, [=, this] { m_syncEnd = now(); },
            Qt::DirectConnection);
        QObject::connect(
            window, &QQuickWindow::beforeRendering, window,
            [this, window] {
                if (!m_glRenderer.isEmpty() ||
                    window->rendererInterface()->graphicsApi() != QSGRendererInterface::OpenGL)
                    return;
                if (QOpenGLContext *context = QOpenGLContext::currentContext()) {
                    const auto *text = reinterpret_cast<const char *>(
                        context->functions()->glGetString(GL_RENDERER));
                    QMutexLocker lock(&m_mutex);
                    m_glRenderer = QString::fromLatin1(text ? text : "?");
                }
            },
            Qt::DirectConnection);
        QObject::connect(
            window, &QQuickWindow::frameSwapped, window,
            [=, this] {
                const qint64 t = now();
                m_threaded = QThread::currentThread() != qApp->thread();
                m_swaps.fetch_add(1);
                if (!m_recording)
                    return;
                const qint64 polish = m_polish, syncStart = m_syncStart, syncEnd = m_syncEnd;
                QMutexLocker lock(&m_mutex);
                m_frames.push_back({t, polish, syncEnd - syncStart, t - syncEnd});
            },
            Qt::DirectConnection);
    }

    void start()
    {
        QMutexLocker lock(&m_mutex);
        m_frames.clear();
        m_recording = true;
    }
    std::vector<Frame> stop()
    {
        m_recording = false;
        QMutexLocker lock(&m_mutex);
        return m_frames;
    }
    [[nodiscard]] qint64 now() const { return m_clock.nsecsElapsed(); }
    [[nodiscard]] qint64 swaps() const { return m_swaps; }
    [[nodiscard]] bool threaded() const { return m_threaded; }
    [[nodiscard]] QString glRenderer()
    {
        QMutexLocker lock(&m_mutex);
        return m_glRenderer;
    }

private:
    QElapsedTimer m_clock;
    std::atomic<qint64> m_animated{0};
    std::atomic<qint64> m_polish{0};
    std::atomic<qint64> m_syncStart{0};
    std::atomic<qint64> m_syncEnd{0};
    std::atomic<qint64> m_swaps{0};
    std::atomic<bool> m_recording{false};
    std::atomic<bool> m_threaded{false};
    QMutex m_mutex;
    std::vector<Frame> m_frames;
    QString m_glRenderer;
};

struct RowCost {
    int pages = 0;
    int rows = 0;
    Stats perRow; // ms per row, one sample per page
};

struct Result {
    QString name;
    QString window; // "board" or "baseline"
    double seconds = 0;
    Stats interval, polish, sync, render, edits;
    int stalls = 0;
    // Stalls during which an edit (the store call and everything it set off) ran.
    int stallsWithEdit = 0;
    // The longest intervals, and what the frame that ended each spent where.
    struct Slow {
        double interval, polish, sync, render, edit;
    };
    std::vector<Slow> slowest;
    qint64 previews = 0;
    double previewMs = 0;
};

// What a scenario does: `begin` once before frames are counted, `tick` on every frame (GUI
// thread, after the animations advanced), `edit` every editIntervalMs; each may be empty. `edit`
// returns false when it did nothing worth timing.
struct Scenario {
    QString name;
    std::function<void()> begin;
    std::function<void(double seconds)> tick;
    std::function<bool()> edit;
};

const char *const frameSpinner = R"(
import QtQuick
// Keeps frames coming at the display's pace while nothing else moves.
Rectangle {
    width: 2; height: 2; z: 1000
    color: "#303030"
    RotationAnimation on rotation { from: 0; to: 360; duration: 1000; loops: Animation.Infinite }
}
)";

// The yardstick: Qt's own ListView with one Text per row, the lane's row height and spacing,
// the lane's transitions and the lane's place in the window.
const char *const baselineQml = R"(
import QtQuick

Rectangle {
    id: root
    color: "black"

    property int rows: 500
    property real rowHeight: 30
    property int duration: 250
    property rect listRect: Qt.rect(10, 36, 240, 200)

    function moveFirstToLast() { rowsModel.move(0, rowsModel.count - 1, 1); }
    function moveLastToFirst() { rowsModel.move(rowsModel.count - 1, 0, 1); }
    function removeFirst() { rowsModel.remove(0, 1); }
    function insertFirst(label: string) { rowsModel.insert(0, { label: label }); }

    ListView {
        id: list
        objectName: "cards"
        x: root.listRect.x; y: root.listRect.y
        width: root.listRect.width; height: root.listRect.height
        spacing: 4
        clip: true
        cacheBuffer: 200
        boundsBehavior: Flickable.StopAtBounds
        model: ListModel { id: rowsModel }
        delegate: Text {
            required property string label
            width: ListView.view.width
            height: root.rowHeight
            text: label
            color: "white"
            font.pixelSize: 12
            verticalAlignment: Text.AlignVCenter
        }
        add: Transition {
            NumberAnimation { property: "opacity"; from: 0; to: 1; duration: root.duration }
            NumberAnimation { property: "scale"; from: 0.92; to: 1; duration: root.duration }
        }
        remove: Transition {
            NumberAnimation { property: "opacity"; to: 0; duration: root.duration }
            NumberAnimation { property: "scale"; to: 0.96; duration: root.duration }
        }
        move: Transition {
            NumberAnimation { properties: "x,y"; duration: root.duration }
        }
        displaced: Transition {
            NumberAnimation { properties: "x,y"; duration: root.duration }
            NumberAnimation { properties: "opacity,scale"; to: 1; duration: root.duration }
        }
    }

    Component.onCompleted: {
        for (let i = 0; i < rows; ++i)
            rowsModel.append({ label: "Task " + (i + 1) });
    }
}
)";

class Bench {
public:
    Bench(const Options &options, const QTemporaryDir &scratch)
        : m_options(options), m_scratch(scratch)
    {}

    int run()
    {
        if (!runBoard() || !runBaseline())
            return 1;
        measureSaves();
        print();
        return writeJson() ? 0 : 1;
    }

private:
    [[nodiscard]] QString boardFile() const
    {
        return m_scratch.filePath(u"vault/01 Journal/Boards/"_qs) +
               QDate::currentDate().toString(u"yyyy-MM-dd") + u".md"_qs;
    }

    std::unique_ptr<QQuickView> makeView()
    {
        auto view = std::make_unique<QQuickView>();
        view->setColor(Qt::black);
        view->setResizeMode(QQuickView::SizeRootObjectToView);
        view->engine()->addImportPath(u"qrc:/qt/qml"_qs);
        view->resize(windowSize);
        return view;
    }

    bool show(QQuickView &view, FrameRecorder &recorder)
    {
        if (view.status() != QQuickView::Ready) {
            for (const QQmlError &error : view.errors())
                std::fprintf(stderr, "%s\n", qPrintable(error.toString()));
            return false;
        }
        QQmlComponent spinner(view.engine());
        spinner.setData(frameSpinner, QUrl());
        auto *item = qobject_cast<QQuickItem *>(spinner.create());
        if (!item) {
            std::fprintf(stderr, "%s\n", qPrintable(spinner.errorString()));
            return false;
        }
        item->setParent(&view);
        item->setParentItem(view.contentItem());
        view.show();
        if (!spinUntil([&] { return view.isExposed() && recorder.swaps() > 2; }, 10000)) {
            std::fprintf(stderr, "the window never showed a frame\n");
            return false;
        }
        describeEnvironment(view, recorder);
        return true;
    }

    void describeEnvironment(QQuickView &view, FrameRecorder &recorder)
    {
        if (!m_environment.isEmpty())
            return;
        const double hz = view.screen() ? view.screen()->refreshRate() : 0;
        m_refreshMs = hz > 1 ? 1000.0 / hz : 1000.0 / 60;
        QString api;
        switch (view.rendererInterface()->graphicsApi()) {
        case QSGRendererInterface::Software:
            api = u"software"_qs;
            break;
        case QSGRendererInterface::OpenGL:
            api = u"opengl"_qs;
            break;
        default:
            api = u"other ("_qs + QString::number(view.rendererInterface()->graphicsApi()) + u')';
        }
        const QByteArray loop = qgetenv("QSG_RENDER_LOOP");
        m_environment = {
            {u"qt"_qs, QString::fromLatin1(qVersion())},
            {u"platform"_qs, QGuiApplication::platformName()},
            {u"graphics_api"_qs, api},
            {u"gl_renderer"_qs, recorder.glRenderer()},
            {u"render_thread"_qs, recorder.threaded()},
            {u"QSG_RENDER_LOOP"_qs, loop.isEmpty() ? u"(unset)"_qs : QString::fromLatin1(loop)},
            {u"refresh_hz"_qs, hz},
            {u"stall_threshold_ms"_qs, 2 * m_refreshMs},
            {u"window"_qs,
             QString::number(windowSize.width()) + u'x' + QString::number(windowSize.height())},
            {u"cards"_qs, m_options.cards},
            {u"seconds_per_scenario"_qs, m_options.seconds},
            {u"warmup_seconds"_qs, m_options.warmup},
            {u"edit_interval_ms"_qs, editIntervalMs},
            {u"scroll_round_trip_seconds"_qs, scrollRoundTripSeconds},
        };
    }

    // Runs `scenario` for the warm-up, then again while frames are recorded.
    void measure(const QString &window, QQuickView &view, FrameRecorder &recorder,
                 const Scenario &scenario, CountingPreviewProvider *previews)
    {
        if (scenario.begin)
            scenario.begin();
        QElapsedTimer clock;
        struct Span {
            qint64 start, end;
        };
        std::vector<Span> edits;
        bool timingEdits = false;

        QMetaObject::Connection ticking;
        if (scenario.tick) {
            ticking = QObject::connect(&view, &QQuickWindow::afterAnimating, &view,
                                       [&] { scenario.tick(double(clock.nsecsElapsed()) / 1e9); });
        }
        QTimer editTimer;
        editTimer.setInterval(editIntervalMs);
        editTimer.setTimerType(Qt::PreciseTimer);
        if (scenario.edit) {
            QObject::connect(&editTimer, &QTimer::timeout, &view, [&] {
                const qint64 start = recorder.now();
                const bool timed = scenario.edit();
                if (timed && timingEdits)
                    edits.push_back({start, recorder.now()});
            });
            editTimer.start();
        }

        clock.start();
        spin(int(m_options.warmup * 1000));
        const qint64 previewCalls = previews ? previews->calls.load() : 0;
        const qint64 previewNanos = previews ? previews->nanos.load() : 0;
        timingEdits = true;
        recorder.start();
        spin(int(m_options.seconds * 1000));
        const std::vector<Frame> frames = recorder.stop();
        timingEdits = false;
        editTimer.stop();
        QObject::disconnect(ticking);

        const auto ms = [](qint64 ns) { return double(ns) / 1e6; };
        // How long edits ran inside (from, to].
        const auto editTime = [&](qint64 from, qint64 to) {
            qint64 inside = 0;
            for (const Span &edit : edits)
                inside += std::max<qint64>(0, std::min(to, edit.end) - std::max(from, edit.start));
            return inside;
        };

        Result result;
        result.name = scenario.name;
        result.window = window;
        result.seconds = m_options.seconds;
        std::vector<double> intervals, polish, sync, render, editTimes;
        for (std::size_t i = 0; i < frames.size(); ++i) {
            polish.push_back(ms(frames[i].polish));
            sync.push_back(ms(frames[i].sync));
            render.push_back(ms(frames[i].render));
            if (i == 0)
                continue;
            const double interval = ms(frames[i].swapped - frames[i - 1].swapped);
            intervals.push_back(interval);
            const double edit = ms(editTime(frames[i - 1].swapped, frames[i].swapped));
            if (interval > 2 * m_refreshMs) {
                ++result.stalls;
                if (edit > 0)
                    ++result.stallsWithEdit;
            }
            result.slowest.push_back({interval, polish.back(), sync.back(), render.back(), edit});
        }
        std::sort(
            result.slowest.begin(), result.slowest.end(),
            [](const Result::Slow &a, const Result::Slow &b) { return a.interval > b.interval; });
        result.slowest.resize(std::min<std::size_t>(result.slowest.size(), 5));
        for (const Span &edit : edits)
            editTimes.push_back(ms(edit.end - edit.start));
        result.interval = stats(std::move(intervals));
        result.polish = stats(std::move(polish));
        result.sync = stats(std::move(sync));
        result.render = stats(std::move(render));
        result.edits = stats(std::move(editTimes));
        if (previews) {
            result.previews = previews->calls.load() - previewCalls;
            result.previewMs = double(previews->nanos.load() - previewNanos) / 1e6;
        }
        m_results.push_back(result);
        std::fprintf(stderr, "  %-24s %6lld frames\n", qPrintable(window + u' ' + scenario.name),
                     static_cast<long long>(result.interval.count + 1));
        // Let the last transitions end before the next scenario.
        spin(600);
    }

    // A triangle wave over the whole content: top, bottom, top.
    static std::function<void(double)> sweep(QQuickItem *list)
    {
        return [list](double seconds) {
            const double phase =
                std::fmod(seconds, scrollRoundTripSeconds) / scrollRoundTripSeconds;
            const double along = phase < 0.5 ? 2 * phase : 2 - 2 * phase;
            const double range = list->property("contentHeight").toDouble() - list->height();
            const double origin = list->property("originY").toDouble();
            list->setProperty("contentY", origin + along * std::max(0.0, range));
        };
    }

    static std::function<void()> toTop(QQuickItem *list)
    {
        return [list] { QMetaObject::invokeMethod(list, "positionViewAtBeginning"); };
    }

    bool runBoard()
    {
        Scratch::write(boardFile(), boardText(m_options.cards, 5, 5));
        FixedClock clock;
        NoLauncher launcher;
        BoardStore store(&clock, &launcher);
        if (store.board().cards(LaneKind::Todo).size() != m_options.cards) {
            std::fprintf(stderr, "the store did not read %d cards from %s\n", m_options.cards,
                         qPrintable(boardFile()));
            return false;
        }
        NotchModel model;
        std::unique_ptr<QQuickView> view = makeView();
        IconProvider::install(view->engine());
        auto *previews = new CountingPreviewProvider;
        view->engine()->addImageProvider(CardPreviewProvider::providerId.toString(), previews);
        FrameRecorder recorder(view.get());
        view->setInitialProperties({{u"model"_qs, QVariant::fromValue(&model)},
                                    {u"store"_qs, QVariant::fromValue(&store)}});
        view->setSource(QUrl(u"qrc:/qt/qml/Tallowfern/board/BoardView.qml"_qs));
        if (!show(*view, recorder))
            return false;

        QQuickItem *lane = findItem(view->rootObject(), u"lane-todo"_qs);
        QQuickItem *list = findItem(lane, u"cards"_qs);
        if (!list || list->property("count").toInt() != m_options.cards) {
            std::fprintf(stderr, "no To do list with %d rows in the board view (%s, %d rows)\n",
                         m_options.cards, lane ? "lane found" : "no lane",
                         list ? list->property("count").toInt() : -1);
            return false;
        }
        // The baseline's list takes the same place and rows of the same height.
        m_listRect = list->mapRectToScene(QRectF(0, 0, list->width(), list->height()));
        const double contentHeight = list->property("contentHeight").toDouble();
        m_rowHeight = (contentHeight + 4) / m_options.cards - 4;

        const auto todo = [&store] { return store.board().cards(LaneKind::Todo); };
        const Scenario idle{u"idle"_qs, toTop(list), {}, {}};
        const Scenario scroll{u"scroll"_qs, toTop(list), sweep(list), {}};

        int step = 0;
        QUuid travelling;
        const Scenario moves{u"move cards"_qs, toTop(list), {}, [&] {
                                 const QList<Card> cards = todo();
                                 switch (step++ % 4) {
                                 case 0: // top of To do → end of Doing
                                     travelling = cards.first().id();
                                     store.move(travelling, LaneKind::Doing, std::nullopt);
                                     break;
                                 case 1: // and back to the top of To do
                                     store.move(travelling, LaneKind::Todo, cards.first().id());
                                     break;
                                 case 2: // first → last within To do
                                     store.move(cards.first().id(), LaneKind::Todo, std::nullopt);
                                     break;
                                 default: // last → first
                                     store.move(cards.last().id(), LaneKind::Todo,
                                                cards.first().id());
                                 }
                                 return true;
                             }};

        int added = 0;
        const Scenario addDelete{u"add/delete at top"_qs, toTop(list), {}, [&] {
                                     if (step++ % 2 == 0) {
                                         // The store adds at the end; the new card then goes to the
                                         // top.
                                         const QUuid first = todo().first().id();
                                         store.add(u"New card "_qs + QString::number(++added),
                                                   LaneKind::Todo);
                                         store.move(todo().last().id(), LaneKind::Todo, first);
                                     } else {
                                         store.deleteCard(todo().first().id());
                                     }
                                     return true;
                                 }};

        // Someone else saves the file (an edit in Obsidian, a sync): every card comes back with
        // a new id and the lanes work out which rows stayed.
        int rewrites = 0;
        const Scenario reread{u"file changed on disk"_qs, toTop(list), {}, [&] {
                                  ++rewrites;
                                  Board board = store.board();
                                  board.lanes()[*board.laneIndex(LaneKind::Todo)].cards()[0] =
                                      Card(u"Task 1, edited "_qs + QString::number(rewrites));
                                  Scratch::write(store.todayPath(), board.markdown().toUtf8());
                                  store.checkForChanges();
                                  return true;
                              }};

        std::fprintf(stderr, "board (%s, %s):\n", qPrintable(QGuiApplication::platformName()),
                     recorder.threaded() ? "threaded render loop" : "render loop on GUI thread");
        for (const Scenario *scenario : {&idle, &scroll, &moves, &addDelete, &reread}) {
            step = 0;
            measure(u"board"_qs, *view, recorder, *scenario, previews);
        }
        m_boardRows = rowCreation(list);
        return true;
    }

    bool runBaseline()
    {
        std::unique_ptr<QQuickView> view = makeView();
        FrameRecorder recorder(view.get());
        // From a file, so that the view sizes it like the board's root.
        const QString source = m_scratch.filePath(u"Baseline.qml"_qs);
        Scratch::write(source, baselineQml);
        view->setInitialProperties({{u"rows"_qs, m_options.cards},
                                    {u"rowHeight"_qs, m_rowHeight},
                                    {u"duration"_qs, PanelTheme::snappyDuration()},
                                    {u"listRect"_qs, m_listRect}});
        view->setSource(QUrl::fromLocalFile(source));
        if (!show(*view, recorder))
            return false;
        QQuickItem *root = view->rootObject();
        QQuickItem *list = findItem(root, u"cards"_qs);

        int step = 0;
        int added = 0;
        const Scenario idle{u"idle"_qs, toTop(list), {}, {}};
        const Scenario scroll{u"scroll"_qs, toTop(list), sweep(list), {}};
        const Scenario moves{u"move cards"_qs, toTop(list), {}, [&] {
                                 // Leaving for another lane and coming back are a removal and
                                 // an insertion at the top here.
                                 switch (step++ % 4) {
                                 case 0:
                                     QMetaObject::invokeMethod(root, "removeFirst");
                                     break;
                                 case 1:
                                     QMetaObject::invokeMethod(root, "insertFirst",
                                                               Q_ARG(QString, u"Back"_qs));
                                     break;
                                 case 2:
                                     QMetaObject::invokeMethod(root, "moveFirstToLast");
                                     break;
                                 default:
                                     QMetaObject::invokeMethod(root, "moveLastToFirst");
                                 }
                                 return true;
                             }};
        const Scenario addDelete{
            u"add/delete at top"_qs, toTop(list), {}, [&] {
                if (step++ % 2 == 0)
                    QMetaObject::invokeMethod(
                        root, "insertFirst",
                        Q_ARG(QString, u"New card "_qs + QString::number(++added)));
                else
                    QMetaObject::invokeMethod(root, "removeFirst");
                return true;
            }};
        std::fprintf(stderr, "baseline (%s, %s):\n", qPrintable(QGuiApplication::platformName()),
                     recorder.threaded() ? "threaded render loop" : "render loop on GUI thread");
        for (const Scenario *scenario : {&idle, &scroll, &moves, &addDelete}) {
            step = 0;
            measure(u"baseline"_qs, *view, recorder, *scenario, nullptr);
        }
        m_baselineRows = rowCreation(list);
        return true;
    }

    // What making a row costs on the GUI thread: the list jumps to pages that share no row with
    // the one before, so that every row it then holds was made for the jump.
    static RowCost rowCreation(QQuickItem *list)
    {
        const int count = list->property("count").toInt();
        const auto rowsAround = [&](int index) {
            int rows = 0;
            for (int i = std::max(0, index - 40); i < std::min(count, index + 80); ++i) {
                QQuickItem *row = nullptr;
                QMetaObject::invokeMethod(list, "itemAtIndex", Q_RETURN_ARG(QQuickItem *, row),
                                          Q_ARG(int, i));
                rows += row ? 1 : 0;
            }
            return rows;
        };
        std::vector<double> perRow;
        RowCost cost;
        for (int pass = 0; pass < 4; ++pass) {
            for (int index = 60 + pass * 13; index < count - 60; index += 60) {
                spin(20); // the rows of the last page go
                QElapsedTimer took;
                took.start();
                QMetaObject::invokeMethod(list, "positionViewAtIndex", Q_ARG(int, index),
                                          Q_ARG(int, 1 /* ListView.Beginning */));
                list->ensurePolished();
                const double ms = double(took.nsecsElapsed()) / 1e6;
                const int rows = rowsAround(index);
                if (pass == 0 || rows == 0)
                    continue; // the first pass fills caches
                cost.rows += rows;
                cost.pages += 1;
                perRow.push_back(ms / rows);
            }
        }
        cost.perRow = stats(std::move(perRow));
        QMetaObject::invokeMethod(list, "positionViewAtBeginning");
        return cost;
    }

    // What writing the 500-card file costs by itself, to tell it from the model and view work
    // in the edit times.
    void measureSaves()
    {
        FixedClock clock;
        NoLauncher launcher;
        BoardStore store(&clock, &launcher);
        std::vector<double> saves;
        for (int i = 0; i < 30; ++i) {
            QElapsedTimer took;
            took.start();
            store.save();
            saves.push_back(double(took.nsecsElapsed()) / 1e6);
        }
        m_saves = stats(std::move(saves));
        // A move with no view on the store: what is left of an edit's time in the board
        // scenarios is the lanes' and the list's.
        std::vector<double> moves;
        for (int i = 0; i < 30; ++i) {
            const QUuid first = store.board().cards(LaneKind::Todo).first().id();
            QElapsedTimer took;
            took.start();
            store.move(first, LaneKind::Todo, std::nullopt);
            moves.push_back(double(took.nsecsElapsed()) / 1e6);
        }
        m_storeMoves = stats(std::move(moves));
    }

    void print() const
    {
        std::printf("\nFrame intervals in ms; stalls are intervals over %.1f ms (2 x %.1f ms "
                    "refresh).\n",
                    2 * m_refreshMs, m_refreshMs);
        std::printf("%s, %s, render thread: %s, QSG_RENDER_LOOP=%s%s%s\n\n",
                    qPrintable(m_environment[u"platform"_qs].toString()),
                    qPrintable(m_environment[u"graphics_api"_qs].toString()),
                    m_environment[u"render_thread"_qs].toBool() ? "yes" : "no",
                    qPrintable(m_environment[u"QSG_RENDER_LOOP"_qs].toString()),
                    m_environment[u"gl_renderer"_qs].toString().isEmpty() ? "" : ", GL: ",
                    qPrintable(m_environment[u"gl_renderer"_qs].toString()));
        std::printf("%-9s %-20s %6s %5s %6s %6s %6s %7s %6s | %6s %6s %6s | %6s %6s | %8s\n",
                    "window", "scenario", "frames", "fps", "median", "p95", "p99", "max", "stalls",
                    "polish", "sync", "render", "edit", "edit", "previews");
        std::printf("%-9s %-20s %6s %5s %6s %6s %6s %7s %6s | %6s %6s %6s | %6s %6s | %8s\n", "",
                    "", "", "", "", "", "", "", "(edit)", "p95", "p95", "p95", "median", "max",
                    "count/ms");
        for (const Result &r : m_results) {
            const QString edit = r.edits.count ? QString::number(r.edits.median, 'f', 2) : u"-"_qs;
            const QString editMax = r.edits.count ? QString::number(r.edits.max, 'f', 2) : u"-"_qs;
            const QString previews = r.window == u"board" ? QString::number(r.previews) + u'/' +
                                                                QString::number(r.previewMs, 'f', 0)
                                                          : u"-"_qs;
            const QString stalls =
                QString::number(r.stalls) + u'(' + QString::number(r.stallsWithEdit) + u')';
            std::printf("%-9s %-20s %6lld %5.0f %6.2f %6.2f %6.2f %7.2f %6s | %6.2f %6.2f %6.2f "
                        "| %6s %6s | %8s\n",
                        qPrintable(r.window), qPrintable(r.name),
                        static_cast<long long>(r.interval.count + 1),
                        double(r.interval.count) / r.seconds, r.interval.median, r.interval.p95,
                        r.interval.p99, r.interval.max, qPrintable(stalls), r.polish.p95,
                        r.sync.p95, r.render.p95, qPrintable(edit), qPrintable(editMax),
                        qPrintable(previews));
        }
        std::printf("\nThe slowest frames: interval (polish / sync / render / edit inside), ms\n");
        for (const Result &r : m_results) {
            QString line;
            for (const Result::Slow &slow : r.slowest) {
                line += QString::asprintf("  %.1f (%.1f/%.1f/%.1f/%.1f)", slow.interval,
                                          slow.polish, slow.sync, slow.render, slow.edit);
            }
            std::printf("%-9s %-20s%s\n", qPrintable(r.window), qPrintable(r.name),
                        qPrintable(line));
        }
        for (const auto &[name, cost] :
             {std::pair{"board", &m_boardRows}, std::pair{"baseline", &m_baselineRows}}) {
            std::printf("\nMaking a %s row: median %.3f ms, p95 %.3f ms, max %.3f ms (%d rows on "
                        "%d pages).",
                        name, cost->perRow.median, cost->perRow.p95, cost->perRow.max, cost->rows,
                        cost->pages);
        }
        std::printf("\n");
        std::printf("\nSaving the %d-card board alone: median %.2f ms, max %.2f ms (%lld saves).\n",
                    m_options.cards, m_saves.median, m_saves.max,
                    static_cast<long long>(m_saves.count));
        std::printf("A move in the store with no view on it: median %.2f ms, max %.2f ms.\n",
                    m_storeMoves.median, m_storeMoves.max);
        std::fflush(stdout);
    }

    static QJsonArray slowest(const Result &r)
    {
        QJsonArray frames;
        for (const Result::Slow &slow : r.slowest) {
            frames.append(QJsonObject{{u"interval"_qs, slow.interval},
                                      {u"polish"_qs, slow.polish},
                                      {u"sync"_qs, slow.sync},
                                      {u"render"_qs, slow.render},
                                      {u"edit"_qs, slow.edit}});
        }
        return frames;
    }

    bool writeJson() const
    {
        if (m_options.json.isEmpty())
            return true;
        QJsonArray scenarios;
        for (const Result &r : m_results) {
            scenarios.append(QJsonObject{
                {u"window"_qs, r.window},
                {u"scenario"_qs, r.name},
                {u"seconds"_qs, r.seconds},
                {u"frames"_qs, r.interval.count + 1},
                {u"fps"_qs, double(r.interval.count) / r.seconds},
                {u"interval_ms"_qs, toJson(r.interval)},
                {u"stalls"_qs, r.stalls},
                {u"stalls_during_edits"_qs, r.stallsWithEdit},
                {u"slowest_frames_ms"_qs, slowest(r)},
                {u"polish_ms"_qs, toJson(r.polish)},
                {u"sync_ms"_qs, toJson(r.sync)},
                {u"render_ms"_qs, toJson(r.render)},
                {u"edit_ms"_qs, toJson(r.edits)},
                {u"preview_images"_qs, r.previews},
                {u"preview_images_ms"_qs, r.previewMs},
            });
        }
        const QJsonObject root{
            {u"environment"_qs, m_environment},
            {u"scenarios"_qs, scenarios},
            {u"save_ms"_qs, toJson(m_saves)},
            {u"store_move_without_view_ms"_qs, toJson(m_storeMoves)},
            {u"row_creation_ms"_qs, QJsonObject{{u"board"_qs, toJson(m_boardRows.perRow)},
                                                {u"baseline"_qs, toJson(m_baselineRows.perRow)}}}};
        QFile file(m_options.json);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(m_options.json));
            return false;
        }
        file.write(QJsonDocument(root).toJson());
        return true;
    }

    struct Scratch {
        static void write(const QString &path, const QByteArray &bytes)
        {
            QDir().mkpath(QFileInfo(path).path());
            QFile file(path);
            if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
                file.write(bytes);
        }
    };

    const Options &m_options;
    const QTemporaryDir &m_scratch;
    QJsonObject m_environment;
    double m_refreshMs = 1000.0 / 60;
    QRectF m_listRect = QRectF(10, 36, 240, 200);
    double m_rowHeight = 30;
    std::vector<Result> m_results;
    Stats m_saves;
    Stats m_storeMoves;
    RowCost m_boardRows;
    RowCost m_baselineRows;
};

} // namespace

int main(int argc, char **argv)
{
    // A scratch home, config, state and vault before anything reads the environment: the run
    // never touches the user's files.
    QTemporaryDir scratch;
    if (!scratch.isValid()) {
        std::fprintf(stderr, "no scratch folder\n");
        return 1;
    }
    useScratchHome(scratch);
    QDir().mkpath(scratch.filePath(u"vault"_qs));
    qputenv("TALLOWFERN_VAULT", QFile::encodeName(scratch.filePath(u"vault"_qs)));

    QGuiApplication app(argc, argv);
    const std::optional<Options> options = parseOptions(QGuiApplication::arguments());
    if (!options)
        return 2;
    Bench bench(*options, scratch);
    return bench.run();
}
