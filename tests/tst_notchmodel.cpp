#include "notch/NotchModel.h"

#include <QMetaEnum>
#include <QMetaProperty>
#include <QPointer>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <functional>
#include <memory>
#include <vector>

Q_IMPORT_QML_PLUGIN(TallowfernPlugin)

using Setter = std::function<void(NotchModel &)>;
Q_DECLARE_METATYPE(Setter)

namespace {

using Target = NotchModel::ShortcutTarget;

// One spy per change signal, so a test can tell which notifications a change caused.
class NotifySpies {
public:
    explicit NotifySpies(NotchModel *model)
    {
        const QMetaObject *meta = model->metaObject();
        for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
            const QMetaProperty property = meta->property(i);
            if (property.hasNotifySignal())
                m_spies.emplace_back(property.name(),
                                     std::make_unique<QSignalSpy>(model, property.notifySignal()));
        }
    }

    [[nodiscard]] qsizetype count(const QByteArray &property) const
    {
        for (const auto &[name, spy] : m_spies) {
            if (name == property)
                return spy->count();
        }
        return -1;
    }

    // The names of the properties that notified since construction.
    [[nodiscard]] QByteArrayList fired() const
    {
        QByteArrayList names;
        for (const auto &[name, spy] : m_spies) {
            if (!spy->isEmpty())
                names.append(name);
        }
        return names;
    }

    [[nodiscard]] std::size_t size() const { return m_spies.size(); }

private:
    std::vector<std::pair<QByteArray, std::unique_ptr<QSignalSpy>>> m_spies;
};

// Stands in for the object that owns the panel's windows and installs the model's callbacks.
class Controller : public QObject {
public:
    int closes = 0;
    QList<bool> opens;
};

} // namespace

class TestNotchModel : public QObject {
    Q_OBJECT

private slots:
    void freshModel()
    {
        const NotchModel model;
        QCOMPARE(model.isOpen(), false);
        QCOMPARE(model.isPinned(), false);
        QCOMPARE(model.tab(), NotchModel::Tab::Board);
        QCOMPARE(model.isEditing(), false);
        QCOMPARE(model.showCalendar(), false);
        QVERIFY(!model.recording().has_value());
        QCOMPARE(model.focusAddRequest(), 0);
        QCOMPARE(model.notchSize(), QSizeF(190, 32));
        QCOMPARE(model.notchSize(), NotchModel::defaultNotchSize);

        const QVariant recording = model.property("recording");
        QVERIFY(!recording.isValid());
        QVERIFY(recording.isNull());
        QCOMPARE(model.property("tab").value<NotchModel::Tab>(), NotchModel::Tab::Board);
        QCOMPARE(model.property("focusAddRequest").toInt(), 0);
        QCOMPARE(model.property("notchSize").toSizeF(), QSizeF(190, 32));
    }

    void constants()
    {
        QCOMPARE(NotchModel::openSize, QSizeF(780, 380));
        QCOMPARE(NotchModel::wingWidth, 64.0);

        const NotchModel model;
        QCOMPARE(model.property("openSize").toSizeF(), QSizeF(780, 380));
        QCOMPARE(model.property("wingWidth").toReal(), 64.0);

        const QMetaObject *meta = model.metaObject();
        for (const char *name : {"openSize", "wingWidth"}) {
            const QMetaProperty property = meta->property(meta->indexOfProperty(name));
            QVERIFY2(property.isValid(), name);
            QVERIFY2(property.isConstant(), name);
            QVERIFY2(!property.isWritable(), name);
        }
        QVERIFY(!meta->property(meta->indexOfProperty("focusAddRequest")).isWritable());
    }

