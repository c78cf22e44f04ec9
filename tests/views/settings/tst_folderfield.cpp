#include "FolderField.h"
#include "notch/NotchModel.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>
#include <optional>

Q_DECLARE_METATYPE(std::optional<QString>)

// One editable folder path: trimming, committing, putting the value back, and the editing state.
class TestFolderField : public QObject {
    Q_OBJECT

    QStringList m_commits;
    NotchModel m_model;

    std::unique_ptr<FolderField> makeField(const QString &value)
    {
        auto field = std::make_unique<FolderField>(
            [this](const QString &folder) { m_commits.append(folder); });
        field->setValue(value);
        field->setModel(&m_model);
        return field;
    }

private slots:
    void init()
    {
        m_commits.clear();
        m_model.setEditing(false);
    }

    void trimmed_data()
    {
        QTest::addColumn<QString>("draft");
        QTest::addColumn<QString>("folder");
        QTest::newRow("slashes and a space") << u"/Boards/ "_qs << u"Boards"_qs;
        QTest::newRow("plain") << u"01 Journal/Boards"_qs << u"01 Journal/Boards"_qs;
        QTest::newRow("inner space kept") << u"  Daily Boards  "_qs << u"Daily Boards"_qs;
        QTest::newRow("line breaks and tabs") << u"\n/Plans/Days/\t\r\n"_qs << u"Plans/Days"_qs;
        QTest::newRow("mixed from both ends") << u" / / a/b / / "_qs << u"a/b"_qs;
        QTest::newRow("unicode line separator") << u"\u2028Notes\u2029"_qs << u"Notes"_qs;
        QTest::newRow("slashes only") << u"///"_qs << QString();
        QTest::newRow("spaces only") << u"   "_qs << QString();
        QTest::newRow("empty") << QString() << QString();
    }
    void trimmed()
    {
        QFETCH(QString, draft);
        QFETCH(QString, folder);
        QCOMPARE(FolderField::trimmed(draft), folder);
    }

    void apply_data()
    {
        QTest::addColumn<QString>("current");
        QTest::addColumn<QString>("draft");
        QTest::addColumn<std::optional<QString>>("commit");
        QTest::addColumn<QString>("draftAfter");
        QTest::newRow("trimmed and committed") << u"01 Journal/Boards"_qs << u"/Boards/ "_qs
                                               << std::optional(u"Boards"_qs) << u"/Boards/ "_qs;
        QTest::newRow("different")
            << u"Boards"_qs << u"Days"_qs << std::optional(u"Days"_qs) << u"Days"_qs;
        QTest::newRow("empty puts the value back")
            << u"01 Journal/Boards"_qs << QString() << std::optional<QString>()
            << u"01 Journal/Boards"_qs;
        QTest::newRow("nothing but slashes puts the value back")
            << u"Boards"_qs << u" / "_qs << std::optional<QString>() << u"Boards"_qs;
        QTest::newRow("equal once trimmed commits nothing")
            << u"Boards"_qs << u"Boards/"_qs << std::optional<QString>() << u"Boards/"_qs;
        QTest::newRow("equal") << u"Boards"_qs << u"Boards"_qs << std::optional<QString>()
                               << u"Boards"_qs;
    }
    void apply()
    {
        QFETCH(QString, current);
        QFETCH(QString, draft);
        QFETCH(std::optional<QString>, commit);
        QFETCH(QString, draftAfter);
        QCOMPARE(FolderField::committed(draft, current), commit);

        auto field = makeField(current);
        field->setDraft(draft);
        field->apply();
        QCOMPARE(m_commits, commit ? QStringList{*commit} : QStringList());
        QCOMPARE(field->draft(), draftAfter);
        QCOMPARE(field->value(), current);
    }

    // The store takes the commit and reports the new folder: the field shows it.
    void draftFollowsTheValue()
    {
        auto field = makeField(u"01 Journal/Boards"_qs);
        QCOMPARE(field->draft(), u"01 Journal/Boards"_qs);
        QSignalSpy drafts(field.get(), &FolderField::draftChanged);
        QSignalSpy values(field.get(), &FolderField::valueChanged);
        field->setDraft(u"/Boards/ "_qs);
        field->apply();
        field->setValue(m_commits.value(0));
        QCOMPARE(field->draft(), u"Boards"_qs);
        QCOMPARE(values.count(), 1);
        QCOMPARE(drafts.count(), 2);
        field->setValue(u"Boards"_qs);
        QCOMPARE(values.count(), 1);
    }

    void focusIsEditing()
    {
        auto field = makeField(u"Boards"_qs);
        QSignalSpy editing(&m_model, &NotchModel::isEditingChanged);
        field->setFocused(true);
        QVERIFY(field->focused());
        QVERIFY(m_model.isEditing());
        field->setDraft(u" Days/"_qs);
        QVERIFY(m_commits.isEmpty());
        // Leaving the field applies what was typed.
        field->setFocused(false);
        QCOMPARE(m_commits, QStringList{u"Days"_qs});
        QVERIFY(!m_model.isEditing());
        QCOMPARE(editing.count(), 2);
    }

    void leavingAnEmptyFieldPutsTheValueBack()
    {
        auto field = makeField(u"Boards"_qs);
        field->setFocused(true);
        field->setDraft(QString());
        field->setFocused(false);
        QVERIFY(m_commits.isEmpty());
        QCOMPARE(field->draft(), u"Boards"_qs);
    }

    void goingAwayWithTheKeyboardEndsEditing()
    {
        auto field = makeField(u"Boards"_qs);
        field->setFocused(true);
        field->setDraft(u"Days"_qs);
        QVERIFY(m_model.isEditing());
        field.reset();
        QVERIFY(!m_model.isEditing());
        QVERIFY(m_commits.isEmpty());
    }

    void withoutModel()
    {
        auto field = std::make_unique<FolderField>(
            [this](const QString &folder) { m_commits.append(folder); });
        field->setValue(u"Boards"_qs);
        field->setFocused(true);
        field->setDraft(u"Days"_qs);
        field->setFocused(false);
        QCOMPARE(m_commits, QStringList{u"Days"_qs});
        QVERIFY(!m_model.isEditing());
    }
};

QTEST_GUILESS_MAIN(TestFolderField)
#include "tst_folderfield.moc"
