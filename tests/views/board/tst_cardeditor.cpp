#include "CardEditor.h"
#include "notch/NotchModel.h"
#include "store/BoardStore.h"
#include "support/StoreFixture.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

class TestCardEditor : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;
    std::unique_ptr<BoardStore> m_store;
    NotchModel m_model;
    std::unique_ptr<CardEditor> m_editor;

    QString today() const { return m_scratch->boards() + u"/2025-03-07.md"_qs; }

    // An editor on the first To do card of a board holding "Write report" and "Call Anna".
    void start()
    {
        Scratch::write(today(),
                       Board({Lane(u"To do"_qs, {Card(u"Write report"_qs), Card(u"Call Anna"_qs)}),
                              Lane(u"Doing"_qs, {}), Lane(u"Done"_qs, {}, true)})
                           .markdown()
                           .toUtf8());
        m_store = std::make_unique<BoardStore>(&m_clock, &m_launcher);
        m_editor = std::make_unique<CardEditor>();
        m_editor->setStore(m_store.get());
        m_editor->setModel(&m_model);
        const Card card = m_store->board().cards(LaneKind::Todo).first();
        m_editor->setCardId(card.id().toString(QUuid::WithoutBraces));
        m_editor->setCardText(card.text());
    }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }

    void init()
    {
        m_editor.reset();
        m_store.reset();
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
        m_model.setEditing(false);
        start();
    }

    void cleanup()
    {
        m_editor.reset();
        m_store.reset();
    }

    void beginTakesTheCardText()
    {
        QVERIFY(m_editor->begin());
        QVERIFY(m_editor->editing());
        QCOMPARE(m_editor->draft(), u"Write report"_qs);
    }

    // Committing an unchanged text calls no store operation: nothing is published or written.
    void unchangedCommitDoesNothing()
    {
        const QByteArray before = Scratch::read(today());
        const auto stamp = QFileInfo(today()).lastModified();
        QSignalSpy published(m_store.get(), &BoardStore::boardChanged);
        QVERIFY(m_editor->begin());
        m_editor->focusChanged(true);
        m_editor->commit();
        QVERIFY(!m_editor->editing());
        QCOMPARE(published.size(), 0);
        QCOMPARE(Scratch::read(today()), before);
        QCOMPARE(QFileInfo(today()).lastModified(), stamp);
    }

    void changedCommitRenames()
    {
        QSignalSpy published(m_store.get(), &BoardStore::boardChanged);
        QVERIFY(m_editor->begin());
        m_editor->setDraft(u"Write the report"_qs);
        m_editor->commit();
        QCOMPARE(published.size(), 1);
        QVERIFY(Scratch::read(today()).contains("- [ ] Write the report\n"));
    }

    // Return commits, then the field loses focus: the rename happens once.
    void returnThenFocusLossCommitsOnce()
    {
        QSignalSpy published(m_store.get(), &BoardStore::boardChanged);
        QVERIFY(m_editor->begin());
        m_editor->focusChanged(true);
        QVERIFY(m_model.isEditing());
        m_editor->setDraft(u"Write it"_qs);
        m_editor->commit();
        QVERIFY(!m_model.isEditing());
        m_editor->focusChanged(false);
        QCOMPARE(published.size(), 1);
    }

    // Losing focus is a commit too; there is no cancel.
    void focusLossCommits()
    {
        QVERIFY(m_editor->begin());
        m_editor->focusChanged(true);
        m_editor->setDraft(u"Write it now"_qs);
        m_editor->focusChanged(false);
        QVERIFY(!m_editor->editing());
        QVERIFY(!m_model.isEditing());
        QVERIFY(Scratch::read(today()).contains("- [ ] Write it now\n"));
    }

    // The draft goes to the store as typed; the store trims it, and an empty one deletes.
    void draftIsPassedAsTyped()
    {
        QVERIFY(m_editor->begin());
        m_editor->setDraft(u"  Write report  "_qs);
        m_editor->commit();
        QVERIFY(Scratch::read(today()).contains("- [ ] Write report\n"));

        m_editor->setCardText(u"Write report"_qs);
        QVERIFY(m_editor->begin());
        m_editor->setDraft(u"   "_qs);
        m_editor->commit();
        QVERIFY(!Scratch::read(today()).contains("Write report"));
        QVERIFY(Scratch::read(today()).contains("- [ ] Call Anna\n"));
    }

    // A change from outside while editing leaves the draft alone.
    void outsideChangeKeepsTheDraft()
    {
        QVERIFY(m_editor->begin());
        m_editor->setDraft(u"My words"_qs);
        m_editor->setCardText(u"Their words"_qs);
        QCOMPARE(m_editor->draft(), u"My words"_qs);
        QVERIFY(m_editor->editing());
    }

    void noEditingOnAnEarlierDay()
    {
        Scratch::write(m_scratch->boards() + u"/2025-03-01.md"_qs, "- [ ] Old\n");
        m_store->view(u"2025-03-01"_qs);
        QVERIFY(!m_editor->begin());
        QVERIFY(!m_editor->editing());
    }
};

QTEST_GUILESS_MAIN(TestCardEditor)
#include "tst_cardeditor.moc"