    void setters_data()
    {
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<Setter>("toNew");
        QTest::addColumn<Setter>("toDefault");
        QTest::addColumn<QVariant>("newValue");

        QTest::newRow("isOpen") << QByteArray("isOpen")
                                << Setter([](NotchModel &m) { m.setOpen(true); })
                                << Setter([](NotchModel &m) { m.setOpen(false); })
                                << QVariant(true);
        QTest::newRow("isPinned") << QByteArray("isPinned")
                                  << Setter([](NotchModel &m) { m.setPinned(true); })
                                  << Setter([](NotchModel &m) { m.setPinned(false); })
                                  << QVariant(true);
        QTest::newRow("tab") << QByteArray("tab")
                             << Setter([](NotchModel &m) { m.setTab(NotchModel::Tab::Notes); })
                             << Setter([](NotchModel &m) { m.setTab(NotchModel::Tab::Board); })
                             << QVariant::fromValue(NotchModel::Tab::Notes);
        QTest::newRow("isEditing")
            << QByteArray("isEditing") << Setter([](NotchModel &m) { m.setEditing(true); })
            << Setter([](NotchModel &m) { m.setEditing(false); }) << QVariant(true);
        QTest::newRow("showCalendar")
            << QByteArray("showCalendar") << Setter([](NotchModel &m) { m.setShowCalendar(true); })
            << Setter([](NotchModel &m) { m.setShowCalendar(false); }) << QVariant(true);
        QTest::newRow("recording")
            << QByteArray("recording")
            << Setter([](NotchModel &m) { m.setRecording(Target::SwitchTab); })
            << Setter([](NotchModel &m) { m.setRecording(std::nullopt); })
            << QVariant::fromValue(Target::SwitchTab);
        QTest::newRow("notchSize")
            << QByteArray("notchSize")
            << Setter([](NotchModel &m) { m.setNotchSize(QSizeF(224, 37.5)); })
            << Setter([](NotchModel &m) { m.setNotchSize(NotchModel::defaultNotchSize); })
            << QVariant(QSizeF(224, 37.5));
    }
    void setters()
    {
        QFETCH(QByteArray, property);
        QFETCH(Setter, toNew);
        QFETCH(Setter, toDefault);
        QFETCH(QVariant, newValue);

        NotchModel model;
        const NotifySpies spies(&model);
        QVERIFY(spies.size() >= 8);
        QVERIFY(spies.count(property) == 0);
        const QVariant original = model.property(property.constData());

        toDefault(model);
        QCOMPARE(spies.fired(), QByteArrayList());
        QCOMPARE(model.property(property.constData()), original);

        toNew(model);
        QCOMPARE(spies.fired(), QByteArrayList{property});
        QCOMPARE(spies.count(property), 1);
        QCOMPARE(model.property(property.constData()), newValue);

        toNew(model);
        QCOMPARE(spies.count(property), 1);

        toDefault(model);
        QCOMPARE(spies.fired(), QByteArrayList{property});
        QCOMPARE(spies.count(property), 2);
        QCOMPARE(model.property(property.constData()), original);
    }

    // The same changes as QML makes them, through the property system.
    void propertyWrites_data() { setters_data(); }
    void propertyWrites()
    {
        QFETCH(QByteArray, property);
        QFETCH(QVariant, newValue);

        NotchModel model;
        const NotifySpies spies(&model);
        const QVariant original = model.property(property.constData());

        QVERIFY(model.setProperty(property.constData(), original));
        QCOMPARE(spies.fired(), QByteArrayList());

        QVERIFY(model.setProperty(property.constData(), newValue));
        QCOMPARE(spies.fired(), QByteArrayList{property});
        QCOMPARE(spies.count(property), 1);
        QCOMPARE(model.property(property.constData()), newValue);

        QVERIFY(model.setProperty(property.constData(), newValue));
        QCOMPARE(spies.count(property), 1);
    }

    void everyTab()
    {
        NotchModel model;
        QSignalSpy spy(&model, &NotchModel::tabChanged);
        int expected = 0;
        for (NotchModel::Tab tab : {NotchModel::Tab::Settings, NotchModel::Tab::Notes,
                                    NotchModel::Tab::Board, NotchModel::Tab::Board}) {
            if (tab != model.tab())
                ++expected;
            model.setTab(tab);
            QCOMPARE(model.tab(), tab);
            QCOMPARE(spy.count(), expected);
        }
    }

    void requestAddFocus()
    {
        NotchModel model;
        const NotifySpies spies(&model);
        QSignalSpy spy(&model, &NotchModel::focusAddRequestChanged);
        for (int round = 1; round <= 3; ++round) {
            const int before = model.focusAddRequest();
            model.requestAddFocus();
            QCOMPARE(model.focusAddRequest(), before + 1);
            QCOMPARE(model.property("focusAddRequest").toInt(), before + 1);
            QCOMPARE(spy.count(), round);
        }
        // Pending from the first request on, until a field takes it.
        QCOMPARE(spies.fired(), (QByteArrayList{"focusAddRequest", "addFocusPending"}));
        QVERIFY(model.addFocusPending());

        // Through the meta-object too, the way QML calls it.
        const int before = model.focusAddRequest();
        QVERIFY(QMetaObject::invokeMethod(&model, "requestAddFocus"));
        QCOMPARE(model.focusAddRequest(), before + 1);
        QCOMPARE(spy.count(), 4);
    }

