#include "BulletEditor.h"

#include <QQuickTextDocument>
#include <QTextBlock>
#include <QTextBlockFormat>
#include <QTextCursor>
#include <QTextDocument>

BulletEditor::BulletEditor(QObject *parent) : QObject(parent) {}

void BulletEditor::setDocument(QQuickTextDocument *document)
{
    if (m_document == document)
        return;
    m_document = document;
    emit documentChanged();
}

QString BulletEditor::text() const
{
    return m_document && m_document->textDocument() ? m_document->textDocument()->toPlainText()
                                                    : QString();
}

bool BulletEditor::command(Command command, int selectionStart, int selectionEnd)
{
    if (!m_document)
        return false;
    const BulletEditing::Outcome outcome = BulletEditing::handle(
        text(), selectionStart, selectionEnd, BulletEditing::Command(int(command)));
    if (outcome.edit)
        apply(*outcome.edit);
    return outcome.handled;
}

bool BulletEditor::convertTypedBullet(int selectionStart, int selectionEnd)
{
    if (!m_document)
        return false;
    const auto edit = BulletEditing::typedBullet(text(), selectionStart, selectionEnd);
    if (!edit)
        return false;
    apply(*edit);
    return true;
}

void BulletEditor::apply(const BulletEditing::Edit &edit)
{
    QTextDocument *document = m_document->textDocument();
    QTextCursor cursor(document);
    cursor.beginEditBlock();
    cursor.setPosition(edit.start);
    cursor.setPosition(edit.start + edit.length, QTextCursor::KeepAnchor);
    if (edit.text.isEmpty())
        cursor.removeSelectedText();
    else
        cursor.insertText(edit.text);
    cursor.endEditBlock();
}

void BulletEditor::spaceLines()
{
    if (!m_document || !m_document->textDocument())
        return;
    QTextDocument *document = m_document->textDocument();
    QTextBlockFormat spaced;
    spaced.setLineHeight(lineSpacing, QTextBlockFormat::LineDistanceHeight);
    // A change of format is no edit of the user's: keep it out of the undo history. Right after
    // the text was replaced there is no history; turning undo off and on would drop any.
    const bool undo = document->isUndoRedoEnabled();
    const int available = document->availableUndoSteps();
    if (available == 0)
        document->setUndoRedoEnabled(false);
    QTextCursor cursor(document);
    cursor.select(QTextCursor::Document);
    cursor.mergeBlockFormat(spaced);
    if (available == 0)
        document->setUndoRedoEnabled(undo);
}
