#include "platform/GlobalShortcut.h"

#include <QSignalSpy>
#include <QTest>

namespace {

using Status = GlobalShortcutBackend::Status;

// A mechanism that answers as told: at once, or later through answer().
class FakeBackend : public GlobalShortcutBackend {
public:
    FakeBackend(const QString &name, Status answer, bool later = false)
        : m_name(name), m_answer(answer), m_later(later)
    {}

    QString name() const override { return m_name; }
    void bind(const Shortcut &shortcut) override
    {
        ++binds;
        bound = shortcut;
        if (m_later)
            setStatus(Status::Pending);
        else
            answer(m_answer);
    }
    void unbind() override
    {
        ++unbinds;
        if (status() != Status::Unavailable)
            setStatus(Status::Unbound);
    }
    void answer(Status status)
    {
        setStatus(status, status == Status::Refused ? m_name + u" says no"_qs : QString());
    }
    void press() { emit activated(); }

    int binds = 0;
    int unbinds = 0;
    Shortcut bound;

private:
    QString m_name;
    Status m_answer;
    bool m_later;
};

} // namespace

class TestGlobalShortcut : public QObject {
    Q_OBJECT

private slots:
    void firstThatTakesTheKeyKeepsIt_data()
    {
        QTest::addColumn<QList<int>>("answers"); // a Status per mechanism, in order
        QTest::addColumn<int>("holder");         // index of the one holding the key, -1 for none
        QTest::addColumn<QString>("problem");
        QTest::newRow("first binds")
            << QList<int>{int(Status::Bound), int(Status::Bound)} << 0 << QString();
        QTest::newRow("first not in session")
            << QList<int>{int(Status::Unavailable), int(Status::Bound)} << 1 << QString();
        QTest::newRow("first refuses, second binds")
            << QList<int>{int(Status::Refused), int(Status::Bound)} << 1 << QString();
        QTest::newRow("all refuse: the first refusal is the problem")
            << QList<int>{int(Status::Refused), int(Status::Refused)} << -1 << u"a says no"_qs;
        QTest::newRow("none in session")
            << QList<int>{int(Status::Unavailable), int(Status::Unavailable)} << -1
            << u"Nothing on this desktop would take Alt+N for Tallowfern."_qs;
    }

    void firstThatTakesTheKeyKeepsIt()
    {
        QFETCH(QList<int>, answers);
        QFETCH(int, holder);
        QFETCH(QString, problem);
        QList<GlobalShortcutBackend *> backends;
        QList<FakeBackend *> fakes;
        for (qsizetype i = 0; i < answers.size(); ++i) {
            fakes.append(
                new FakeBackend(QString(QChar(char16_t(u'a' + i))), Status(answers.at(i))));
            backends.append(fakes.last());
        }
        GlobalShortcut shortcut(backends);
        shortcut.bind(Shortcut::defaultOpen());
        QCOMPARE(shortcut.current(), holder < 0 ? nullptr : fakes.at(holder));
        QCOMPARE(shortcut.problem(), problem);
        // Nothing past the holder was asked.
        for (qsizetype i = holder + 1; holder >= 0 && i < fakes.size(); ++i)
            QCOMPARE(fakes.at(i)->binds, 0);
    }

    void waitsForAnAnswer()
    {
        auto *slow = new FakeBackend(u"slow"_qs, Status::Refused, true);
        auto *grab = new FakeBackend(u"grab"_qs, Status::Bound);
        GlobalShortcut shortcut({slow, grab});
        QSignalSpy changed(&shortcut, &GlobalShortcut::changed);
        shortcut.bind(Shortcut::defaultOpen());
        QVERIFY(shortcut.isPending());
        QVERIFY(!shortcut.current());
        QCOMPARE(grab->binds, 0);
        slow->answer(Status::Refused);
        QCOMPARE(shortcut.current(), grab);
        QVERIFY(!shortcut.isPending());
        QVERIFY(changed.count() >= 2);
    }

    void onlyTheHolderActivates()
    {
        auto *a = new FakeBackend(u"a"_qs, Status::Refused);
        auto *b = new FakeBackend(u"b"_qs, Status::Bound);
        GlobalShortcut shortcut({a, b});
        QSignalSpy activated(&shortcut, &GlobalShortcut::activated);
        shortcut.bind(Shortcut::defaultOpen());
        a->press();
        QCOMPARE(activated.count(), 0);
        b->press();
        QCOMPARE(activated.count(), 1);
        shortcut.unbind();
        b->press();
        QCOMPARE(activated.count(), 1);
    }