    // The add field takes a request once, also one made before the field was there; one that no
    // field took by the time the panel closes lapses.
    void addFocusIsTakenOnce()
    {
        NotchModel model;
        QSignalSpy pending(&model, &NotchModel::addFocusPendingChanged);
        QVERIFY(!model.addFocusPending());
        QVERIFY(!model.takeAddFocus());
        model.setOpen(true);
        model.requestAddFocus();
        model.requestAddFocus();
        QCOMPARE(pending.count(), 1);
        QVERIFY(model.addFocusPending());
        QVERIFY(model.takeAddFocus());
        QVERIFY(!model.addFocusPending());
        QCOMPARE(pending.count(), 2);
        // Two requests, one answer: the keyboard goes to the field once.
        QVERIFY(!model.takeAddFocus());
        QCOMPARE(model.property("addFocusPending").toBool(), false);

        model.requestAddFocus();
        QCOMPARE(pending.count(), 3);
        model.setOpen(false);
        QVERIFY(!model.addFocusPending());
        QCOMPARE(pending.count(), 4);
        model.setOpen(true);
        QVERIFY(!model.takeAddFocus());
        // Closing with nothing waiting says nothing.
        model.setOpen(false);
        QCOMPARE(pending.count(), 4);
    }

    void toggleSettings_data()
    {
        QTest::addColumn<NotchModel::Tab>("from");
        QTest::addColumn<NotchModel::Tab>("to");
        QTest::newRow("board") << NotchModel::Tab::Board << NotchModel::Tab::Settings;
        QTest::newRow("notes") << NotchModel::Tab::Notes << NotchModel::Tab::Settings;
        QTest::newRow("settings goes back to the board, not notes")
            << NotchModel::Tab::Settings << NotchModel::Tab::Board;
    }

    void toggleSettings()
    {
        QFETCH(NotchModel::Tab, from);
        QFETCH(NotchModel::Tab, to);
        NotchModel model;
        model.setTab(NotchModel::Tab::Notes);
        model.setTab(from);
        QSignalSpy changed(&model, &NotchModel::tabChanged);
        model.toggleSettings();
        QCOMPARE(model.tab(), to);
        QCOMPARE(changed.size(), 1);
    }

    void tabTitle_data()
    {
        QTest::addColumn<NotchModel::Tab>("tab");
        QTest::addColumn<QString>("title");
        QTest::newRow("Board") << NotchModel::Tab::Board << u"Board"_qs;
        QTest::newRow("Notes") << NotchModel::Tab::Notes << u"Notes"_qs;
        QTest::newRow("Settings") << NotchModel::Tab::Settings << u"Settings"_qs;
    }
    void tabTitle()
    {
        QFETCH(NotchModel::Tab, tab);
        QFETCH(QString, title);
        QCOMPARE(NotchModel::tabTitle(tab), title);
    }

    void allTabs()
    {
        const QList<NotchModel::Tab> tabs = NotchModel::allTabs();
        QCOMPARE(tabs, QList<NotchModel::Tab>({NotchModel::Tab::Board, NotchModel::Tab::Notes,
                                               NotchModel::Tab::Settings}));
        // A tab added to the enum but not to the list would never be shown.
        QCOMPARE(tabs.size(), QMetaEnum::fromType<NotchModel::Tab>().keyCount());
    }

    void recordingThroughProperty()
    {
        NotchModel model;
        QSignalSpy spy(&model, &NotchModel::recordingChanged);

        model.setRecording(Target::Open);
        QCOMPARE(model.recording(), std::optional<Target>(Target::Open));
        QCOMPARE(model.property("recording"), QVariant::fromValue(Target::Open));
        QCOMPARE(spy.count(), 1);

        QVERIFY(model.setProperty("recording", QVariant()));
        QVERIFY(!model.recording());
        QVERIFY(model.property("recording").isNull());
        QCOMPARE(spy.count(), 2);

        QVERIFY(model.setProperty("recording", int(Target::SwitchTab)));
        QCOMPARE(model.recording(), std::optional<Target>(Target::SwitchTab));
        QCOMPARE(spy.count(), 3);

        QVERIFY(model.setProperty("recording", QVariant::fromValue(Target::Open)));
        QCOMPARE(model.recording(), std::optional<Target>(Target::Open));
        QCOMPARE(spy.count(), 4);

        // What QML hands over for `model.recording = null`.
        QVERIFY(model.setProperty("recording", QVariant::fromValue(nullptr)));
        QVERIFY(!model.recording());
        QCOMPARE(spy.count(), 5);

        model.setRecording(std::nullopt);
        QCOMPARE(spy.count(), 5);
    }

    void invalidRecordingValue_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::newRow("one past the last") << QVariant(int(Target::SwitchTab) + 1);
        QTest::newRow("negative") << QVariant(-1);
        QTest::newRow("large") << QVariant(99);
        QTest::newRow("a name, not a value") << QVariant(u"Open"_qs);
        QTest::newRow("unrelated type") << QVariant::fromValue(QSizeF(1, 1));
    }
    void invalidRecordingValue()
    {
        QFETCH(QVariant, value);
        for (const std::optional<Target> start :
             {std::optional<Target>(), std::optional(Target::Open),
              std::optional(Target::SwitchTab)}) {
            NotchModel model;
            model.setRecording(start);
            QSignalSpy spy(&model, &NotchModel::recordingChanged);
            model.setProperty("recording", value);
            QCOMPARE(model.recording(), start);
            QCOMPARE(spy.count(), 0);
        }
    }

    void callbacks()
    {
        NotchModel model;
        int closes = 0;
        QList<bool> opens;
        model.setCloseRequested([&closes] { ++closes; });
        model.setOpenRequested([&opens](bool pin) { opens.append(pin); });

        model.requestClose();
        QCOMPARE(closes, 1);
        QVERIFY(opens.isEmpty());

        model.requestOpen(true);
        model.requestOpen(false);
        QCOMPARE(opens, QList<bool>({true, false}));
        QCOMPARE(closes, 1);

        QVERIFY(QMetaObject::invokeMethod(&model, "requestOpen", Q_ARG(bool, true)));
        QVERIFY(QMetaObject::invokeMethod(&model, "requestClose"));
        QCOMPARE(opens, QList<bool>({true, false, true}));
        QCOMPARE(closes, 2);

        // A second install replaces the first rather than adding to it.
        int replaced = 0;
        model.setCloseRequested([&replaced] { ++replaced; });
        model.requestClose();
        QCOMPARE(closes, 2);
        QCOMPARE(replaced, 1);
    }

    void noCallbacks()
    {
        NotchModel model;
        model.setOpen(true);
        const NotifySpies spies(&model);
        model.requestClose();
        model.requestOpen(true);
        model.requestOpen(false);
        QCOMPARE(spies.fired(), QByteArrayList());
        QVERIFY(model.isOpen());
        QVERIFY(!model.isPinned());

        // Clearing an installed callback goes back to doing nothing.
        int closes = 0;
        model.setCloseRequested([&closes] { ++closes; });
        model.setCloseRequested({});
        model.requestClose();
        QCOMPARE(closes, 0);
    }

    void callbacksOutliveController()
    {
        NotchModel model;
        auto *controller = new Controller;
        // As the controller installs them: weakly, acting on the model only while it exists.
        model.setCloseRequested([guard = QPointer<Controller>(controller), &model] {
            if (!guard)
                return;
            ++guard->closes;
            model.setOpen(false);
        });
        model.setOpenRequested([guard = QPointer<Controller>(controller), &model](bool pin) {
            if (!guard)
                return;
            guard->opens.append(pin);
            model.setOpen(true);
            model.setPinned(pin);
        });

        model.requestOpen(true);
        QCOMPARE(controller->opens, QList<bool>{true});
        QVERIFY(model.isOpen());
        QVERIFY(model.isPinned());
        model.requestClose();
        QCOMPARE(controller->closes, 1);
        QVERIFY(!model.isOpen());

        QPointer<Controller> watch(controller);
        delete controller;
        QVERIFY(watch.isNull());

        model.setOpen(true);
        model.setPinned(false);
        const NotifySpies spies(&model);
        model.requestClose();
        model.requestOpen(true);
        QCOMPARE(spies.fired(), QByteArrayList());
        QVERIFY(model.isOpen());
        QVERIFY(!model.isPinned());
    }

    void qmlEnums()
    {
        // Anything the engine complains about is a failure here, not noise.
        QTest::failOnWarning(QRegularExpression(u".*"_qs));
        QQmlEngine engine;
        engine.addImportPath(u"qrc:/qt/qml"_qs);
        QQmlComponent component(&engine);
        component.setData("import QtQml\n"
                          "import Tallowfern\n"
                          "QtObject {\n"
                          "    property int board: NotchModel.Board\n"
                          "    property int notes: NotchModel.Notes\n"
                          "    property int settings: NotchModel.Settings\n"
                          "    property int open: NotchModel.Open\n"
                          "    property int switchTab: NotchModel.SwitchTab\n"
                          "    property int scopedNotes: NotchModel.Tab.Notes\n"
                          "}\n",
                          QUrl(u"qrc:/tst_notchmodel/Enums.qml"_qs));
        QVERIFY2(component.isReady(), qPrintable(component.errorString()));
        const std::unique_ptr<QObject> object(component.create());
        QVERIFY2(component.errors().isEmpty(), qPrintable(component.errorString()));
        QVERIFY(object);

        QCOMPARE(object->property("board").toInt(), int(NotchModel::Tab::Board));
        QCOMPARE(object->property("notes").toInt(), int(NotchModel::Tab::Notes));
        QCOMPARE(object->property("settings").toInt(), int(NotchModel::Tab::Settings));
        QCOMPARE(object->property("open").toInt(), int(Target::Open));
        QCOMPARE(object->property("switchTab").toInt(), int(Target::SwitchTab));
        QCOMPARE(object->property("scopedNotes").toInt(), int(NotchModel::Tab::Notes));
        // Distinct values, so the comparisons above cannot all pass on zeros.
        QVERIFY(object->property("notes").toInt() != object->property("settings").toInt());
    }

    void qmlCannotCreateModel()
    {
        QQmlEngine engine;
        engine.addImportPath(u"qrc:/qt/qml"_qs);
        QQmlComponent component(&engine);
        component.setData("import QtQml\nimport Tallowfern\nNotchModel {}\n",
                          QUrl(u"qrc:/tst_notchmodel/Create.qml"_qs));
        QVERIFY(component.isError());
        QVERIFY2(component.errorString().contains(u"created by the application"_qs),
                 qPrintable(component.errorString()));
    }

    void qmlInstance()
    {
        // Anything the engine complains about is a failure here, not noise.
        QTest::failOnWarning(QRegularExpression(u".*"_qs));
        NotchModel model;
        QQmlEngine engine;
        engine.addImportPath(u"qrc:/qt/qml"_qs);
        QQmlComponent component(&engine);
        component.setData("import QtQml\n"
                          "import Tallowfern\n"
                          "QtObject {\n"
                          "    required property var model\n"
                          "    property int tab: model.tab\n"
                          "    property bool onNotes: model.tab === NotchModel.Notes\n"
                          "    property string title: model.tabTitle(model.tab)\n"
                          "    property bool recordingSwitchTab:\n"
                          "        model.recording === NotchModel.SwitchTab\n"
                          "    function pin() { model.isPinned = true }\n"
                          "    function record() { model.recording = NotchModel.SwitchTab }\n"
                          "    function stopRecording() { model.recording = null }\n"
                          "    function focusAdd() { model.requestAddFocus() }\n"
                          "}\n",
                          QUrl(u"qrc:/tst_notchmodel/Instance.qml"_qs));
        // Creating from a component that failed to load crashes in Qt 6.4.
        QVERIFY2(component.isReady(), qPrintable(component.errorString()));
        const std::unique_ptr<QObject> object(
            component.createWithInitialProperties({{u"model"_qs, QVariant::fromValue(&model)}}));
        QVERIFY2(component.errors().isEmpty(), qPrintable(component.errorString()));
        QVERIFY(object);

        QCOMPARE(object->property("tab").toInt(), int(NotchModel::Tab::Board));
        QCOMPARE(object->property("onNotes").toBool(), false);
        QCOMPARE(object->property("title").toString(), u"Board"_qs);

        model.setTab(NotchModel::Tab::Notes);
        QCOMPARE(object->property("tab").toInt(), int(NotchModel::Tab::Notes));
        QCOMPARE(object->property("onNotes").toBool(), true);
        QCOMPARE(object->property("title").toString(), u"Notes"_qs);
        model.setTab(NotchModel::Tab::Settings);
        QCOMPARE(object->property("tab").toInt(), int(NotchModel::Tab::Settings));
        QCOMPARE(object->property("onNotes").toBool(), false);

        QSignalSpy pinned(&model, &NotchModel::isPinnedChanged);
        QVERIFY(QMetaObject::invokeMethod(object.get(), "pin"));
        QVERIFY(model.isPinned());
        QCOMPARE(pinned.count(), 1);

        QVERIFY(QMetaObject::invokeMethod(object.get(), "record"));
        QCOMPARE(model.recording(), std::optional<Target>(Target::SwitchTab));
        QCOMPARE(object->property("recordingSwitchTab").toBool(), true);
        QVERIFY(QMetaObject::invokeMethod(object.get(), "stopRecording"));
        QVERIFY(!model.recording());
        QCOMPARE(object->property("recordingSwitchTab").toBool(), false);

        const int before = model.focusAddRequest();
        QVERIFY(QMetaObject::invokeMethod(object.get(), "focusAdd"));
        QCOMPARE(model.focusAddRequest(), before + 1);
    }
};

QTEST_GUILESS_MAIN(TestNotchModel)
#include "tst_notchmodel.moc"