    void rebindMovesTheKeyUpAndFreesTheOldHolder()
    {
        auto *slow = new FakeBackend(u"slow"_qs, Status::Bound, true);
        auto *grab = new FakeBackend(u"grab"_qs, Status::Bound);
        GlobalShortcut shortcut({slow, grab});
        shortcut.bind(Shortcut::defaultOpen());
        slow->answer(Status::Refused);
        QCOMPARE(shortcut.current(), grab);
        // Recorded anew; this time the preferred mechanism takes it.
        const Shortcut recorded(40, Shortcut::Control | Shortcut::Option);
        shortcut.bind(recorded);
        slow->answer(Status::Bound);
        QCOMPARE(shortcut.current(), slow);
        QCOMPARE(slow->bound, recorded);
        QCOMPARE(grab->status(), Status::Unbound);
        QVERIFY(grab->unbinds >= 1);
    }

    void lostKeyGoesToTheNext()
    {
        auto *portal = new FakeBackend(u"portal"_qs, Status::Bound);
        auto *grab = new FakeBackend(u"grab"_qs, Status::Bound);
        GlobalShortcut shortcut({portal, grab});
        shortcut.bind(Shortcut::defaultOpen());
        QCOMPARE(shortcut.current(), portal);
        portal->answer(Status::Refused); // the desktop closed the session
        QCOMPARE(shortcut.current(), grab);
    }

    void preferredMechanismThatComesLaterTakesOver()
    {
        auto *kde = new FakeBackend(u"kde"_qs, Status::Unavailable);
        auto *grab = new FakeBackend(u"grab"_qs, Status::Bound);
        GlobalShortcut shortcut({kde, grab});
        QSignalSpy activated(&shortcut, &GlobalShortcut::activated);
        shortcut.bind(Shortcut::defaultOpen());
        QCOMPARE(shortcut.current(), grab);
        kde->answer(Status::Bound); // the service started and took the key on its own
        QCOMPARE(shortcut.current(), kde);
        QCOMPARE(grab->status(), Status::Unbound);
        kde->press();
        QCOMPARE(activated.count(), 1);
    }

    void unbindGivesTheKeyBack()
    {
        auto *grab = new FakeBackend(u"grab"_qs, Status::Bound);
        GlobalShortcut shortcut({grab});
        shortcut.bind(Shortcut::defaultOpen());
        shortcut.unbind();
        QCOMPARE(grab->status(), Status::Unbound);
        QVERIFY(!shortcut.current());
        shortcut.bind(Shortcut::defaultOpen());
        QCOMPARE(shortcut.current(), grab);
    }

    void partialMechanismDoesNotReachEveryWindow()
    {
        auto *grab = new FakeBackend(u"grab"_qs, Status::Bound);
        GlobalShortcut shortcut({grab}, grab);
        shortcut.bind(Shortcut::defaultOpen());
        QCOMPARE(shortcut.current(), grab);
        QVERIFY(!shortcut.reachesEveryWindow());
    }

    void changedElsewhereComesFromTheHolderOnly()
    {
        auto *kde = new FakeBackend(u"kde"_qs, Status::Bound);
        auto *grab = new FakeBackend(u"grab"_qs, Status::Bound);
        GlobalShortcut shortcut({kde, grab});
        QSignalSpy elsewhere(&shortcut, &GlobalShortcut::shortcutChangedElsewhere);
        shortcut.bind(Shortcut::defaultOpen());
        emit grab->shortcutChangedElsewhere(Shortcut(40, Shortcut::Control));
        QCOMPARE(elsewhere.count(), 0);
        emit kde->shortcutChangedElsewhere(Shortcut(40, Shortcut::Control));
        QCOMPARE(elsewhere.count(), 1);
        QCOMPARE(elsewhere.at(0).at(0).value<Shortcut>(), Shortcut(40, Shortcut::Control));
    }
};

QTEST_GUILESS_MAIN(TestGlobalShortcut)
#include "tst_globalshortcut.moc"
